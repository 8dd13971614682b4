// The files that are chosen. In every group one copy whose path is known is not: `change` is the
// only way in, and refuses what would break that. What has no path cannot be chosen at all.

import { groupOfRow, isNamed, Report } from "../report/report";

const MOST_STEPS = 100;

export class Selection {
    readonly chosen: Uint8Array; // by row
    count = 0;
    bytes = 0;
    private readonly free: Uint32Array; // by group: copies with a path that are not chosen
    private readonly steps: Uint32Array[] = []; // each the rows that one change turned over

    constructor(private readonly report: Report) {
        this.chosen = new Uint8Array(report.rowCount);
        this.free = new Uint32Array(report.groupCount);
        for (let group = 0; group < report.groupCount; ++group)
            for (let row = report.groupStart[group]!; row < report.groupStart[group + 1]!; ++row)
                if (isNamed(report, row)) ++this.free[group]!;
    }

    get canUndo(): boolean {
        return this.steps.length > 0;
    }

    canChoose(row: number): boolean {
        return isNamed(this.report, row) &&
            (this.chosen[row] === 1 || this.free[groupOfRow(this.report, row)]! > 1);
    }

    chosenOf(group: number): number {
        let count = 0;
        for (let row = this.report.groupStart[group]!; row < this.report.groupStart[group + 1]!;
            ++row) count += this.chosen[row]!;
        return count;
    }

    // Frees the rows of `off`, then chooses those of `on`, as one step to undo. Returns how many
    // of `on` had to stay free.
    change(off: Iterable<number>, on: Iterable<number>): number {
        const turned: number[] = [];
        let refused = 0;
        for (const row of off)
            if (this.chosen[row] === 1) {
                this.turn(row);
                turned.push(row);
            }
        for (const row of on) {
            if (this.chosen[row] === 1) continue;
            if (!this.canChoose(row)) {
                ++refused;
                continue;
            }
            this.turn(row);
            turned.push(row);
        }
        if (turned.length > 0) this.steps.push(Uint32Array.from(turned));
        if (this.steps.length > MOST_STEPS) this.steps.shift();
        return refused;
    }

    // What `change` would leave, without changing anything.
    preview(off: Iterable<number>, on: Iterable<number>): { count: number; bytes: number } {
        const steps = this.steps.length;
        const oldest = this.steps[0];
        this.change(off, on);
        const outcome = { count: this.count, bytes: this.bytes };
        if (this.steps.length > steps || this.steps[0] !== oldest) {
            this.undo();
            if (oldest !== undefined && this.steps[0] !== oldest) this.steps.unshift(oldest);
        }
        return outcome;
    }

    clear(): void {
        this.change(this.rows(), []);
    }

    // Takes the last change back; false when there is none.
    undo(): boolean {
        const step = this.steps.pop();
        if (step === undefined) return false;
        for (const row of step.reverse()) this.turn(row);
        return true;
    }

    *rows(): Generator<number> {
        for (let row = this.chosen.indexOf(1); row >= 0; row = this.chosen.indexOf(1, row + 1))
            yield row;
    }

    private turn(row: number): void {
        const group = groupOfRow(this.report, row);
        const now = 1 - this.chosen[row]!;
        this.chosen[row] = now;
        this.free[group] = this.free[group]! + (now === 1 ? -1 : 1);
        this.count += now === 1 ? 1 : -1;
        this.bytes += now === 1 ? this.report.groupSize[group]! : -this.report.groupSize[group]!;
    }
}
