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
        const { length } = text;
        // Three bytes are the most that a UTF-16 unit takes; folding may triple a unit again.
        this.bytes = withRoom(this.bytes, this.used + 3 * length);
        this.folded = withRoom(this.folded, this.foldedUsed + 9 * length);
        let at = 0;
        for (; at < length; ++at) {
            const unit = text.charCodeAt(at);
            if (unit >= 0x80) break;
            this.bytes[this.used + at] = unit;
            this.folded[this.foldedUsed + at] = unit >= 0x41 && unit <= 0x5a ? unit + 0x20 : unit;
        }
        if (at === length) {
            this.used += length;
            this.foldedUsed += length;
        } else {
            this.used += encoder.encodeInto(text, this.bytes.subarray(this.used)).written;
            this.foldedUsed += encoder.encodeInto(
                text.toLowerCase(), this.folded.subarray(this.foldedUsed)).written;
        }
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

function withRoom(bytes: Uint8Array, size: number): Uint8Array {
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
