// Builds a report row by row and refuses what the program does not write: groups are numbered from
// 1 without a gap, have two files or more of one size, and name no path twice.

import { FolderIds } from "./folder_ids";
import { extensionOf, nameOf, parentOf } from "./paths";
import { Problem } from "./problem";
import { Report } from "./report";
import { TextColumnWriter, withEntries } from "./text_column";

const FEW = 8; // paths of a group that are compared one by one
const DECIMAL = /^(?:0|[1-9][0-9]*)$/;

export class ReportBuilder {
    private readonly names = new TextColumnWriter();
    private folder: Uint32Array = new Uint32Array(1 << 12);
    private extension: Uint32Array = new Uint32Array(1 << 12);
    private groupStart: Uint32Array = new Uint32Array(1 << 12);
    private readonly groupSize: number[] = [];
    private rows = 0;
    private groups = 0;
    private readonly folderIds = new FolderIds();
    private readonly extensionIds = new Map<string, number>([["", 0]]);
    private groupText: string | undefined;
    private nextText = "1";
    private sizeText = "";
    private groupLine = 0; // of the group that is being read
    private groupPaths: string[] = [];
    private groupSet: Set<string> | null = null; // the same, when they are many

    // `fields` as they stand in the file; `line` for the sentence when they are refused.
    add(fields: readonly string[], line: number): void {
        if (fields.length !== 4) throw new Problem("fields", line);
        const [group, status, path, size] = fields as [string, string, string, string];
        if (group !== this.groupText) this.beginGroup(group, status, size, line);
        else if (status !== "Doublon") throw new Problem("status", line);
        else if (size !== this.sizeText) throw new Problem("size", line);
        // A file that is listed twice would pass for a copy of itself.
        if (path !== "" && this.inGroup(path)) throw new Problem("twice", line);
        this.groupPaths.push(path);
        this.groupSet?.add(path);
        this.addRow(path);
    }

    // `last` is the last line of the file.
    finish(last: number): Report {
        this.endGroup("cut", last);
        const { sorted, renumbered } = this.sortedFolders();
        const writer = new TextColumnWriter();
        for (const path of sorted) writer.add(path);
        const count = sorted.length;
        const parents = new Uint32Array(count);
        const ends = new Uint32Array(count).fill(count);
        const open: number[] = [];
        sorted.forEach((path, at) => {
            while (open.length > 0 && !path.startsWith(sorted[open[open.length - 1]!]!))
                ends[open.pop()!] = at;
            parents[at] = open.length > 0 ? open[open.length - 1]! : 0;
            open.push(at);
        });
        const folder = this.folder.subarray(0, this.rows);
        for (let row = 0; row < folder.length; ++row) folder[row] = renumbered[folder[row]!]!;
        return {
            rowCount: this.rows,
            groupCount: this.groups,
            groupStart: this.groupStart.subarray(0, this.groups + 1),
            groupSize: Float64Array.from(this.groupSize),
            names: this.names.finish(),
            folder,
            extension: this.extension.subarray(0, this.rows),
            extensions: [...this.extensionIds.keys()],
            folders: writer.finish(),
            folderCount: count,
            folderParent: parents,
            folderEnd: ends,
        };
    }

    private beginGroup(group: string, status: string, size: string, line: number): void {
        if (group !== this.nextText) throw new Problem("group", line);
        if (status !== "Original") throw new Problem("status", line);
        if (!DECIMAL.test(size) || Number(size) > Number.MAX_SAFE_INTEGER)
            throw new Problem("size", line);
        this.endGroup("single", this.groupLine);
        this.groupLine = line;
        this.groupText = group;
        this.nextText = String(Number(group) + 1);
        this.sizeText = size;
        this.groupStart = withEntries(this.groupStart, this.groups + 2);
        this.groupStart[this.groups++] = this.rows;
        this.groupSize.push(Number(size));
    }

    private endGroup(kind: "single" | "cut", line: number): void {
        if (this.groups > 0 && this.rows - this.groupStart[this.groups - 1]! < 2)
            throw new Problem(kind, line);
        this.groupStart[this.groups] = this.rows;
        this.groupPaths = [];
        this.groupSet = null;
    }

    private inGroup(path: string): boolean {
        if (this.groupPaths.length < FEW) return this.groupPaths.includes(path);
        this.groupSet ??= new Set(this.groupPaths);
        return this.groupSet.has(path);
    }

    private addRow(path: string): void {
        const name = nameOf(path);
        this.names.add(name);
        this.folder = withEntries(this.folder, this.rows + 1);
        this.extension = withEntries(this.extension, this.rows + 1);
        this.folder[this.rows] = this.folderIds.idOf(path, path.length - name.length);
        this.extension[this.rows] = numbered(this.extensionIds, extensionOf(name));
        ++this.rows;
    }

    // Every folder and every one above it, in the order of the code units: what is below a folder
    // follows it, since it begins with its path.
    private sortedFolders(): { sorted: string[]; renumbered: Uint32Array } {
        const known = this.folderIds.paths;
        const all = new Set(known);
        for (const path of known)
            for (let above = parentOf(path); !all.has(above); above = parentOf(above))
                all.add(above);
        const sorted = [...all].sort();
        const renumbered = new Uint32Array(known.length);
        const places = new Map(sorted.map((path, at) => [path, at]));
        known.forEach((path, id) => { renumbered[id] = places.get(path)!; });
        return { sorted, renumbered };
    }
}

function numbered(ids: Map<string, number>, text: string): number {
    const known = ids.get(text);
    if (known !== undefined) return known;
    // A part of a string keeps the whole alive, here a piece of the file of several megabytes.
    ids.set(JSON.parse(JSON.stringify(text)) as string, ids.size);
    return ids.size - 1;
}
