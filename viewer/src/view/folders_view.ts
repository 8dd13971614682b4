// Folders by the bytes of the copies below them, as a tree with a map beside it, or as a list by what
// lies right in each. Enter or a click leads to the groups.

import { foldersByOwnBytes } from "../model/folder_totals";
import { folderPath } from "../report/report";
import { button, data, el } from "./dom";
import { FolderLine, FolderLines } from "./folder_lines";
import { plainPath } from "./path_cell";
import { Treemap } from "./treemap";
import { cell, VirtualTable } from "./virtual_table";
import { appendVisible, visible } from "./visible_text";
import type { ViewPart, Workspace } from "./workspace";

const MOST_INDENT = 12;

export class FoldersView implements ViewPart {
    readonly element: HTMLElement;
    private readonly table: VirtualTable;
    private readonly tree: FolderLines;
    private list: Uint32Array = new Uint32Array(0);
    private asTree = true;
    private readonly shapes: HTMLButtonElement[];
    private readonly path = el("span", { class: "current-path" });
    private readonly buttons: HTMLButtonElement[];
    private readonly map: Treemap;

    constructor(private readonly workspace: Workspace) {
        const { page, session } = workspace;
        const { texts } = page.words;
        this.tree = new FolderLines(session.report, session.folders);
        this.map = new Treemap(workspace, (folder) => this.lead(folder), (folder) => this.go(folder));
        this.table = new VirtualTable({
            id: "folders-grid", role: "treegrid", label: texts.foldersLabel,
            columns: [
                { label: texts.folder, className: "file" },
                { label: texts.bytesColumn, className: "number", sorted: true, sort: () => undefined },
                { label: texts.copiesColumn, className: "number" },
                { label: texts.filesColumn, className: "number files" },
            ],
            fill: (index, row) => this.fill(this.line(index), row),
            click: (index, target) => {
                if (target.closest(".twisty") !== null) this.toggle(index);
                else if (target.closest(".open") !== null) this.lead(this.line(index).folder);
            },
            key: (event, index) => this.key(event, index),
            moved: () => this.showCurrent(),
        });
        const shape = (text: string, asTree: boolean): HTMLButtonElement => button(text, () => {
            this.asTree = asTree;
            this.show();
            this.table.moveTo(0);
        });
        this.shapes = [shape(texts.tree, true), shape(texts.list, false)];
        const act = (text: string, what: (path: string) => void): HTMLButtonElement =>
            button(text, () => what(this.currentPath()));
        this.buttons = [
            act(texts.showGroups, () => this.lead(this.line(this.table.current).folder)),
            act(texts.hideFolder, (folder) => page.filter({
                hidden: [...new Set([...page.place.filter.hidden, folder])],
            })),
            act(texts.keepHere, (folder) => workspace.openRule("keepBelow", folder)),
            act(texts.markHere, (folder) => workspace.openRule("markBelow", folder)),
        ];
        this.element = el("div", { class: "view folders-view" },
            el("div", { class: "tools" },
               el("span", { class: "switch", role: "group", "aria-label": texts.folderShape },
                  ...this.shapes),
               el("span", { class: "soft hint" }, texts.foldersHint)),
            el("div", { class: "split" }, this.table.element, this.map.element),
            el("div", { class: "current-line" }, this.path, ...this.buttons));
    }

    show(): void {
        const { session } = this.workspace;
        this.tree.setTotals(session.folders);
        this.list = foldersByOwnBytes(session.folders);
        this.shapes.forEach((one, at) =>
            one.setAttribute("aria-pressed", String(this.asTree === (at === 0))));
        this.table.setCount(this.asTree ? this.tree.lines.length : this.list.length);
        this.showCurrent();
    }

    private line(index: number): FolderLine {
        return this.asTree ? this.tree.lines[index]! : { folder: this.list[index]!, level: 1 };
    }

    private fill({ folder, level }: FolderLine, row: HTMLElement): void {
        const { page, session } = this.workspace;
        const { texts } = page.words;
        const totals = session.folders;
        const path = folderPath(session.report, folder);
        row.setAttribute("aria-level", String(level));
        const file = cell("file");
        if (this.asTree) {
            file.style.paddingLeft = `${Math.min(level - 1, MOST_INDENT) * 16}px`;
            const parents = this.tree.hasChildren(folder);
            const open = this.tree.open.has(folder);
            if (parents) row.setAttribute("aria-expanded", String(open));
            file.append(el("span", { class: "twisty", "aria-hidden": "true" },
                           parents ? (open ? "▾" : "▸") : ""));
        }
        const name = el("span", { class: "open" });
        if (folder === 0) name.append(this.asTree ? texts.wholeReport : texts.noFolder);
        else if (this.asTree) appendVisible(name, this.ownName(folder));
        else name.append(plainPath(path));
        name.title = visible(path);
        file.append(name);
        const bytes = this.asTree ? totals.bytes[folder]! : totals.ownBytes[folder]!;
        const copies = this.asTree ? totals.copies[folder]! : totals.ownCopies[folder]!;
        const files = totals.files[folder]!;
        const bar = el("span", { class: "bar", "aria-hidden": "true" });
        const all = session.totals.bytes;
        bar.style.width = `${all > 0 ? (bytes / all) * 100 : 0}%`;
        row.append(file, cell("number share", bar, data(bytes, page.words.bytes(bytes))),
                   cell("number", data(copies, page.words.count(copies))),
                   cell("number files", data(files, page.words.count(files))));
    }

    private ownName(folder: number): string {
        const { report } = this.workspace.session;
        const above = folderPath(report, report.folderParent[folder]!);
        return folderPath(report, folder).slice(above.length);
    }

    private toggle(index: number): void {
        if (!this.asTree) return;
        this.tree.toggle(this.line(index).folder);
        this.table.setCount(this.tree.lines.length, index);
        this.showCurrent();
    }

    private key(event: KeyboardEvent, index: number): boolean {
        const { folder } = this.line(index);
        const open = this.tree.open.has(folder);
        if (event.key === "Enter") this.lead(folder);
        else if (!this.asTree) return false;
        else if (event.key === "ArrowRight" && this.tree.hasChildren(folder)) {
            if (open) this.table.moveTo(index + 1);
            else this.toggle(index);
        } else if (event.key === "ArrowLeft") {
            if (open && this.tree.hasChildren(folder)) this.toggle(index);
            else this.go(this.workspace.session.report.folderParent[folder]!);
        } else return false;
        return true;
    }

    private lead(folder: number): void {
        const { page, session } = this.workspace;
        const path = folderPath(session.report, folder);
        page.go({ view: "groups", filter: {
            ...page.place.filter, folder: path, direct: !this.asTree && path !== "",
        } });
    }

    private go(folder: number): void {
        this.asTree = true;
        const index = this.tree.reveal(folder);
        this.show();
        this.table.moveTo(index);
    }

    private currentPath(): string {
        const { report } = this.workspace.session;
        return folderPath(report, this.line(this.table.current).folder);
    }

    private showCurrent(): void {
        const count = this.asTree ? this.tree.lines.length : this.list.length;
        const folder = count > 0 ? this.line(this.table.current).folder : 0;
        const path = folderPath(this.workspace.session.report, folder);
        this.path.replaceChildren();
        appendVisible(this.path, path === "" ? this.workspace.page.words.texts.wholeReport : path);
        this.path.title = visible(path);
        this.buttons.forEach((one, at) => { one.disabled = count === 0 || (at > 0 && path === ""); });
        this.map.show(folder);
    }
}
