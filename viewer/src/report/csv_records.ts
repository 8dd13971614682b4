// The records of a CSV file between semicolons, read piece by piece so that no more than a piece is
// in memory. Every record ends with CR LF; below the titles the third field is quoted, and no other
// one. What a spreadsheet has saved again is refused: it may have changed more than the quotes.

import Papa from "papaparse";
import { Problem } from "./problem";

const PIECE = 1 << 20;
const QUOTE = 0x22;
const LONGEST_RECORD = 1 << 20; // Windows' longest path has 32,767 units

export interface Progress {
    (bytes: number): void;
}

// Calls `record` with the fields and the line of each record, the first being line 1. Returns the
// number of the last line.
export async function readRecords(file: Blob, record: (fields: string[], line: number) => void,
                                  progress: Progress): Promise<number> {
    const decoder = new TextDecoder("utf-8", { fatal: true, ignoreBOM: true });
    const parser = new Papa.Parser({
        delimiter: ";", newline: "\r\n", quoteChar: '"', escapeChar: '"', fastMode: false,
    });
    let rest = "";
    let line = 1;
    let badText = false;
    for (let from = 0; from < file.size; from += PIECE) {
        const bytes = await bytesOf(file.slice(from, from + PIECE));
        try {
            rest += decoder.decode(bytes, { stream: true });
        } catch {
            badText = true;
            break;
        }
        if (from === 0 && rest.startsWith("\ufeff")) rest = rest.slice(1);
        const parsed = parser.parse(rest, 0, true) as Papa.ParseResult<string[]>;
        let at = 0;
        for (const fields of parsed.data) {
            const end = at + lengthOf(fields, line);
            if (!isWritten(rest, at, end, fields, line))
                throw new Problem(line === 1 ? "header" : "fields", line);
            record(fields, line);
            line += 1 + occurrences(fields[2], "\n");
            at = end;
        }
        rest = rest.slice(parsed.meta.cursor);
        if (rest.length > LONGEST_RECORD) throw new Problem(line === 1 ? "header" : "fields", line);
        progress(Math.min(from + PIECE, file.size));
    }
    if (badText || !endsWhole(decoder)) throw await badTextProblem(file);
    if (rest !== "") throw new Problem(line === 1 ? "header" : "cut", line);
    return Math.max(1, line - 1);
}

export async function bytesOf(part: Blob): Promise<Uint8Array> {
    try {
        return new Uint8Array(await part.arrayBuffer());
    } catch {
        throw new Problem("unreadable", 1);
    }
}

function endsWhole(decoder: TextDecoder): boolean {
    try {
        decoder.decode();
        return true;
    } catch {
        return false;
    }
}

// The units that the program would write for these fields.
function lengthOf(fields: readonly string[], line: number): number {
    let length = fields.length + 1; // between the fields, and CR LF
    for (const field of fields) length += field.length;
    return line === 1 || fields.length < 3 ? length : length + 2 + occurrences(fields[2], '"');
}

function isWritten(text: string, from: number, to: number, fields: readonly string[],
                   line: number): boolean {
    if (!text.startsWith("\r\n", to - 2)) return false;
    return line === 1 || fields.length < 3 ||
        text.charCodeAt(from + fields[0]!.length + fields[1]!.length + 2) === QUOTE;
}

function occurrences(field: string | undefined, sign: string): number {
    let count = 0;
    if (field !== undefined)
        for (let at = field.indexOf(sign); at >= 0; at = field.indexOf(sign, at + 1)) ++count;
    return count;
}

// Finds the line in a second pass: the decoder says that something is wrong, not where.
async function badTextProblem(file: Blob): Promise<Problem> {
    let line = 1;
    let pending = new Uint8Array(0);
    for (let from = 0; from < file.size; from += PIECE) {
        const piece = await bytesOf(file.slice(from, from + PIECE));
        const bytes = new Uint8Array(pending.length + piece.length);
        bytes.set(pending);
        bytes.set(piece, pending.length);
        let start = 0;
        for (let end = bytes.indexOf(10); end >= 0; end = bytes.indexOf(10, start)) {
            if (!isUtf8(bytes.subarray(start, end))) return new Problem(kindOf(line), line);
            start = end + 1;
            ++line;
        }
        pending = bytes.slice(start);
        if (pending.length > 4 * LONGEST_RECORD) return new Problem(kindOf(line), line);
    }
    return new Problem(line === 1 ? "header" : "cut", line);
}

function kindOf(line: number): "header" | "utf8" {
    return line === 1 ? "header" : "utf8";
}

function isUtf8(bytes: Uint8Array): boolean {
    try {
        new TextDecoder("utf-8", { fatal: true }).decode(bytes);
        return true;
    } catch {
        return false;
    }
}
