// Builds a report row by row and refuses what the program does not write: groups are numbered from
// 1 without a gap, have two files or more of one size, and name no path twice.

import { FolderIds } from "./folder_ids";
import { layOutFolders } from "./folder_tree";
import { extensionOf, nameOf } from "./paths";
import { Problem } from "./problem";
import { Report } from "./report";
import { TextColumnWriter, withEntries, withRoom } from "./text_column";

const FEW = 8; // paths of a group that are compared one by one
const BACKSLASH = 0x5c;
const encoder = new TextEncoder();
const DECIMAL = /^(?:0|[1-9][0-9]*)$/;

export class ReportBuilder {
    private readonly names = new TextColumnWriter();
    private folder: Uint32Array = new Uint32Array(1 << 12);
    private extension: Uint32Array = new Uint32Array(1 << 12);
    private groupStart: Uint32Array = new Uint32Array(1 << 12);
    private readonly groupSize: number[] = [];
    private lastName = "";
    private lastExtension = 0;
    private bytes: Uint8Array = new Uint8Array(1 << 12); // of the path that is being added
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
        const tree = layOutFolders(this.folderIds.paths());
        const writer = new TextColumnWriter();
        for (const path of tree.paths) writer.add(path);
        const folder = this.folder.subarray(0, this.rows);
        for (let row = 0; row < folder.length; ++row) folder[row] = tree.numbers[folder[row]!]!;
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
            folderCount: tree.paths.length,
            folderParent: tree.parents,
            folderEnd: tree.ends,
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
        this.bytes = withRoom(this.bytes, 3 * path.length);
        const { written } = encoder.encodeInto(path, this.bytes);
        let cut = written; // after the last backslash
        while (cut > 0 && this.bytes[cut - 1] !== BACKSLASH) --cut;
        this.names.addBytes(this.bytes, cut, written);
        this.folder = withEntries(this.folder, this.rows + 1);
        this.extension = withEntries(this.extension, this.rows + 1);
        this.folder[this.rows] = this.folderIds.idOf(this.bytes, cut);
        this.extension[this.rows] = this.extensionId(nameOf(path));
        ++this.rows;
    }

    // Copies mostly have the name of the row before.
    private extensionId(name: string): number {
        if (name !== this.lastName) {
            this.lastName = name;
            this.lastExtension = numbered(this.extensionIds, extensionOf(name));
        }
        return this.lastExtension;
    }
}

function numbered(ids: Map<string, number>, text: string): number {
    const known = ids.get(text);
    if (known !== undefined) return known;
    // A part of a string keeps the whole alive, here a piece of the file of several megabytes.
    ids.set(JSON.parse(JSON.stringify(text)) as string, ids.size);
    return ids.size - 1;
}
