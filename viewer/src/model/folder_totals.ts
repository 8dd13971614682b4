// What each folder holds: right in it, and below it. Folders are numbered depth first, so one pass
// from the last to the first carries every sum up.

import { Report } from "../report/report";
import { Matches } from "./filter";
import { fallingOrder } from "./order";

export interface FolderTotals {
    readonly ownBytes: Float64Array;   // of copies right in the folder; empty files are no copies
    readonly ownCopies: Uint32Array;
    readonly bytes: Float64Array;      // of copies below it, those included
    readonly copies: Uint32Array;
    readonly files: Uint32Array;       // of groups, originals included
}

export function findFolderTotals(report: Report, matches: Matches): FolderTotals {
    const { folderCount, folderParent, groupStart, groupSize, groupCount, folder } = report;
    const ownBytes = new Float64Array(folderCount);
    const ownCopies = new Uint32Array(folderCount);
    const files = new Uint32Array(folderCount);
    for (let group = 0; group < groupCount; ++group) {
        if (matches.groups[group] === 0) continue;
        const start = groupStart[group]!;
        for (let row = start; row < groupStart[group + 1]!; ++row) {
            if (matches.rows[row] === 0) continue;
            const at = folder[row]!;
            ++files[at]!;
            if (row === start || groupSize[group] === 0) continue;
            ++ownCopies[at]!;
            ownBytes[at] = ownBytes[at]! + groupSize[group]!;
        }
    }
    const bytes = ownBytes.slice();
    const copies = ownCopies.slice();
    for (let at = folderCount - 1; at > 0; --at) {
        const parent = folderParent[at]!;
        bytes[parent] = bytes[parent]! + bytes[at]!;
        copies[parent] = copies[parent]! + copies[at]!;
        files[parent] = files[parent]! + files[at]!;
    }
    return { ownBytes, ownCopies, bytes, copies, files };
}

// Folders with copies right in them, most bytes first.
export function foldersByOwnBytes(totals: FolderTotals): Uint32Array {
    return fallingOrder(totals.ownBytes).filter((at) => totals.ownCopies[at]! > 0);
}

// The folders right below one, most bytes of copies first; those without a file of a group are
// left out.
export function childrenByBytes(report: Report, totals: FolderTotals, parent: number): number[] {
    const children: number[] = [];
    const end = report.folderEnd[parent]!;
    for (let at = parent + 1; at < end; at = report.folderEnd[at]!)
        if (totals.files[at]! > 0) children.push(at);
    const order = fallingOrder(Float64Array.from(children, (at) => totals.bytes[at]!));
    return Array.from(order, (at) => children[at]!);
}
