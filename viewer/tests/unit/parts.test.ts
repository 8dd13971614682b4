import assert from "node:assert/strict";
import { createHash } from "node:crypto";
import { test } from "node:test";
import { readAddress, START, writeAddress } from "../../src/model/address";
import { findMatches, NO_FILTER } from "../../src/model/filter";
import { findFolderTotals } from "../../src/model/folder_totals";
import { fallingOrder } from "../../src/model/order";
import { findPairs } from "../../src/model/pairs";
import { FolderIds } from "../../src/report/folder_ids";
import { extensionOf, parentOf } from "../../src/report/paths";
import { findFolder, folderPath } from "../../src/report/report";
import { Sha256 } from "../../src/report/sha256";
import { textAt, TextColumnWriter, unitsAt } from "../../src/report/text_column";
import { en } from "../../src/text/en";
import { fr } from "../../src/text/fr";
import { Words } from "../../src/text/words";
import { FolderLines } from "../../src/view/folder_lines";
import { GroupLines } from "../../src/view/group_lines";
import { findDifference } from "../../src/view/path_difference";
import { ScaledScroll } from "../../src/view/scaled_scroll";
import { visible } from "../../src/view/visible_text";
import { chance, reportOf } from "./support";

test("SHA-256 computed in pieces equals the system's", () => {
    const next = chance(5);
    for (const size of [0, 1, 55, 56, 63, 64, 65, 119, 120, 1000, 70_001]) {
        const bytes = Uint8Array.from({ length: size }, () => next(256));
        const sum = new Sha256();
        for (let from = 0; from < size;) {
            const to = from + 1 + next(200);
            sum.add(bytes.subarray(from, to));
            from = to;
        }
        assert.equal(sum.hex(), createHash("sha256").update(bytes).digest("hex"), `${size} bytes`);
    }
});

test("numbers are sorted in falling order, and equal ones keep their order", () => {
    const next = chance(9);
    const keys = Float64Array.from({ length: 5000 }, () =>
        [0, 1, 2 ** 40 + next(3), next(70_000), next(10) / 7, Number.MAX_SAFE_INTEGER][next(6)]!);
    const expected = [...keys.keys()].sort((a, b) => keys[b]! - keys[a]! || a - b);
    assert.deepEqual([...fallingOrder(keys)], expected);
    assert.deepEqual([...fallingOrder(new Float64Array(0))], []);
});

test("texts are read back from a column, with their length in code units", () => {
    const texts = ["", "a", "É", "€uro", "😀.İ", "\0", "x".repeat(100_000)];
    const writer = new TextColumnWriter();
    for (const text of texts) writer.add(text);
    const column = writer.finish();
    texts.forEach((text, at) => {
        assert.equal(textAt(column, at), text);
        assert.equal(unitsAt(column, at), text.length);
    });
});

test("a path gives its extension and its parent folder", () => {
    const cases: [string, string][] = [
        ["a.jpg", "jpg"], ["a.JPG", "jpg"], [".profil", ""], ["a.", ""], ["a", ""], ["a.tar.gz", "gz"],
        ["M. Dupont", ""], ["a.sixteen_letters_", ""], ["a.fifteen_letters", "fifteen_letters"]];
    for (const [name, extension] of cases) assert.equal(extensionOf(name), extension, name);
    for (const [folder, above] of [["C:\\a\\b\\", "C:\\a\\"], ["C:\\", ""], ["\\\\srv\\", ""],
                                   ["\\\\srv\\part\\", "\\\\srv\\"], ["\\", ""]] as const)
        assert.equal(parentOf(folder), above, folder);
});

test("a folder is found with and without its last backslash; other paths are not", async () => {
    const report = await reportOf([1, "C:\\a\\x", "C:\\a b\\x"], [2, "\\\\srv\\p\\y", "C:\\é\\y"]);
    for (let at = 0; at < report.folderCount; ++at) {
        const path = folderPath(report, at);
        assert.equal(findFolder(report, path), at);
        if (at > 0) assert.equal(findFolder(report, path.slice(0, -1)), at);
    }
    for (const path of ["C:\\A", "C:\\a\\x", "D:", "C:\\a\\b"])
        assert.equal(findFolder(report, path), -1, path);
});

