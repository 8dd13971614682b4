// What is looked at: a row matches when it passes every part of the filter. A group is listed when
// one of its rows matches; its other rows are shown beside it, but no rule touches them.

import { findFolder, isBelow, Report } from "../report/report";
import { fold } from "../report/text_column";
import { endsWith, markHolding, startsWith } from "./text_search";

export type Status = "all" | "original" | "copy";

export interface Filter {
    readonly text: string;
    readonly folder: string;               // what is below it
    readonly direct: boolean;              // what is right in it alone
    readonly pair: readonly string[];      // two folders: groups with a file right in each
    readonly extensions: readonly string[]; // none of them means any; "" is "without"
    readonly leastSize: number;
    readonly mostSize: number;             // up to and without it
    readonly status: Status;
    readonly hidden: readonly string[];    // nothing below these folders
    readonly ignored: boolean;             // the ignored groups instead of the others
}

export const NO_FILTER: Filter = {
    text: "", folder: "", direct: false, pair: [], extensions: [], leastSize: 0,
    mostSize: Infinity, status: "all", hidden: [], ignored: false,
};

export interface Matches {
    readonly rows: Uint8Array;   // 1 where the row matches
    readonly groups: Uint8Array; // 1 where one of its rows does
    readonly rowCount: number;
    readonly groupCount: number;
}

export function findMatches(report: Report, filter: Filter, ignored: Uint8Array): Matches {
    const { groupStart, groupSize, groupCount, folder, extension } = report;
    const folders = folderMarks(report, filter);
    const texts = filter.text === "" ? null : textMarks(report, filter.text);
    const extensions = extensionMarks(report, filter);
    const pair = filter.pair.map((path) => findFolder(report, path));
    const wantIgnored = filter.ignored ? 1 : 0;
    const rows = new Uint8Array(report.rowCount);
    const groups = new Uint8Array(groupCount);
    let rowCount = 0;
    let listed = 0;
    for (let group = 0; group < groupCount; ++group) {
        const size = groupSize[group]!;
        if (ignored[group] !== wantIgnored || size < filter.leastSize || size >= filter.mostSize)
            continue;
        const start = groupStart[group]!;
        const end = groupStart[group + 1]!;
        if (pair.length === 2 && !holdsBoth(folder, start, end, pair)) continue;
        const from = filter.status === "copy" ? start + 1 : start;
        const to = filter.status === "original" ? start + 1 : end;
        let found = 0;
        for (let row = from; row < to; ++row) {
            if (folders[folder[row]!] === 0 || extensions[extension[row]!] === 0 ||
                (texts !== null && texts[row] === 0) ||
                (pair.length === 2 && folder[row] !== pair[0] && folder[row] !== pair[1]))
                continue;
            rows[row] = 1;
            ++found;
        }
        if (found === 0) continue;
        rowCount += found;
        groups[group] = 1;
        ++listed;
    }
    return { rows, groups, rowCount, groupCount: listed };
}

function holdsBoth(folder: Uint32Array, start: number, end: number, pair: number[]): boolean {
    const part = folder.subarray(start, end);
    return part.includes(pair[0]!) && part.includes(pair[1]!);
}

function folderMarks(report: Report, filter: Filter): Uint8Array {
    const marks = new Uint8Array(report.folderCount);
    const shown = filter.folder === "" ? 0 : findFolder(report, filter.folder);
    if (shown >= 0) marks.fill(1, shown, filter.direct ? shown + 1 : report.folderEnd[shown]);
    for (const path of filter.hidden) {
        const hidden = path === "" ? -1 : findFolder(report, path);
        if (hidden >= 0) marks.fill(0, hidden, report.folderEnd[hidden]);
    }
    return marks;
}

function extensionMarks(report: Report, filter: Filter): Uint8Array {
    const wanted = new Set(filter.extensions);
    return Uint8Array.from(report.extensions, (extension) =>
        wanted.size === 0 || wanted.has(extension) ? 1 : 0);
}

// A path holds the text in its folder, in its name, or across the backslash between them.
function textMarks(report: Report, text: string): Uint8Array {
    const marks = new Uint8Array(report.rowCount);
    const needle = fold(text);
    markHolding(report.names, needle, marks);
    const folders = new Uint8Array(report.folderCount);
    markHolding(report.folders, needle, folders);
    const cut = text.lastIndexOf("\\") + 1;
    const before = fold(text.slice(0, cut));
    const after = fold(text.slice(cut));
    const ends = new Uint8Array(report.folderCount);
    if (cut > 0)
        for (let at = 0; at < ends.length; ++at)
            ends[at] = endsWith(report.folders, at, before) ? 1 : 0;
    for (let row = 0; row < marks.length; ++row) {
        const folder = report.folder[row]!;
        if (folders[folder] === 1 ||
            (ends[folder] === 1 && startsWith(report.names, row, after))) marks[row] = 1;
    }
    return marks;
}

// Whether a row lies below the folder of that number; -1 holds nothing.
export function rowIsBelow(report: Report, row: number, above: number): boolean {
    return above >= 0 && isBelow(report, report.folder[row]!, above);
}
