// Groups and their files. Space chooses, the arrows expand and collapse, I ignores.

import { GROUP_ORDERS, GroupOrder } from "../model/group_order";
import { firstNamed, folderPath, isNamed, pathOf } from "../report/report";
import { textAt } from "../report/text_column";
import { button, data, el, labelled } from "./dom";
import { GroupLines, Line } from "./group_lines";
import { pathCell } from "./path_cell";
import { Difference, findDifference } from "./path_difference";
import { cell, VirtualTable } from "./virtual_table";
import { appendVisible, visible } from "./visible_text";
import type { ViewPart, Workspace } from "./workspace";

const MOST_COMPARED = 200; // folders of one group, to tell apart where they differ

export class GroupsView implements ViewPart {
    readonly element: HTMLElement;
    private readonly table: VirtualTable;
    private readonly order = el("select");
    private readonly path = el("span", { class: "current-path" });
    private readonly folderButtons: HTMLButtonElement[];
    private readonly ignore: HTMLButtonElement;
    private readonly nothing = el("p", { class: "empty" });
    private lines: GroupLines;
    private shownAs = "";
    private difference: { group: number; is: Difference } | null = null;

    constructor(private readonly workspace: Workspace) {
        const { page, session } = workspace;
        const { texts } = page.words;
        this.lines = new GroupLines(new Uint32Array(0), session.report.groupStart, session.collapsed);
        this.table = new VirtualTable({
            id: "groups", role: "treegrid", label: texts.groupsLabel, columns: [], multiple: true,
            fill: (index, row) => this.fill(this.lines.at(index), row),
            click: (index, target) => this.clicked(this.lines.at(index), target),
            key: (event, index) => this.key(event, this.lines.at(index)),
            moved: () => this.showCurrent(),
        });
        this.order.append(...GROUP_ORDERS.map((order) =>
            el("option", { value: order }, texts.orders[order])));
        this.order.addEventListener("change", () =>
            page.go({ order: this.order.value as GroupOrder }));
        const folderButton = (text: string, act: (folder: string) => void): HTMLButtonElement =>
            button(text, () => act(this.currentFolder()));
        this.folderButtons = [
            folderButton(texts.onlyThisFolder, (folder) => page.filter({ folder, direct: false })),
            folderButton(texts.hideFolder, (folder) =>
                page.filter({ hidden: [...new Set([...page.place.filter.hidden, folder])] })),
            folderButton(texts.keepHere, (folder) => workspace.openRule("keepBelow", folder)),
            folderButton(texts.markHere, (folder) => workspace.openRule("markBelow", folder)),
        ];
        this.ignore = button(texts.ignore, () => this.toggleIgnored(this.line().group));
        this.element = el("div", { class: "view groups-view" },
            el("div", { class: "tools" },
               labelled(texts.orderLabel, this.order),
               button(texts.expandAll, () => this.expandAll(true)),
               button(texts.collapseAll, () => this.expandAll(false)),
               this.ignore),
            this.table.element, this.nothing,
            el("div", { class: "current-line" }, this.path, ...this.folderButtons));
    }

    show(): void {
        const { page, session } = this.workspace;
        const { texts } = page.words;
        const { order } = page.place;
        this.order.value = order;
        const sort = (by: GroupOrder): { sort: () => void; sorted: boolean } =>
            ({ sort: () => page.go({ order: by }), sorted: order === by });
        this.table.setColumns([
            { label: texts.chooseColumn, className: "choice" },
            { label: texts.fileColumn, className: "file" },
            { label: texts.statusColumn, className: "status", ...sort("count") },
            { label: texts.sizeColumn, className: "number size", ...sort("size") },
            { label: texts.wastedColumn, className: "number wasted", ...sort("wasted") },
        ]);
        this.ignore.textContent = page.place.filter.ignored ? texts.unignore : texts.ignore;
        // Another filter or order starts at the top; a view that is come back to stays where it was.
        const shownAs = JSON.stringify([page.place.filter, order]);
        this.layOut(shownAs === this.shownAs ? this.table.current : 0);
        if (shownAs !== this.shownAs) this.table.moveTo(0);
        this.shownAs = shownAs;
        this.nothing.textContent = this.lines.count > 0 ? ""
            : session.report.groupCount === 0 ? texts.noDuplicates : texts.nothingFound;
    }