test("folders with the same hash get different numbers", async () => {
    const ids = new FolderIds();
    const [one, other] = ["C:\\046wu\\", "C:\\0bwfa\\"].map((path) => new TextEncoder().encode(path));
    assert.deepEqual([ids.idOf(one!, 9), ids.idOf(other!, 9), ids.idOf(one!, 9), ids.idOf(one!, 3)],
                     [1, 2, 1, 3]);
    assert.deepEqual(ids.paths(), ["", "C:\\046wu\\", "C:\\0bwfa\\", "C:\\"]);
});

test("a text is found within a path, never across two of them", async () => {
    const report = await reportOf([1, "C:\\xab", "C:\\cdx"], [2, "C:\\XBC", "C:\\bcbc"]);
    const found = (text: string): number[] => [...findMatches(report, { ...NO_FILTER, text },
                                                              new Uint8Array(2)).rows];
    assert.deepEqual(found("bc"), [0, 0, 1, 1]);
    assert.deepEqual(found("\\b"), [0, 0, 0, 1]);
    assert.deepEqual(found("d"), [0, 1, 0, 0]);
});

test("the deepest path that Windows allows is read, and its tree opened", async () => {
    const deep = "C:\\" + "a\\".repeat(16_381);
    const report = await reportOf([9, deep + "x", deep + "y"], [8, "C:\\b\\x", "C:\\b\\y"]);
    assert.equal(report.folderCount, 259); // 256 levels, the deepest folder, b, and above all
    const matches = findMatches(report, NO_FILTER, new Uint8Array(2));
    const tree = new FolderLines(report, findFolderTotals(report, matches));
    assert.deepEqual(tree.lines.map(({ level }) => level), [1, 2, 3, 3]);
    const bottom = findFolder(report, deep);
    assert.equal(folderPath(report, bottom), deep);
    assert.equal(tree.reveal(bottom), 257);
    assert.equal(tree.lines.length, 259);
});

test("pairs leave out contents in too many folders, and count what a full table refuses", async () => {
    const spread = (count: number, size: number): [number, ...string[]] =>
        [size, ...Array.from({ length: count }, (_, at) => `C:\\${at + 100}\\x${size}`)] as never;
    const { groupStart, groupSize, folder, rowCount } = await reportOf(spread(65, 9), spread(3, 5),
                                                                       spread(4, 7), spread(9, 0));
    const question = { groupStart, groupSize, folder, rows: new Uint8Array(rowCount).fill(1) };
    const pairs = findPairs(question);
    assert.deepEqual([pairs.leftOutGroups, pairs.refused, [...pairs.bytes], [...pairs.files]],
                     [1, 0, [12, 12, 12, 7, 7, 7], [2, 2, 2, 1, 1, 1]]);
    const full = findPairs(question, 64, 4);
    assert.deepEqual([full.refused, full.first.length], [2, 4]);
});

test("an address restores the view, its order, its filter and the language", () => {
    const place = {
        view: "groups" as const, order: "size" as const, language: "en" as const,
        filter: {
            text: "été & co;+#", folder: "C:\\a b\\", direct: true, pair: ["C:\\x\\", "\\\\srv\\p\\"],
            extensions: ["jpg", ""], leastSize: 1024, mostSize: 2 ** 40, status: "copy" as const,
            hidden: ["D:\\", "E:\\f\\"], ignored: true,
        },
    };
    assert.deepEqual(readAddress(writeAddress(place)), place);
    assert.deepEqual(readAddress(writeAddress(START)), START);
    assert.deepEqual(readAddress("#vue=x&tri=y&min=-3&max=1e9&statut=z&paire=a&langue=de"), START);
});

test("every line of the list gives its group and row, and every group its line", () => {
    const lines = new GroupLines(Uint32Array.of(2, 0, 1), Uint32Array.of(0, 2, 5, 7),
                                 Uint8Array.of(1, 0, 0));
    assert.deepEqual(Array.from({ length: lines.count }, (_, at) => {
        const { group, row } = lines.at(at);
        return [group, row];
    }), [[2, -1], [2, 5], [2, 6], [0, -1], [1, -1], [1, 2], [1, 3], [1, 4]]);
    assert.deepEqual([0, 1, 2].map((group) => lines.lineOf(group)), [3, 4, 0]);
});

