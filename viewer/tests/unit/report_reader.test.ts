import assert from "node:assert/strict";
import { writeFileSync } from "node:fs";
import { join } from "node:path";
import { test } from "node:test";
import { pathOf } from "../../src/report/report";
import { chance, csvOf, HEADER, newFolder, problemOf, python, read, reportOf } from "./support";

const WHOLE = csvOf([5, "C:\\a;b.txt", 'C:\\dit "oui".txt'], [0, "C:\\é\\ligne\nautre", "", "C:\\z"]);

test("a report is read with its groups, sizes and paths", async () => {
    const report = await read(WHOLE);
    assert.deepEqual([...report.groupStart], [0, 2, 5]);
    assert.deepEqual([...report.groupSize], [5, 0]);
    assert.deepEqual(Array.from({ length: 5 }, (_, row) => pathOf(report, row)),
                     ["C:\\a;b.txt", 'C:\\dit "oui".txt', "C:\\é\\ligne\nautre", "", "C:\\z"]);
});

test("a report without duplicates is the header alone", async () => {
    const report = await read(HEADER);
    assert.deepEqual([report.rowCount, report.groupCount, report.folderCount], [0, 0, 1]);
});

test("a file that is not a report is refused on line 1", async () => {
    for (const text of ["", "\ufeff", "PK\u0003\u0004", "a;b\r\n", HEADER.slice(0, -2), HEADER.slice(0, 20),
                        "\ufeffGroupe;Statut;Chemin;Taille\r\n"])
        assert.equal(await problemOf(text), "header 1", JSON.stringify(text));
    assert.equal(await problemOf(Uint8Array.of(0xff, 0xfe, 10, 0x41)), "header 1");
});

test("a refused line is reported with its number and its reason", async () => {
    const row = (text: string): string => csvOf([5, "C:\\a", "C:\\b"]) + text + "\r\n";
    const cases: [string, string][] = [
        ["2;Original;\"C:\\c\"", "fields 4"], ["", "fields 4"], ["a;b;c;d;e", "fields 4"],
        ["2;Original;\"C:\\c\"x;5\r\n2;Doublon;\"C:\\d\";5", "fields 4"],
        ["2;Original;C:\\c;5", "fields 4"], ["\"2\";Original;\"C:\\c\";5", "fields 4"],
        ["\"2\";Original;C:\\c;5\r\n2;Doublon;\"C:\\d\";5", "fields 4"],
        ["3;Original;\"C:\\c\";5", "group 4"], ["01;Doublon;\"C:\\c\";5", "group 4"],
        ["2;Doublon;\"C:\\c\";5", "status 4"], ["1;Original;\"C:\\c\";5", "status 4"],
        ["1;doublon;\"C:\\c\";5", "status 4"],
        ["1;Doublon;\"C:\\c\";6", "size 4"], ["2;Original;\"C:\\c\";05", "size 4"],
        ["2;Original;\"C:\\c\";-1", "size 4"], ["2;Original;\"C:\\c\";9007199254740992", "size 4"],
        ["1;Doublon;\"C:\\a\";5", "twice 4"],
        ["2;Original;\"C:\\c\";5", "cut 4"],
        ["2;Original;\"C:\\c\";5\r\n3;Original;\"C:\\d\";5", "single 4"],
    ];
    for (const [text, expected] of cases) assert.equal(await problemOf(row(text)), expected, text);
});

test("line numbers count the line ends inside paths, as an editor does", async () => {
    const text = csvOf([5, "C:\\a\nb\nc", "C:\\b"]);
    assert.equal(await problemOf(text + "x\r\n"), "fields 6");
});

test("bytes that are not UTF-8 are refused on their line", async () => {
    const bytes = new TextEncoder().encode(csvOf([5, "C:\\a", "C:\\b"], [6, "C:\\c", "C:\\X"]));
    bytes[bytes.lastIndexOf(0x58)] = 0xff;
    assert.equal(await problemOf(bytes), "utf8 5");
    const behind = new TextEncoder().encode(WHOLE + "é");
    assert.equal(await problemOf(behind.subarray(0, behind.length - 1)), "cut 8");
});

test("a report that ends anywhere within a line or a group is refused", async () => {
    const bytes = new TextEncoder().encode(WHOLE);
    const ends = new Set([50, ...["\"C:\\dit \"\"oui\"\".txt\";5\r\n", "\"\";0\r\n", "\"C:\\z\";0\r\n"]
        .map((text) => new TextEncoder().encode(WHOLE.slice(0, WHOLE.indexOf(text) + text.length)).length)]);
    assert.equal(ends.size, 4);
    for (let size = 0; size <= bytes.length; ++size) {
        const outcome = await problemOf(bytes.subarray(0, size));
        if (ends.has(size)) assert.equal(outcome, "read", `${size} bytes`);
        else assert.match(outcome, size < 50 ? /^header 1$/ : /^cut [2-7]$/, `${size} bytes`);
    }
});

test("after a change of any byte the reader and the second implementation agree", async () => {
    const bytes = new TextEncoder().encode(WHOLE);
    const next = chance(7);
    const signs = [...new TextEncoder().encode("\"; \r\n0129\\aO"), 0xc3, 0xff];
    const folder = newFolder();
    const changes = Array.from({ length: 600 }, (_, at) => {
        const changed = bytes.slice();
        changed[3 + next(bytes.length - 3)] = signs[next(signs.length)]!;
        writeFileSync(join(folder, String(at)), changed);
        return changed;
    });
    const answers = python("reference.py", "--all", folder) as Record<string, { line?: number }>;
    let refused = 0;
    for (const [at, changed] of changes.entries()) {
        const outcome = await problemOf(changed);
        const line = outcome === "read" ? undefined : Number(outcome.split(" ")[1]);
        assert.equal(line, answers[at]!.line, `${outcome}: ${new TextDecoder().decode(changed)}`);
        refused += line === undefined ? 0 : 1;
    }
    assert.ok(refused > 200 && refused < 600, `${refused} refused`);
});

test("a report is read whole when two pieces of the file meet within a character", async () => {
    // Longer than two pieces, in characters of several bytes, so that both borders are within a character.
    const groups = Array.from({ length: 9000 }, (_, at) =>
        [at + 1, `C:\\${"é\"€😀".repeat(25)}\\${at}`, `D:\\${"ü".repeat(200)}\\${at}`] as const);
    const report = await reportOf(...groups);
    assert.equal(report.rowCount, 18_000);
    groups.forEach(([size, first, second], at) => {
        assert.equal(report.groupSize[at], size);
        assert.equal(pathOf(report, 2 * at), first);
        assert.equal(pathOf(report, 2 * at + 1), second);
    });
});
