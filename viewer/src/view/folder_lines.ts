// The lines of the tree of folders: those whose parents are all open, in the order of their bytes.

import { childrenByBytes, FolderTotals } from "../model/folder_totals";
import { Report } from "../report/report";

export interface FolderLine {
    readonly folder: number;
    readonly level: number; // from 1
}

export class FolderLines {
    lines: FolderLine[] = [];
    readonly open = new Set<number>();

    constructor(private readonly report: Report, private totals: FolderTotals) {
        this.openWith(0);
        this.build();
    }

    setTotals(totals: FolderTotals): void {
        this.totals = totals;
        this.build();
    }

    hasChildren(folder: number): boolean {
        return this.report.folderEnd[folder]! > folder + 1;
    }

    toggle(folder: number): void {
        if (this.open.has(folder)) this.open.delete(folder);
        else this.openWith(folder);
        this.build();
    }

    // Opens what is above it, too.
    reveal(folder: number): number {
        for (let at = folder; at !== 0; at = this.report.folderParent[at]!)
            this.open.add(this.report.folderParent[at]!);
        this.build();
        return this.lines.findIndex((line) => line.folder === folder);
    }

    // A folder with one folder in it and nothing else says nothing: the next one is opened with it.
    private openWith(folder: number): void {
        for (let at = folder; ;) {
            this.open.add(at);
            const children = childrenByBytes(this.report, this.totals, at);
            if (children.length !== 1) return;
            at = children[0]!;
        }
    }

    private build(): void {
        this.lines = [];
        // No recursion: a path may have 16,000 levels.
        const waiting: FolderLine[] = [{ folder: 0, level: 1 }];
        for (let line = waiting.pop(); line !== undefined; line = waiting.pop()) {
            this.lines.push(line);
            if (!this.open.has(line.folder)) continue;
            const level = line.level + 1;
            for (const folder of childrenByBytes(this.report, this.totals, line.folder).reverse())
                waiting.push({ folder, level });
        }
    }
}
