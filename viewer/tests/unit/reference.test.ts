// Numbers and rows compared with the second implementation, over made-up reports and every input of
// the fuzz corpus.
import assert from "node:assert/strict";
import { readdirSync } from "node:fs";
import { join } from "node:path";
import { test } from "node:test";
import { Filter, findMatches, NO_FILTER } from "../../src/model/filter";
import { findFolderTotals } from "../../src/model/folder_totals";
import { findPairs } from "../../src/model/pairs";
import { planRule, Rule } from "../../src/model/rules";
import { Selection } from "../../src/model/selection";
import { findTotals } from "../../src/model/totals";
import { folderPath, pathOf, Report } from "../../src/report/report";
import { bytesOfFile, chance, csvOf, Group, newFolder, problemOf, python, read, Reference, reference,
         referenceOfFile } from "./support";

type Question = { filter: Partial<Filter>; rule?: Rule };

function answersOf(report: Report, questions: Question[]): Reference {
    const none = new Uint8Array(report.groupCount);
    const all = findMatches(report, NO_FILTER, none);
    const totals = findTotals(report, all);
    const folders = findFolderTotals(report, all);
    const pairs = findPairs({ ...report, rows: all.rows });
    const byFolder = (copies: Uint32Array, bytes: Float64Array): Record<string, number[]> =>
        Object.fromEntries(Array.from(copies, (count, at) => [folderPath(report, at), [count, bytes[at]!]])
            .filter(([, amount]) => amount![0] as number > 0));
    return {
        paths: Array.from({ length: report.rowCount }, (_, row) => pathOf(report, row)),
        totals: {
            groups: totals.groups, files: totals.files, copies: totals.copies, bytes: totals.bytes,
            emptyFiles: totals.emptyFiles, unnamed: totals.unnamed,
            byExtension: Object.fromEntries(totals.byExtension.map((amount, at) =>
                [report.extensions[at]!, [amount.copies, amount.bytes]] as [string, number[]])
                .filter(([, amount]) => amount[0]! > 0)),
            bySize: totals.bySize.map((amount) => [amount.copies, amount.bytes]),
            ownFolders: byFolder(folders.ownCopies, folders.ownBytes),
            folders: byFolder(folders.copies, folders.bytes),
        },
        pairs: Object.fromEntries(Array.from(pairs.first, (first, at) =>
            [[folderPath(report, first), folderPath(report, pairs.second[at]!)].sort().join("|"),
             [pairs.files[at]!, pairs.bytes[at]!]])),
        answers: questions.map(({ filter, rule }) => {
            const matches = findMatches(report, { ...NO_FILTER, ...filter }, none);
            if (rule === undefined)
                return [...matches.rows.keys()].filter((row) => matches.rows[row] === 1);
            const selection = new Selection(report);
            const { off, on } = planRule(report, matches, rule, selection.chosen);
            assert.equal(selection.change(off, on), 0);
            return [...selection.rows()];
        }),
    };
}

const PARTS = ["photos", "Été", "copie", "a", "😀", "x.y"];
const NAMES = ["p.jpg", "P.JPG", "notes", ".profil", "İ.txt", "a b.c d", "x.", "é.pdf", "archive.tar.gz"];

function madeUp(seed: number): string {
    const next = chance(seed);
    const groups = Array.from({ length: 60 }, () => {
        const paths = new Set<string>();
        const count = 2 + next(4);
        while (paths.size < count)
            paths.add(next(25) === 0 ? "" : ["C:", "D:", "\\\\srv\\part"][next(3)]! +
                "\\" + Array.from({ length: next(4) }, () => PARTS[next(PARTS.length)]! + "\\").join("") +
                NAMES[next(NAMES.length)]!);
        return [next(6) === 0 ? 0 : next(3) * 2 ** (10 + next(25)), ...paths] as unknown as Group;
    });
    return csvOf(...groups);
}

const FILTERS: Partial<Filter>[] = [
    {}, { text: "PHOTO" }, { text: "été\\" }, { text: "a\\p" }, { text: "\\" }, { text: "😀\\x.y" },
    { text: "i̇" }, { folder: "C:\\photos" }, { folder: "D:\\" }, { folder: "D:\\", direct: true },
    { folder: "Z:\\" },
    { extensions: ["jpg", "pdf"] }, { extensions: [""] }, { leastSize: 1, mostSize: 2 ** 20 },
    { status: "copy" }, { status: "original", text: "c" }, { hidden: ["C:\\", "D:\\a\\"] },
    { pair: ["C:\\photos\\", "C:\\"] }, { folder: "C:\\", hidden: ["C:\\photos"], status: "copy" },
];
const RULES: Rule[] = [
    { kind: "keepBelow", folder: "C:\\" }, { kind: "markBelow", folder: "C:\\photos" },
    { kind: "markBelow", folder: "D:\\" }, { kind: "keepShortest" }, { kind: "keepOriginal" },
];

test("made-up reports give the numbers of the second implementation", async () => {
    const questions: Question[] = FILTERS.flatMap((filter) =>
        [{ filter }, ...RULES.map((rule) => ({ filter, rule }))]);
    for (let seed = 1; seed <= 6; ++seed) {
        const text = madeUp(seed);
        const expected = reference(text, questions);
        assert.equal(expected.line, undefined);
        assert.deepEqual(answersOf(await read(text), questions), expected, `seed ${seed}`);
    }
});

test("every input of the fuzz corpus is read, or refused on the same line", async () => {
    const folder = newFolder();
    python("corpus_reports.py", process.env["LARKSPINE_CORPUS"]!, folder);
    const names = readdirSync(folder).sort();
    const inputs = readdirSync(process.env["LARKSPINE_CORPUS"]!).length;
    assert.equal(names.length, 2 * inputs + 1);
    const answers = python("reference.py", "--all", folder) as Record<string, Reference>;
    for (const name of names) {
        const bytes = bytesOfFile(join(folder, name));
        const expected = answers[name]!;
        if (expected.line !== undefined) {
            assert.ok(name.endsWith(".raw.csv"), name);
            assert.equal((await problemOf(bytes)).split(" ")[1], String(expected.line), name);
        } else {
            assert.deepEqual(answersOf(await read(bytes), []), expected, name);
        }
    }
});

test("a program's own report gives the numbers of the second implementation", async (t) => {
    const reports = (process.env["LARKSPINE_REPORTS"] ?? "").split("\n").filter((path) => path !== "");
    if (reports.length === 0) return t.skip("no larkspine.exe is built");
    for (const path of reports) {
        const expected = referenceOfFile(path);
        assert.ok(expected.paths.length > 4, path);
        assert.deepEqual(answersOf(await read(bytesOfFile(path)), []), expected, path);
    }
});
