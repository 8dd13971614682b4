// A report in memory: columns, no object per row. Read only once it is built.
//
// Rows of a group follow each other. Folders are numbered depth first, so that everything below
// folder f is in the folders f to folderEnd[f] - 1; folder 0 is above all others and its path is
// empty. A row whose path the program could not write is in folder 0 with an empty name.

import { TextColumn, textAt } from "./text_column";

export interface Report {
    readonly rowCount: number;
    readonly groupCount: number;
    readonly groupStart: Uint32Array; // one more than there are groups
    readonly groupSize: Float64Array; // bytes of each file of the group
    readonly names: TextColumn;
    readonly folder: Uint32Array; // by row
    readonly extension: Uint32Array; // by row, into `extensions`
    readonly extensions: readonly string[]; // the first is "none"
    readonly folders: TextColumn; // whole paths, each with its last backslash
    readonly folderCount: number;
    readonly folderParent: Uint32Array;
    readonly folderEnd: Uint32Array;
}

export function pathOf(report: Report, row: number): string {
    return textAt(report.folders, report.folder[row]!) + textAt(report.names, row);
}

export function isNamed(report: Report, row: number): boolean {
    return report.folder[row] !== 0 || report.names.starts[row] !== report.names.starts[row + 1];
}

export function groupOfRow(report: Report, row: number): number {
    let low = 0;
    let high = report.groupCount;
    while (high - low > 1) {
        const middle = (low + high) >>> 1;
        if (report.groupStart[middle]! <= row) low = middle;
        else high = middle;
    }
    return low;
}

// The first row whose path is known, or -1: the copy that stays when nothing else decides.
export function firstNamed(report: Report, group: number): number {
    const end = report.groupStart[group + 1]!;
    for (let row = report.groupStart[group]!; row < end; ++row)
        if (isNamed(report, row)) return row;
    return -1;
}

export function folderPath(report: Report, folder: number): string {
    return textAt(report.folders, folder);
}

// The folder of that path, with or without its last backslash, or -1. Folders are in the order
// of their code units, so halving finds it.
export function findFolder(report: Report, path: string): number {
    const wanted = path === "" || path.endsWith("\\") ? path : path + "\\";
    let low = 0;
    let high = report.folderCount;
    while (low < high) {
        const middle = (low + high) >>> 1;
        const found = folderPath(report, middle);
        if (found === wanted) return middle;
        if (found < wanted) low = middle + 1;
        else high = middle;
    }
    return -1;
}

export function isBelow(report: Report, folder: number, above: number): boolean {
    return folder >= above && folder < report.folderEnd[above]!;
}
