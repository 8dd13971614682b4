// Which two folders hold the same contents. A content counts once for a pair, however many copies
// of it lie in either. Empty files are no common contents.
//
// A content in k folders makes k (k - 1) / 2 pairs: 50,000 copies in as many folders would make
// 1.25 billion. Beyond MOST_FOLDERS a group is left out and counted, so that a row costs at most 32
// steps; a table that is full takes no new pair, and counts what it refuses. The largest contents
// come first, so what is left out is small.

import { fallingOrder } from "./order";

export const MOST_FOLDERS = 64;
export const MOST_PAIRS = 4_000_000;

export interface PairsQuestion {
    readonly groupStart: Uint32Array;
    readonly groupSize: Float64Array;
    readonly folder: Uint32Array;
    readonly rows: Uint8Array; // 1 where the row counts
}

export interface Pairs { // most bytes first
    readonly first: Uint32Array;
    readonly second: Uint32Array;
    readonly files: Uint32Array;
    readonly bytes: Float64Array;
    readonly leftOutGroups: number; // in too many folders
    readonly refused: number;       // shares of a content that found the table full
}

export function findPairs(question: PairsQuestion, mostFolders = MOST_FOLDERS,
                          mostPairs = MOST_PAIRS): Pairs {
    const { groupStart, groupSize, folder, rows } = question;
    const table = new PairTable(mostPairs);
    let leftOutGroups = 0;
    let refused = 0;
    for (const group of fallingOrder(groupSize)) {
        const size = groupSize[group]!;
        if (size === 0) break;
        const within = new Set<number>();
        for (let row = groupStart[group]!; row < groupStart[group + 1]!; ++row)
            if (rows[row] === 1) within.add(folder[row]!);
        if (within.size < 2) continue;
        if (within.size > mostFolders) {
            ++leftOutGroups;
            continue;
        }
        const sorted = [...within].sort((a, b) => a - b);
        for (let i = 0; i < sorted.length; ++i)
            for (let j = i + 1; j < sorted.length; ++j)
                if (!table.add(sorted[i]!, sorted[j]!, size)) ++refused;
    }
    return { ...table.byBytes(), leftOutGroups, refused };
}

// Open addressing over typed arrays: a Map of four million numbers takes three times the memory.
class PairTable {
    private slots = new Int32Array(1 << 12).fill(-1);
    private first: Uint32Array = new Uint32Array(1 << 11);
    private second: Uint32Array = new Uint32Array(1 << 11);
    private files: Uint32Array = new Uint32Array(1 << 11);
    private bytes: Float64Array = new Float64Array(1 << 11);
    private count = 0;

    constructor(private readonly most: number) {}

    add(first: number, second: number, size: number): boolean {
        let at = this.find(first, second);
        let pair = this.slots[at]!;
        if (pair < 0) {
            if (this.count === this.most) return false;
            if (this.count === this.first.length) {
                this.grow();
                at = this.find(first, second);
            }
            pair = this.count++;
            this.slots[at] = pair;
            this.first[pair] = first;
            this.second[pair] = second;
        }
        ++this.files[pair]!;
        this.bytes[pair] = this.bytes[pair]! + size;
        return true;
    }

    byBytes(): Pick<Pairs, "first" | "second" | "files" | "bytes"> {
        const order = fallingOrder(this.bytes.slice(0, this.count));
        return {
            first: order.map((at) => this.first[at]!),
            second: order.map((at) => this.second[at]!),
            files: order.map((at) => this.files[at]!),
            bytes: Float64Array.from(order, (at) => this.bytes[at]!),
        };
    }

    private find(first: number, second: number): number {
        const mask = this.slots.length - 1;
        let at = (Math.imul(first, 0x9e3779b1) ^ Math.imul(second, 0x85ebca6b)) >>> 0;
        at = (at ^ (at >>> 15)) & mask;
        for (;;) {
            const pair = this.slots[at]!;
            if (pair < 0 || (this.first[pair] === first && this.second[pair] === second)) return at;
            at = (at + 1) & mask;
        }
    }

    private grow(): void {
        this.first = doubled(this.first);
        this.second = doubled(this.second);
        this.files = doubled(this.files);
        const bytes = new Float64Array(this.bytes.length * 2);
        bytes.set(this.bytes);
        this.bytes = bytes;
        this.slots = new Int32Array(this.slots.length * 2).fill(-1);
        for (let pair = 0; pair < this.count; ++pair)
            this.slots[this.find(this.first[pair]!, this.second[pair]!)] = pair;
    }
}

function doubled(entries: Uint32Array): Uint32Array {
    const larger = new Uint32Array(entries.length * 2);
    larger.set(entries);
    return larger;
}
