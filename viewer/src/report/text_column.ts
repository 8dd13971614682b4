// Texts as UTF-8 in one block, an entry being the bytes between two starts; beside it the same in
// lower case, for searching. A million file names take 50 MB this way, and hundreds as strings.

export interface TextColumn {
    readonly bytes: Uint8Array;
    readonly starts: Uint32Array; // one more than there are entries
    readonly folded: Uint8Array;
    readonly foldedStarts: Uint32Array;
}

const encoder = new TextEncoder();
const decoder = new TextDecoder("utf-8", { ignoreBOM: true });

export function textAt(column: TextColumn, index: number): string {
    return decoder.decode(column.bytes.subarray(column.starts[index], column.starts[index + 1]));
}

// The length of an entry as a string, without making one: a byte that does not continue a character
// begins one, and four bytes are two units.
export function unitsAt(column: TextColumn, index: number): number {
    let units = 0;
    for (let at = column.starts[index]!; at < column.starts[index + 1]!; ++at) {
        const byte = column.bytes[at]!;
        units += (byte & 0xc0) === 0x80 ? 0 : byte >= 0xf0 ? 2 : 1;
    }
    return units;
}

export function fold(text: string): Uint8Array {
    return encoder.encode(text.toLowerCase());
}

export class TextColumnWriter {
    private bytes: Uint8Array = new Uint8Array(1 << 16);
    private folded: Uint8Array = new Uint8Array(1 << 16);
    private starts: Uint32Array = new Uint32Array(1 << 12);
    private foldedStarts: Uint32Array = new Uint32Array(1 << 12);
    private used = 0;
    private foldedUsed = 0;
    private count = 0;

    add(text: string): void {
        const bytes = encoder.encode(text);
        this.addBytes(bytes, 0, bytes.length);
    }

    // Adds the text that these bytes are.
    addBytes(from: Uint8Array, begin: number, end: number): void {
        const length = end - begin;
        this.bytes = withRoom(this.bytes, this.used + length);
        // In lower case a character may take up to three times as many bytes.
        this.folded = withRoom(this.folded, this.foldedUsed + 3 * length);
        let plain = true;
        for (let at = 0; at < length; ++at) {
            const byte = from[begin + at]!;
            this.bytes[this.used + at] = byte;
            this.folded[this.foldedUsed + at] = byte >= 0x41 && byte <= 0x5a ? byte + 0x20 : byte;
            if (byte >= 0x80) plain = false;
        }
        this.used += length;
        this.foldedUsed += plain ? length : encoder.encodeInto(
            decoder.decode(from.subarray(begin, end)).toLowerCase(),
            this.folded.subarray(this.foldedUsed)).written;
        ++this.count;
        this.starts = withEntries(this.starts, this.count + 1);
        this.foldedStarts = withEntries(this.foldedStarts, this.count + 1);
        this.starts[this.count] = this.used;
        this.foldedStarts[this.count] = this.foldedUsed;
    }

    finish(): TextColumn {
        return {
            bytes: this.bytes.subarray(0, this.used),
            starts: this.starts.subarray(0, this.count + 1),
            folded: this.folded.subarray(0, this.foldedUsed),
            foldedStarts: this.foldedStarts.subarray(0, this.count + 1),
        };
    }
}

export function withRoom(bytes: Uint8Array, size: number): Uint8Array {
    if (size <= bytes.length) return bytes;
    const larger = new Uint8Array(Math.max(size, Math.ceil(bytes.length * 1.5)));
    larger.set(bytes);
    return larger;
}

export function withEntries(entries: Uint32Array, count: number): Uint32Array {
    if (count <= entries.length) return entries;
    const larger = new Uint32Array(Math.max(count, Math.ceil(entries.length * 1.5)));
    larger.set(entries);
    return larger;
}
