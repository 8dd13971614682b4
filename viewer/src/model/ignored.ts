// Groups that nobody wants to see again, remembered by the paths of their files. In another report a
// group is ignored when each of its paths is among those of one ignored group: copies may have gone,
// but a new one brings the group back.

import { groupOfRow, isNamed, pathOf, Report } from "../report/report";
import { findRows } from "./row_search";

export class Ignored {
    groups: Uint8Array; // by group of the report
    count = 0;

    constructor(private readonly report: Report, private entries: string[][]) {
        this.groups = new Uint8Array(report.groupCount);
        this.apply();
    }

    get paths(): readonly (readonly string[])[] {
        return this.entries;
    }

    // False for a group without a single known path: nothing would tell it from another.
    ignore(group: number): boolean {
        const paths = this.pathsOf(group);
        if (paths.length === 0) return false;
        if (this.groups[group] === 1) return true;
        this.entries.push(paths);
        this.groups[group] = 1;
        ++this.count;
        return true;
    }

    show(group: number): void {
        const paths = this.pathsOf(group);
        this.entries = this.entries.filter((entry) => !covers(new Set(entry), paths));
        this.apply();
    }

    add(entries: Iterable<string[]>): void {
        const known = new Set(this.entries.map((entry) => entry.join("\n")));
        for (const entry of entries) if (!known.has(entry.join("\n"))) this.entries.push(entry);
        this.apply();
    }

    private apply(): void {
        this.groups = new Uint8Array(this.report.groupCount);
        const rows = findRows(this.report, this.entries.flat());
        for (const entry of this.entries) {
            const paths = new Set(entry);
            const touched = new Set<number>();
            for (const path of entry) {
                const row = rows.get(path);
                if (row !== undefined) touched.add(groupOfRow(this.report, row));
            }
            for (const group of touched)
                if (covers(paths, this.pathsOf(group))) this.groups[group] = 1;
        }
        this.count = this.groups.reduce((sum, mark) => sum + mark, 0);
    }

    private pathsOf(group: number): string[] {
        const paths: string[] = [];
        for (let row = this.report.groupStart[group]!; row < this.report.groupStart[group + 1]!;
            ++row) if (isNamed(this.report, row)) paths.push(pathOf(this.report, row));
        return paths;
    }
}

function covers(entry: ReadonlySet<string>, paths: readonly string[]): boolean {
    return paths.length > 0 && paths.every((path) => entry.has(path));
}
