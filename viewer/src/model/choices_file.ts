// The selection as a CSV file: UTF-8 with its mark, semicolons, CR LF, like the report.
//
//     Choix;Groupe;Chemin complet;Taille en octets
//     Rapport;;"SHA-256 of the report";bytes of the report
//     Choisi;group;"path";bytes
//     Ignoré;number of the ignored group;"path";
//
// A spreadsheet takes a cell for a formula by its first sign, so a path that begins with such a sign,
// or with an apostrophe, has an apostrophe before it; reading takes one away.

import { readRecords } from "../report/csv_records";
import { Problem } from "../report/problem";
import { groupOfRow, pathOf, Report } from "../report/report";
import { findRows } from "./row_search";
import { Selection } from "./selection";

export const CHOICES_HEADER = "Choix;Groupe;Chemin complet;Taille en octets";
const FORMULA = /^[=+\-@\t\r\n'＝＋－＠]/;
const PIECE = 1 << 14;

export interface Choice {
    readonly group: number; // from 1
    readonly path: string;
    readonly size: number;
}

export interface Choices {
    readonly sha256: string;
    readonly chosen: Choice[];
    readonly ignored: string[][];
}

export function writeChoices(report: Report, sha256: string, reportBytes: number,
                             selection: Selection,
                             ignored: readonly (readonly string[])[]): string[] {
    const pieces: string[] = [];
    let lines: string[] = ["\ufeff" + CHOICES_HEADER, `Rapport;;${quoted(sha256)};${reportBytes}`];
    const flush = (least: number): void => {
        if (lines.length < least) return;
        pieces.push(lines.map((line) => line + "\r\n").join(""));
        lines = [];
    };
    for (const row of selection.rows()) {
        const group = groupOfRow(report, row);
        const path = quoted(guarded(pathOf(report, row)));
        lines.push(`Choisi;${group + 1};${path};${report.groupSize[group]!}`);
        flush(PIECE);
    }
    ignored.forEach((paths, at) => {
        for (const path of paths) lines.push(`Ignoré;${at + 1};${quoted(guarded(path))};`);
        flush(PIECE);
    });
    flush(1);
    return pieces;
}

export async function readChoices(file: Blob): Promise<Choices> {
    try {
        return await choicesOf(file);
    } catch (error) {
        // Whatever is wrong with the line, it is not one that was saved here.
        if (error instanceof Problem && error.kind !== "unreadable")
            throw new Problem("choices", error.line);
        throw error;
    }
}

async function choicesOf(file: Blob): Promise<Choices> {
    let sha256 = "";
    const chosen: Choice[] = [];
    const ignored: string[][] = [];
    let lastIgnored = "";
    const last = await readRecords(file, (fields, line) => {
        if (line === 1) {
            if (fields.join(";") !== CHOICES_HEADER) throw new Problem("choices", 1);
            return;
        }
        if (fields.length !== 4) throw new Problem("choices", line);
        const [kind, group, cell, size] = fields as [string, string, string, string];
        if (line === 2) {
            if (kind !== "Rapport" || !/^[0-9a-f]{64}$/.test(cell))
                throw new Problem("choices", line);
            sha256 = cell;
            return;
        }
        if (!/^[1-9][0-9]*$/.test(group)) throw new Problem("choices", line);
        const path = cell.startsWith("'") ? cell.slice(1) : cell;
        if (path === "") throw new Problem("choices", line);
        if (kind === "Choisi" && /^[0-9]+$/.test(size)) {
            chosen.push({ group: Number(group), path, size: Number(size) });
        } else if (kind === "Ignoré") {
            if (group !== lastIgnored) ignored.push([]);
            lastIgnored = group;
            ignored[ignored.length - 1]!.push(path);
        } else {
            throw new Problem("choices", line);
        }
    }, () => undefined);
    if (sha256 === "") throw new Problem("choices", last);
    return { sha256, chosen, ignored };
}

// The rows that the choices mean in this report: same path, same size.
export function rowsOfChoices(report: Report, choices: Choices): number[] {
    const found = findRows(report, choices.chosen.map((choice) => choice.path));
    const rows: number[] = [];
    for (const { path, size } of choices.chosen) {
        const row = found.get(path);
        if (row !== undefined && report.groupSize[groupOfRow(report, row)] === size) rows.push(row);
    }
    return rows;
}

function guarded(path: string): string {
    return FORMULA.test(path) ? "'" + path : path;
}

function quoted(text: string): string {
    return '"' + text.replaceAll('"', '""') + '"';
}