test("the difference of folders excludes their common beginning and end", () => {
    const parts = (...folders: string[]): string[] => {
        const { lead, tail } = findDifference(folders);
        return folders.map((folder) => folder.slice(lead, folder.length - tail));
    };
    assert.deepEqual(parts("C:\\a\\x\\z\\", "C:\\a\\yy\\z\\"), ["x\\", "yy\\"]);
    assert.deepEqual(parts("C:\\abc\\", "C:\\abd\\"), ["abc\\", "abd\\"]);
    assert.deepEqual(parts("C:\\a\\", "C:\\a\\"), ["", ""]);
    assert.deepEqual(parts("C:\\a\\", "C:\\a\\b\\"), ["", "b\\"]);
    assert.deepEqual(parts("C:\\a\\a\\", "C:\\a\\"), ["a\\", ""]);
    assert.deepEqual(parts("C:\\a\\", "D:\\a\\"), ["C:\\", "D:\\"]);
    assert.deepEqual(parts("C:\\a\\"), [""]);
});

test("a long list scrolls by pixels, jumps in proportion, and reaches both ends", () => {
    const scroll = new ScaledScroll(8000, 1000);
    scroll.setSize(100_000, 500);
    assert.equal(scroll.height, 8000);
    scroll.barMoved(3750); // dragged to the middle
    assert.equal(scroll.top, 49_750);
    scroll.barMoved(3850); // a turn of the wheel
    assert.equal(scroll.top, 49_850);
    const rest = scroll.barAtRest();
    assert.ok(rest > 3750 && rest < 3760, String(rest));
    assert.equal(scroll.barMoved(Math.round(rest)), null); // as a browser rounds it
    assert.equal(scroll.top, 49_850);
    scroll.barMoved(7500);
    assert.equal(scroll.top, 99_500);
    scroll.barMoved(7400);
    assert.equal(scroll.top, 99_400);
    scroll.barMoved(0);
    assert.equal(scroll.top, 0);
    for (const top of [0, 1, 500, 1000, 1001, 50_000, 98_500, 99_499, 99_500]) {
        const bar = scroll.moveTo(top);
        assert.equal(scroll.top, top);
        assert.ok(bar >= 0 && bar <= 7500);
        assert.ok((bar === 0) === (top === 0) && (bar === 7500) === (top === 99_500), `${top}: ${bar}`);
    }
});

test("the wheel alone scrolls a long list from one end to the other", () => {
    const scroll = new ScaledScroll(8000, 1000);
    scroll.setSize(100_000, 500);
    let bar = 0;
    let turns = 0;
    for (; scroll.top < 99_500 && turns < 5000; ++turns) {
        bar = Math.min(7500, bar + 100);
        bar = scroll.barMoved(bar) ?? bar;
    }
    assert.ok(turns >= 995 && turns < 1100, `${turns} turns`);
});

test("control characters, invisible ones and direction marks are written out", () => {
    assert.equal(visible("a\u202egpj.exe"), "a⟨U+202E⟩gpj.exe");
    assert.equal(visible("\u0000\t\r\n\u007f\u00ad\u200b\u2066\ufeff\u{e0041}"),
                 ["0000", "0009", "000D", "000A", "007F", "00AD", "200B", "2066", "FEFF", "E0041"]
                     .map((sign) => `⟨U+${sign}⟩`).join(""));
    assert.equal(visible("été 日本 😀 <b>&amp;"), "été 日本 😀 <b>&amp;");
});

test("numbers are written by the rules of each language", () => {
    const french = new Words("fr");
    assert.equal(french.bytes(1234), "1,21\u00a0Kio");
    assert.deepEqual([0, 1023, 1024, 10_240, 2 ** 30 * 3.456].map((n) => new Words("en").bytes(n)),
                     ["0\u00a0B", "1,023\u00a0B", "1\u00a0KiB", "10\u00a0KiB", "3.46\u00a0GiB"]);
    assert.deepEqual([french.files(0), french.files(1), french.files(2)],
                     ["0 fichier", "1 fichier", "2 fichiers"]);
    assert.equal(new Words("en").files(0), "0 files");
});

test("French texts use typographic apostrophes, and no text is left untranslated", () => {
    const flat = (part: unknown, name: string): [string, string][] =>
        typeof part === "function" ? [[name, String((part as (...a: string[]) => string)("1", "2"))]]
            : typeof part === "object" && part !== null
                ? Object.entries(part).flatMap(([key, value]) => flat(value, `${name}.${key}`))
                : [[name, String(part)]];
    const french = new Map(flat(fr, ""));
    for (const [name, text] of french) assert.doesNotMatch(text, /'| [:;?!»]|« /, name);
    const same = flat(en, "").filter(([name, text]) => french.get(name) === text && text.length > 1);
    assert.deepEqual(same.map(([name]) => name).sort(),
                     [".copiesColumn", ".filterTypes", ".found", ".original", ".product",
                      ".selectionIs", ".type"]);
});
