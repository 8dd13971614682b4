import assert from "node:assert/strict";
import { test } from "node:test";
import { findMatches, NO_FILTER } from "../../src/model/filter";
import { planRule, Rule } from "../../src/model/rules";
import { Selection } from "../../src/model/selection";
import { isNamed, Report } from "../../src/report/report";
import { chance, Group, reportOf } from "./support";

function assertHolds(report: Report, selection: Selection): void {
    let count = 0;
    let bytes = 0;
    for (let group = 0; group < report.groupCount; ++group) {
        let stays = 0;
        for (let row = report.groupStart[group]!; row < report.groupStart[group + 1]!; ++row) {
            if (selection.chosen[row] === 1) {
                assert.ok(isNamed(report, row), `row ${row} has no path`);
                ++count;
                bytes += report.groupSize[group]!;
            } else if (isNamed(report, row)) ++stays;
        }
        assert.ok(stays > 0 || selection.chosenOf(group) === 0, `group ${group} has no copy left`);
    }
    assert.deepEqual([selection.count, selection.bytes], [count, bytes]);
}

test("choosing the last copy of a group or a file without a path is refused", async () => {
    const report = await reportOf([7, "C:\\a", "C:\\b"], [9, "", "C:\\c"]);
    const selection = new Selection(report);
    assert.equal(selection.change([], [0, 1]), 1);
    assert.deepEqual([...selection.rows()], [0]);
    assert.equal(selection.change([], [2, 3]), 2);
    assert.deepEqual([selection.count, selection.bytes], [1, 7]);
});

test("a change may swap the copy that stays", async () => {
    const selection = new Selection(await reportOf([7, "C:\\a", "C:\\b"]));
    selection.change([], [0]);
    assert.equal(selection.change([0], [1]), 0);
    assert.deepEqual([...selection.rows()], [1]);
});

test("undo takes back one change after the other", async () => {
    const selection = new Selection(await reportOf([7, "C:\\a", "C:\\b", "C:\\c"]));
    selection.change([], [1, 2]);
    selection.change([1], [0]);
    selection.clear();
    const seen = [];
    while (selection.undo()) seen.push([...selection.rows()]);
    assert.deepEqual(seen, [[0, 2], [1, 2], []]);
});

test("a preview changes neither the selection nor its undo history", async () => {
    const selection = new Selection(await reportOf([7, "C:\\a", "C:\\b", "C:\\c"]));
    for (let round = 0; round < 101; ++round)
        selection.change(round % 2 === 0 ? [] : [1], round % 2 === 0 ? [1] : []);
    assert.deepEqual(selection.preview([], [0]), { count: 2, bytes: 14 });
    assert.deepEqual(selection.preview([], []), { count: 1, bytes: 7 });
    assert.deepEqual([...selection.rows()], [1]);
    let steps = 0;
    while (selection.undo()) ++steps;
    assert.equal(steps, 100);
});

test("one copy of each group stays after any sequence of changes", async () => {
    const next = chance(3);
    const groups = Array.from({ length: 40 }, (_, at) => {
        const count = 2 + next(4);
        return [at, ...Array.from({ length: count }, (_, i) =>
            next(5) === 0 ? "" : `${"CD"[next(2)]!}:\\${"ab"[next(2)]!}\\${i}`)] as unknown as Group;
    });
    const report = await reportOf(...groups);
    const selection = new Selection(report);
    const rules: Rule[] = [{ kind: "keepBelow", folder: "C:\\a" }, { kind: "markBelow", folder: "D:\\" },
                           { kind: "markBelow", folder: "C:\\" }, { kind: "keepShortest" },
                           { kind: "keepOriginal" }];
    let most = 0;
    for (let round = 0; round < 400; ++round) {
        if (next(4) === 0) selection.undo();
        else if (next(2) === 0) {
            const matches = findMatches(report, { ...NO_FILTER, folder: ["", "C:\\", "D:\\b"][next(3)]! },
                                        new Uint8Array(report.groupCount));
            const { off, on } = planRule(report, matches, rules[next(rules.length)]!, selection.chosen);
            selection.change(off, on);
        } else {
            selection.change([next(report.rowCount)], [next(report.rowCount), next(report.rowCount)]);
        }
        assertHolds(report, selection);
        most = Math.max(most, selection.count);
    }
    assert.ok(most > 20, `${most} chosen at most`);
});

test("a rule chooses nothing that the filter does not show", async () => {
    const report = await reportOf([7, "C:\\a\\1", "D:\\b\\1", "E:\\c\\1"]);
    const matches = findMatches(report, { ...NO_FILTER, hidden: ["D:\\b"] }, new Uint8Array(1));
    const { off, on } = planRule(report, matches, { kind: "keepOriginal" }, new Uint8Array(3));
    assert.deepEqual([off, on], [[0], [2]]);
});

test("marking below a folder that holds all copies of a group leaves the first one", async () => {
    const report = await reportOf([7, "C:\\a\\1", "C:\\a\\2"], [8, "C:\\a\\3", "D:\\3"]);
    const selection = new Selection(report);
    const matches = findMatches(report, NO_FILTER, new Uint8Array(2));
    const { off, on } = planRule(report, matches, { kind: "markBelow", folder: "C:\\a" },
                                 selection.chosen);
    selection.change(off, on);
    assert.deepEqual([...selection.rows()], [1, 2]);
});