    selectionChanged(): void {
        this.table.refresh();
    }

    private layOut(current: number): void {
        const { session } = this.workspace;
        this.difference = null;
        this.lines = new GroupLines(session.listedGroups(), session.report.groupStart,
                                    session.collapsed);
        this.table.setCount(this.lines.count, current);
        this.showCurrent();
    }

    private line(): Line {
        return this.lines.at(this.table.current);
    }

    private fill(line: Line, row: HTMLElement): void {
        if (line.row < 0) this.fillGroup(line.group, row);
        else this.fillFile(line.group, line.row, row);
    }

    private fillGroup(group: number, row: HTMLElement): void {
        const { page, session } = this.workspace;
        const { texts } = page.words;
        const files = session.filesOf(group);
        const size = session.report.groupSize[group]!;
        const expanded = session.collapsed[group] === 0;
        const chosen = session.selection.chosenOf(group);
        row.classList.add("group");
        row.setAttribute("aria-level", "1");
        row.setAttribute("aria-expanded", String(expanded));
        row.setAttribute("aria-selected", String(chosen > 0));
        const named = firstNamed(session.report, group);
        const name = el("bdi", { class: "name", dir: "ltr" });
        appendVisible(name, named < 0 ? texts.unnamed : textAt(session.report.names, named));
        row.append(
            cell("choice", el("span", {
                class: chosen === 0 ? "box" : "box some", "aria-hidden": "true",
            }), ...(chosen > 0 ? [el("span", { class: "heard" }, texts.chosen)] : [])),
            cell("file", el("span", { class: "twisty", "aria-hidden": "true" }, expanded ? "▾" : "▸"),
                 el("span", { class: "number-of" }, texts.groupName(page.words.count(group + 1))), name),
            cell("status", data(files, page.words.files(files))),
            cell("number size", data(size, page.words.bytes(size))),
            cell("number wasted", data(size * (files - 1), page.words.bytes(size * (files - 1)))));
    }

    private fillFile(group: number, at: number, row: HTMLElement): void {
        const { page, session } = this.workspace;
        const { texts } = page.words;
        const { report, selection, matches } = session;
        const named = isNamed(report, at);
        const chosen = selection.chosen[at] === 1;
        const original = at === report.groupStart[group];
        row.classList.add("file-row");
        if (matches.rows[at] === 0) row.classList.add("other");
        if (chosen) row.classList.add("chosen");
        row.setAttribute("aria-level", "2");
        row.setAttribute("aria-selected", String(chosen));
        if (!named) row.setAttribute("aria-disabled", "true");
        const box = chosen ? "box full" : selection.canChoose(at) ? "box" : "box closed";
        row.append(
            cell("choice", el("span", { class: box, "aria-hidden": "true" }),
                 ...(chosen ? [el("span", { class: "heard" }, texts.chosen)] : [])),
            cell("file", named ? pathCell(folderPath(report, report.folder[at]!),
                                          textAt(report.names, at), this.differenceOf(group))
                 : el("em", {}, texts.unnamed)),
            cell("status", el("span", { class: original ? "badge original" : "badge" },
                              original ? texts.original : texts.copy)),
            cell("number size"), cell("number wasted"));
    }

    private differenceOf(group: number): Difference {
        if (this.difference?.group !== group) {
            const { report } = this.workspace.session;
            const folders = new Set<string>();
            const end = report.groupStart[group + 1]!;
            for (let row = report.groupStart[group]!; row < end && folders.size < MOST_COMPARED; ++row)
                if (isNamed(report, row)) folders.add(folderPath(report, report.folder[row]!));
            this.difference = { group, is: findDifference([...folders]) };
        }
        return this.difference.is;
    }

