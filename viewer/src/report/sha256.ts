// SHA-256 of a file in pieces. The browser's own takes the whole file at once, which half a
// gigabyte of report does not allow, and is missing where the page is no secure context.

import { bytesOf } from "./csv_records";

const PIECE = 4 << 20;

export class Sha256 {
    private readonly state = Int32Array.from(INITIAL);
    private readonly schedule = new Int32Array(64);
    private readonly block = new Uint8Array(64);
    private filled = 0;
    private length = 0;

    add(bytes: Uint8Array): void {
        this.length += bytes.length;
        let at = 0;
        if (this.filled > 0) {
            at = Math.min(64 - this.filled, bytes.length);
            this.block.set(bytes.subarray(0, at), this.filled);
            this.filled += at;
            if (this.filled < 64) return;
            this.compress(this.block, 0);
        }
        for (; at + 64 <= bytes.length; at += 64) this.compress(bytes, at);
        this.block.set(bytes.subarray(at));
        this.filled = bytes.length - at;
    }

    hex(): string {
        const bits = this.length * 8;
        const end = new Uint8Array(this.filled < 56 ? 64 - this.filled : 128 - this.filled);
        end[0] = 0x80;
        const view = new DataView(end.buffer);
        view.setUint32(end.length - 8, Math.floor(bits / 2 ** 32));
        view.setUint32(end.length - 4, bits >>> 0);
        this.add(end);
        return [...this.state].map((word) => (word >>> 0).toString(16).padStart(8, "0")).join("");
    }

    private compress(bytes: Uint8Array, from: number): void {
        const w = this.schedule;
        for (let i = 0; i < 16; ++i, from += 4)
            w[i] = (bytes[from]! << 24) | (bytes[from + 1]! << 16) | (bytes[from + 2]! << 8) |
                bytes[from + 3]!;
        for (let i = 16; i < 64; ++i) {
            const x = w[i - 15]!;
            const y = w[i - 2]!;
            const s0 = ((x >>> 7) | (x << 25)) ^ ((x >>> 18) | (x << 14)) ^ (x >>> 3);
            const s1 = ((y >>> 17) | (y << 15)) ^ ((y >>> 19) | (y << 13)) ^ (y >>> 10);
            w[i] = (w[i - 16]! + s0 + w[i - 7]! + s1) | 0;
        }
        const state = this.state;
        let a = state[0]!, b = state[1]!, c = state[2]!, d = state[3]!;
        let e = state[4]!, f = state[5]!, g = state[6]!, h = state[7]!;
        for (let i = 0; i < 64; ++i) {
            const s1 = ((e >>> 6) | (e << 26)) ^ ((e >>> 11) | (e << 21)) ^ ((e >>> 25) | (e << 7));
            const t1 = (h + s1 + ((e & f) ^ (~e & g)) + CONSTANTS[i]! + w[i]!) | 0;
            const s0 = ((a >>> 2) | (a << 30)) ^ ((a >>> 13) | (a << 19)) ^ ((a >>> 22) | (a << 10));
            const t2 = (s0 + ((a & b) ^ (a & c) ^ (b & c))) | 0;
            h = g; g = f; f = e; e = (d + t1) | 0;
            d = c; c = b; b = a; a = (t1 + t2) | 0;
        }
        state[0] = state[0]! + a; state[1] = state[1]! + b; state[2] = state[2]! + c;
        state[3] = state[3]! + d; state[4] = state[4]! + e; state[5] = state[5]! + f;
        state[6] = state[6]! + g; state[7] = state[7]! + h;
    }
}

export async function sha256OfFile(file: Blob): Promise<string> {
    const sum = new Sha256();
    for (let from = 0; from < file.size; from += PIECE)
        sum.add(await bytesOf(file.slice(from, from + PIECE)));
    return sum.hex();
}

// The first 32 bits of the fractional parts of the roots of the first primes, which is where the
// numbers of SHA-256 come from. 2^53 leaves no room for the cube roots, so they are found in
// whole numbers.
function fraction(prime: number, degree: 2 | 3): number {
    const power = BigInt(degree);
    const wanted = BigInt(prime) << (32n * power);
    let low = 0n;
    let high = 1n << 40n;
    while (high - low > 1n) {
        const middle = (low + high) >> 1n;
        if (middle ** power <= wanted) low = middle;
        else high = middle;
    }
    return Number(low & 0xffffffffn);
}

function firstPrimes(count: number): number[] {
    const primes: number[] = [];
    for (let n = 2; primes.length < count; ++n)
        if (primes.every((prime) => n % prime !== 0)) primes.push(n);
    return primes;
}

const PRIMES = firstPrimes(64);
const INITIAL = PRIMES.slice(0, 8).map((prime) => fraction(prime, 2));
const CONSTANTS = Int32Array.from(PRIMES, (prime) => fraction(prime, 3));
