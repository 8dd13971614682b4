// Choosing by rule. A rule speaks about the groups that the filter lists, and chooses none but
// matching rows. It says what a group keeps; of a group where it keeps nothing it says nothing.

import { findFolder, firstNamed, isNamed, Report } from "../report/report";
import { unitsAt } from "../report/text_column";
import { Matches, rowIsBelow } from "./filter";

export type Rule =
    | { readonly kind: "keepBelow"; readonly folder: string }
    | { readonly kind: "markBelow"; readonly folder: string }
    | { readonly kind: "keepShortest" }
    | { readonly kind: "keepOriginal" };

export interface Change {
    readonly off: number[];
    readonly on: number[];
}

export function planRule(report: Report, matches: Matches, rule: Rule,
                         chosen: Uint8Array): Change {
    const folder = "folder" in rule ? findFolder(report, rule.folder) : -1;
    const change: Change = { off: [], on: [] };
    for (let group = 0; group < report.groupCount; ++group) {
        if (matches.groups[group] === 0) continue;
        if (rule.kind === "markBelow") mark(report, matches, group, folder, chosen, change);
        else keep(report, matches, group, rule, folder, change);
    }
    return change;
}

function keep(report: Report, matches: Matches, group: number, rule: Rule, folder: number,
              change: Change): void {
    const start = report.groupStart[group]!;
    const end = report.groupStart[group + 1]!;
    const only = rule.kind === "keepShortest" ? shortest(report, group)
        : rule.kind === "keepOriginal" ? firstNamed(report, group) : -1;
    const stays = (row: number): boolean => rule.kind === "keepBelow"
        ? isNamed(report, row) && rowIsBelow(report, row, folder) : row === only;
    let kept = 0;
    for (let row = start; row < end; ++row) kept += stays(row) ? 1 : 0;
    if (kept === 0) return;
    for (let row = start; row < end; ++row)
        if (stays(row)) change.off.push(row);
        else if (matches.rows[row] === 1 && isNamed(report, row)) change.on.push(row);
}

// Adds to what is chosen. Where nothing else stays, the first of the copies below the folder does.
function mark(report: Report, matches: Matches, group: number, folder: number, chosen: Uint8Array,
              change: Change): void {
    const below: number[] = [];
    let others = 0;
    for (let row = report.groupStart[group]!; row < report.groupStart[group + 1]!; ++row) {
        if (!isNamed(report, row)) continue;
        if (matches.rows[row] === 1 && rowIsBelow(report, row, folder)) below.push(row);
        else if (chosen[row] === 0) ++others;
    }
    const from = others > 0 ? 0 : 1;
    if (from === 1 && below.length > 0) change.off.push(below[0]!);
    for (let at = from; at < below.length; ++at) change.on.push(below[at]!);
}

// Of paths as short as each other the first: `Original` comes before its copies.
function shortest(report: Report, group: number): number {
    let best = -1;
    let length = Infinity;
    for (let row = report.groupStart[group]!; row < report.groupStart[group + 1]!; ++row) {
        if (!isNamed(report, row)) continue;
        const here = unitsAt(report.folders, report.folder[row]!) + unitsAt(report.names, row);
        if (here >= length) continue;
        best = row;
        length = here;
    }
    return best;
}
