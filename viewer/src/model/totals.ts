// The numbers of the summary. A copy is any file of a group but its first; what it takes could be
// free. Empty files take nothing and are counted apart.

import { isNamed, Report } from "../report/report";
import { Matches } from "./filter";
import { fallingOrder } from "./order";

export interface Amount {
    copies: number;
    bytes: number;
}

export const SIZE_LIMITS = [2 ** 17, 2 ** 20, 10 * 2 ** 20, 100 * 2 ** 20, 2 ** 30] as const;

export interface Totals {
    groups: number;     // of files that are not empty
    files: number;
    copies: number;
    bytes: number;
    emptyFiles: number;
    emptyCopies: number;
    unnamed: number;
    readonly byExtension: Amount[]; // by number of the extension
    readonly bySize: Amount[];      // below each limit, and above the last one
}

export function findTotals(report: Report, matches: Matches): Totals {
    const { groupStart, groupSize, groupCount, extension, extensions } = report;
    const totals: Totals = {
        groups: 0, files: 0, copies: 0, bytes: 0, emptyFiles: 0, emptyCopies: 0, unnamed: 0,
        byExtension: extensions.map(() => ({ copies: 0, bytes: 0 })),
        bySize: [...SIZE_LIMITS, Infinity].map(() => ({ copies: 0, bytes: 0 })),
    };
    for (let group = 0; group < groupCount; ++group) {
        if (matches.groups[group] === 0) continue;
        const size = groupSize[group]!;
        const sizeClass = totals.bySize[sizeClassOf(size)]!;
        if (size > 0) ++totals.groups;
        const start = groupStart[group]!;
        for (let row = start; row < groupStart[group + 1]!; ++row) {
            if (matches.rows[row] === 0) continue;
            if (!isNamed(report, row)) ++totals.unnamed;
            const copy = row > start ? 1 : 0;
            if (size === 0) {
                ++totals.emptyFiles;
                totals.emptyCopies += copy;
                continue;
            }
            ++totals.files;
            if (copy === 0) continue;
            ++totals.copies;
            totals.bytes += size;
            add(totals.byExtension[extension[row]!]!, size);
            add(sizeClass, size);
        }
    }
    return totals;
}

export function sizeClassOf(size: number): number {
    const at = SIZE_LIMITS.findIndex((limit) => size < limit);
    return at < 0 ? SIZE_LIMITS.length : at;
}

// The numbers of the extensions with copies, most bytes first.
export function extensionsByBytes(totals: Totals): number[] {
    const bytes = Float64Array.from(totals.byExtension, (amount) => amount.bytes);
    return [...fallingOrder(bytes)].filter((at) => totals.byExtension[at]!.copies > 0);
}

function add(amount: Amount, size: number): void {
    ++amount.copies;
    amount.bytes += size;
}
