// Every folder of a report and those above it, numbered depth first.

import { parentOf } from "./paths";

// Levels down to which a folder that only others name is one of its own. The paths above one file may be
// 16,000, half a gigabyte of text.
const MOST_LEVELS = 256;

export interface FolderTree {
    readonly paths: string[];
    readonly parents: Uint32Array;
    readonly ends: Uint32Array;    // behind the last folder below it
    readonly numbers: Uint32Array; // by place in what was given
}

// In the order of the code units what is below a folder follows it, since it begins with its path. A
// folder that only others name is put before the first of them.
export function layOutFolders(known: readonly string[]): FolderTree {
    const order = Array.from(known, (_, at) => at)
        .sort((one, other) => known[one]! < known[other]! ? -1 : 1);
    const paths = [""];
    const parents = [0];
    const ends: number[] = [];
    const numbers = new Uint32Array(known.length);
    const open = [0];
    for (const at of order) {
        const path = known[at]!;
        while (!path.startsWith(paths[open[open.length - 1]!]!)) ends[open.pop()!] = paths.length;
        const missing: string[] = [];
        for (let one = path; one !== paths[open[open.length - 1]!]; one = parentOf(one))
            missing.push(one);
        for (const one of missing.reverse()) {
            if (open.length > MOST_LEVELS && one !== path) continue;
            parents.push(open[open.length - 1]!);
            open.push(paths.length);
            paths.push(one);
        }
        numbers[at] = open[open.length - 1]!;
    }
    for (const at of open) ends[at] = paths.length;
    return { paths, parents: Uint32Array.from(parents), ends: Uint32Array.from(ends), numbers };
}