    private clicked(line: Line, target: Element): void {
        if (target.closest(".choice") !== null) this.toggle(line);
        else if (line.row < 0) this.expand(line.group, this.isCollapsed(line.group));
    }

    private key(event: KeyboardEvent, line: Line): boolean {
        const collapsed = this.isCollapsed(line.group);
        if (event.key === " ") this.toggle(line);
        else if (event.key === "Enter" && line.row < 0) this.expand(line.group, collapsed);
        else if (event.key === "ArrowRight" && line.row < 0) {
            if (collapsed) this.expand(line.group, true);
            else this.table.moveTo(this.table.current + 1);
        } else if (event.key === "ArrowLeft") {
            if (line.row >= 0) this.table.moveTo(this.lines.lineOf(line.group));
            else if (!collapsed) this.expand(line.group, false);
        } else if (event.key === "i" || event.key === "I") this.toggleIgnored(line.group);
        else return false;
        return true;
    }

    // A group chooses all of its shown copies but the first, or frees them.
    private toggle(line: Line): void {
        const { page, session } = this.workspace;
        const { report, selection, matches } = session;
        const { texts } = page.words;
        if (line.row >= 0 && !isNamed(report, line.row)) {
            page.announcer.say(texts.noPath);
            return;
        }
        let refused: number;
        if (line.row >= 0) {
            refused = selection.chosen[line.row] === 1 ? session.choose([line.row], [])
                : session.choose([], [line.row]);
        } else {
            const start = report.groupStart[line.group]!;
            const rows = Array.from({ length: session.filesOf(line.group) }, (_, at) => start + at);
            const first = firstNamed(report, line.group);
            refused = selection.chosenOf(line.group) > 0 ? session.choose(rows, [])
                : session.choose([], rows.filter((row) =>
                    row !== first && matches.rows[row] === 1 && isNamed(report, row)));
        }
        page.announcer.say(refused > 0 ? texts.keepsOne : texts.ruleDone(
            page.words.files(selection.count), page.words.bytes(selection.bytes)));
    }

    private isCollapsed(group: number): boolean {
        return this.workspace.session.collapsed[group] === 1;
    }

    private expand(group: number, open: boolean): void {
        this.workspace.session.collapsed[group] = open ? 0 : 1;
        this.layOut(this.table.current);
    }

    private expandAll(open: boolean): void {
        const group = this.lines.count > 0 ? this.line().group : 0;
        this.workspace.session.collapsed.fill(open ? 0 : 1);
        this.layOut(0);
        this.table.moveTo(this.lines.lineOf(group));
    }

    private toggleIgnored(group: number): void {
        if (this.lines.count === 0) return;
        const { page, session } = this.workspace;
        const { texts } = page.words;
        const name = texts.groupName(page.words.count(group + 1));
        if (page.place.filter.ignored) {
            session.show(group);
            page.announcer.say(texts.unignoredDone(name));
        } else {
            const kept = session.ignore(group);
            page.announcer.say(kept === null ? texts.cannotIgnore
                : kept ? texts.ignoredDone(name) : texts.ignoredNotKept(name));
        }
        const { current } = this.table;
        this.workspace.show();
        this.table.moveTo(current);
    }

    private currentFolder(): string {
        const { report } = this.workspace.session;
        const { group, row } = this.line();
        const at = row >= 0 ? row : firstNamed(report, group);
        return at < 0 ? "" : folderPath(report, report.folder[at]!);
    }

    private showCurrent(): void {
        const { texts } = this.workspace.page.words;
        const some = this.lines.count > 0;
        const row = some ? this.line().row : -1;
        const folder = some ? this.currentFolder() : "";
        this.path.replaceChildren();
        if (row >= 0 && isNamed(this.workspace.session.report, row))
            appendVisible(this.path, pathOf(this.workspace.session.report, row));
        else this.path.append(texts.currentNone);
        this.path.title = row >= 0 ? visible(this.path.textContent ?? "") : "";
        for (const one of this.folderButtons) one.disabled = folder === "";
        this.ignore.disabled = !some;
    }
}
