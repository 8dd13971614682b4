import assert from "node:assert/strict";
import { writeFileSync } from "node:fs";
import { join } from "node:path";
import { test } from "node:test";
import { readChoices, rowsOfChoices, writeChoices } from "../../src/model/choices_file";
import { Ignored } from "../../src/model/ignored";
import { Selection } from "../../src/model/selection";
import { Problem } from "../../src/report/problem";
import { newFolder, python, reportOf } from "./support";

const SUM = "ab".repeat(32);

test("a saved selection is read back by Python's reader and by the page", async () => {
    const odd = ["=1+1", "+a", "-b", "@c", "'d", "\tx", 'e";f', "C:\\g\nh", "＝i", "C:\\j"];
    const report = await reportOf([3, "C:\\reste", ...odd]);
    const selection = new Selection(report);
    selection.change([], odd.map((_, at) => at + 1));
    const text = writeChoices(report, SUM, 99, selection, [["=z", "C:\\y"], ["C:\\w"]]).join("");
    const path = join(newFolder(), "selection.csv");
    writeFileSync(path, text);
    const rows = python("reference.py", "--choices", path) as string[][];
    assert.deepEqual(rows.slice(0, 2), [["Choix", "Groupe", "Chemin complet", "Taille en octets"],
                                        ["Rapport", "", SUM, "99"]]);
    assert.deepEqual(rows.slice(2, 12).map((row) => row[2]!.replace(/^'/, "")), odd);
    for (const [, , cell] of rows) assert.doesNotMatch(cell!, /^[=+\-@\t\r＝＋－＠]/);
    assert.deepEqual(rows.slice(12), [["Ignoré", "1", "'=z", ""], ["Ignoré", "1", "C:\\y", ""],
                                      ["Ignoré", "2", "C:\\w", ""]]);
    const choices = await readChoices(new Blob([text]));
    assert.equal(choices.sha256, SUM);
    assert.deepEqual(choices.ignored, [["=z", "C:\\y"], ["C:\\w"]]);
    assert.deepEqual(rowsOfChoices(report, choices), odd.map((_, at) => at + 1));
});

test("a saved choice whose path or size is not in the report is dropped", async () => {
    const before = await reportOf([3, "C:\\a", "C:\\b", "C:\\c"], [4, "C:\\d", "C:\\e"]);
    const selection = new Selection(before);
    selection.change([], [1, 2, 4]);
    const text = writeChoices(before, SUM, 1, selection, []).join("");
    const after = await reportOf([3, "C:\\0", "C:\\b"], [5, "C:\\d", "C:\\e"]);
    assert.deepEqual(rowsOfChoices(after, await readChoices(new Blob([text]))), [1]);
});

test("a file that is no saved selection is refused with the number of the wrong line", async () => {
    const head = "\ufeffChoix;Groupe;Chemin complet;Taille en octets\r\n";
    const bound = head + `Rapport;;"${SUM}";1\r\n`;
    for (const [text, expected] of [
        ["Groupe;Statut;Chemin complet;Taille en octets\r\n", "choices 1"], [head, "choices 1"],
        [head + "Choisi;1;\"a\";1\r\n", "choices 2"], [bound + "Choisi;0;\"a\";1\r\n", "choices 3"],
        [bound + "Choisi;1;\"\";1\r\n", "choices 3"], [bound + "Perdu;1;\"a\";1\r\n", "choices 3"],
        [bound + "Choisi;1;\"a\"\r\n", "choices 3"], [bound + "Choisi;1;\"a", "choices 3"],
    ] as const)
        await assert.rejects(readChoices(new Blob([text])), (error) =>
            error instanceof Problem && `${error.kind} ${error.line}` === expected, text);
});

test("an ignored group stays ignored while it gains no file", async () => {
    const first = await reportOf([3, "C:\\a", "C:\\b", "C:\\c"], [4, "C:\\d", "C:\\e"]);
    const ignored = new Ignored(first, []);
    assert.ok(ignored.ignore(0));
    assert.deepEqual([...ignored.groups], [1, 0]);
    const marks = async (...groups: Parameters<typeof reportOf>): Promise<number[]> => {
        const kept = JSON.parse(JSON.stringify(ignored.paths)) as string[][];
        return [...new Ignored(await reportOf(...groups), kept).groups];
    };
    assert.deepEqual(await marks([4, "C:\\0", "C:\\1"], [3, "C:\\a", "C:\\b", "C:\\c"]), [0, 1]);
    assert.deepEqual(await marks([3, "C:\\a", "C:\\c"]), [1]);
    assert.deepEqual(await marks([3, "C:\\a", "C:\\b", "C:\\c", "C:\\neuf"]), [0]);
    assert.deepEqual(await marks([3, "", "C:\\a"], [3, "", ""]), [1, 0]);
    ignored.show(0);
    assert.deepEqual([[...ignored.groups], ignored.count, ignored.paths], [[0, 0], 0, []]);
});

test("a group without a path cannot be ignored", async () => {
    const ignored = new Ignored(await reportOf([3, "", ""]), []);
    assert.equal(ignored.ignore(0), false);
    assert.equal(ignored.count, 0);
});
