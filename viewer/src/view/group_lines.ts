// The lines of the list of groups: each group has one, and one for each file unless it is collapsed.
// Ten million lines take no memory; where a line belongs is found by halving.

export interface Line {
    readonly group: number;
    readonly row: number; // of the report, or -1 for the line of the group itself
}

export class GroupLines {
    readonly count: number;
    private readonly starts: Float64Array; // by place in the order

    constructor(private readonly order: Uint32Array, private readonly groupStart: Uint32Array,
                collapsed: Uint8Array) {
        this.starts = new Float64Array(order.length + 1);
        let count = 0;
        order.forEach((group, at) => {
            this.starts[at] = count;
            count += 1;
            if (collapsed[group] === 0) count += groupStart[group + 1]! - groupStart[group]!;
        });
        this.starts[order.length] = count;
        this.count = count;
    }

    at(line: number): Line {
        let low = 0;
        let high = this.order.length;
        while (high - low > 1) {
            const middle = (low + high) >>> 1;
            if (this.starts[middle]! <= line) low = middle;
            else high = middle;
        }
        const group = this.order[low]!;
        const below = line - this.starts[low]!;
        return { group, row: below === 0 ? -1 : this.groupStart[group]! + below - 1 };
    }

    lineOf(group: number): number {
        return this.starts[this.order.indexOf(group)] ?? 0;
    }
}
