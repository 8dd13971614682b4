// Shared by the unit tests: reports from rows, and calls of the second implementation.
import { execFileSync } from "node:child_process";
import { mkdtempSync, readFileSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { Problem } from "../../src/report/problem";
import { Report } from "../../src/report/report";
import { readReport } from "../../src/report/report_reader";

export const HEADER = "\ufeffGroupe;Statut;Chemin complet;Taille en octets\r\n";
const TESTS = process.env["LARKSPINE_VIEWER_TESTS"]!;
const folder = mkdtempSync(join(tmpdir(), "larkspine-viewer-unit-"));
process.on("exit", () => execFileSync("rm", ["-rf", folder]));
let files = 0;

export type Group = readonly [size: number, ...paths: string[]];

export function csvOf(...groups: Group[]): string {
    return HEADER + groups.map(([size, ...paths], at) => paths.map((path, i) =>
        `${at + 1};${i === 0 ? "Original" : "Doublon"};"${path.replaceAll('"', '""')}";${size}\r\n`)
        .join("")).join("");
}

export function read(text: string | Uint8Array): Promise<Report> {
    return readReport(new Blob([text as BlobPart]), () => undefined);
}

export function reportOf(...groups: Group[]): Promise<Report> {
    return read(csvOf(...groups));
}

export async function problemOf(text: string | Uint8Array): Promise<string> {
    try {
        await read(text);
        return "read";
    } catch (error) {
        if (error instanceof Problem) return `${error.kind} ${error.line}`;
        throw error;
    }
}

export interface Reference {
    readonly line?: number;
    readonly paths: string[];
    readonly totals: {
        groups: number; files: number; copies: number; bytes: number; emptyFiles: number;
        unnamed: number; byExtension: Record<string, number[]>; bySize: number[][];
        ownFolders: Record<string, number[]>; folders: Record<string, number[]>;
    };
    readonly pairs: Record<string, number[]>;
    readonly answers: number[][];
}

export function reference(report: string | Uint8Array, questions: unknown[] = []): Reference {
    const path = join(folder, `${++files}.csv`);
    writeFileSync(path, report);
    return referenceOfFile(path, questions);
}

export function referenceOfFile(path: string, questions: unknown[] = []): Reference {
    const asked = join(folder, `${++files}.json`);
    writeFileSync(asked, JSON.stringify(questions));
    return python("reference.py", path, asked) as Reference;
}

export function python(script: string, ...parameters: string[]): unknown {
    const out = execFileSync("python3", [join(TESTS, script), ...parameters],
                             { maxBuffer: 1 << 28, encoding: "utf8" });
    return out === "" ? null : JSON.parse(out) as unknown;
}

export function newFolder(): string {
    return mkdtempSync(join(folder, "folder-"));
}

export function bytesOfFile(path: string): Uint8Array {
    return readFileSync(path);
}

// The same numbers for the same seed.
export function chance(seed: number): (below: number) => number {
    let state = seed >>> 0;
    return (below) => {
        state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
        return Math.floor((state / 2 ** 32) * below);
    };
}
