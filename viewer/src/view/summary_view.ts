// The numbers of what the filters leave; every row leads to its groups.

import { folderPath } from "../report/report";
import { foldersByOwnBytes } from "../model/folder_totals";
import { Amount, extensionsByBytes, SIZE_LIMITS, Totals } from "../model/totals";
import { Filter } from "../model/filter";
import { Words } from "../text/words";
import { button, data, el } from "./dom";
import { plainPath } from "./path_cell";
import type { ViewPart, Workspace } from "./workspace";
import { visible } from "./visible_text";

const TOP = 10;

export class SummaryView implements ViewPart {
    readonly element = el("div", { class: "summary" });

    constructor(private readonly workspace: Workspace) {}

    show(): void {
        const { page, session } = this.workspace;
        const { texts } = page.words;
        const totals = session.totals;
        this.element.replaceChildren(summaryCards(page.words, totals), this.notes(totals));
        if (session.report.groupCount === 0) {
            this.element.append(el("p", { class: "empty" }, texts.noDuplicates));
        } else {
            this.element.append(el("div", { class: "tables" }, this.folderTable(),
                                   this.typeTable(totals), this.sizeTable(totals)));
        }
    }

    private notes(totals: Totals): HTMLElement {
        const { page, session } = this.workspace;
        const { texts } = page.words;
        const notes = el("div", { class: "notes" });
        if (totals.unnamed > 0)
            notes.append(el("p", {}, texts.unnamedNote(page.words.files(totals.unnamed))));
        const ignored = session.ignored.count;
        if (ignored > 0 && !page.place.filter.ignored)
            notes.append(el("p", {}, texts.ignoredNote(page.words.groups(ignored)), " ",
                            button(texts.showIgnored, () => page.go({
                                view: "groups", filter: { ...page.place.filter, ignored: true },
                            }), { class: "link" })));
        return notes;
    }

    private folderTable(): HTMLElement {
        const { page, session } = this.workspace;
        const { texts } = page.words;
        const folders = session.folders;
        const rows = Array.from(foldersByOwnBytes(folders).subarray(0, TOP), (at) => {
            const path = folderPath(session.report, at);
            return this.row(path === "" ? texts.noFolder : plainPath(path), visible(path),
                            { copies: folders.ownCopies[at]!, bytes: folders.ownBytes[at]! },
                            session.totals.bytes, path === "" ? null : { folder: path, direct: true });
        });
        return this.table("top-folders", texts.topFolders, texts.folder, rows, texts.topFoldersNote);
    }

    private typeTable(totals: Totals): HTMLElement {
        const { page, session } = this.workspace;
        const { texts } = page.words;
        const all = extensionsByBytes(totals);
        const rows = all.slice(0, TOP).map((at) => {
            const extension = session.report.extensions[at]!;
            const shown = extension === "" ? texts.noType : visible(extension);
            return this.row(shown, shown, totals.byExtension[at]!, totals.bytes,
                            { extensions: [extension] });
        });
        const rest = all.slice(TOP);
        if (rest.length > 0) {
            const amount = { copies: 0, bytes: 0 };
            for (const at of rest) {
                amount.copies += totals.byExtension[at]!.copies;
                amount.bytes += totals.byExtension[at]!.bytes;
            }
            rows.push(this.row(texts.otherTypes(page.words.count(rest.length)), "", amount,
                               totals.bytes, null));
        }
        return this.table("by-type", texts.byType, texts.type, rows);
    }

    private sizeTable(totals: Totals): HTMLElement {
        const { words } = this.workspace.page;
        const limits = [0, ...SIZE_LIMITS, Infinity];
        const rows = totals.bySize.map((amount, at) => {
            const from = limits[at]!;
            const to = limits[at + 1]!;
            const shown = words.texts.from(at === 0 ? "" : words.bytes(from),
                                           to === Infinity ? "" : words.bytes(to));
            return this.row(shown, shown, amount, totals.bytes,
                            { leastSize: Math.max(1, from), mostSize: to });
        });
        return this.table("by-size", words.texts.bySize, words.texts.sizeClass, rows.reverse());
    }

    private table(id: string, title: string, first: string, rows: HTMLElement[], note = ""): HTMLElement {
        const { texts } = this.workspace.page.words;
        const head = el("tr", {}, el("th", { scope: "col" }, first),
            ...[texts.copiesColumn, texts.bytesColumn, texts.share].map((text) =>
                el("th", { scope: "col", class: "number" }, text)));
        return el("section", { "aria-labelledby": id + "-title", class: id },
            el("h2", { id: id + "-title" }, title),
            ...(note === "" ? [] : [el("p", { class: "soft" }, note)]),
            el("table", { id }, el("thead", {}, head), el("tbody", {}, ...rows)));
    }

    private row(shown: Node | string, name: string, amount: Amount, all: number,
                filter: Partial<Filter> | null): HTMLElement {
        const { page } = this.workspace;
        const share = all > 0 ? amount.bytes / all : 0;
        const bar = el("span", { class: "bar", "aria-hidden": "true" });
        bar.style.width = `${share * 100}%`;
        let title: Node | string = shown;
        if (filter !== null && amount.copies > 0) {
            const link = button("", () => page.go({
                view: "groups", filter: { ...page.place.filter, ...filter },
            }), { class: "link", "aria-label": name });
            link.append(shown);
            title = link;
        }
        return el("tr", {}, el("th", { scope: "row" }, title),
            el("td", { class: "number" }, data(amount.copies, page.words.count(amount.copies))),
            el("td", { class: "number" }, data(amount.bytes, page.words.bytes(amount.bytes))),
            el("td", { class: "number share" }, bar, el("span", {}, page.words.percent(share))));
    }
}

function summaryCards(words: Words, totals: Totals): HTMLElement {
    const { texts } = words;
    const card = (id: string, title: string, value: number, shown: string, note: string): HTMLElement =>
        el("div", { class: "card", id }, el("dt", {}, title),
           el("dd", {}, data(value, shown)), el("dd", { class: "soft" }, note));
    return el("dl", { class: "cards" },
        card("card-bytes", texts.cardBytes, totals.bytes, words.bytes(totals.bytes),
             `${words.count(totals.bytes)} ${texts.units[0]}`),
        card("card-copies", texts.cardCopies, totals.copies, words.count(totals.copies),
             texts.cardCopiesNote),
        card("card-groups", texts.cardGroups, totals.groups, words.count(totals.groups),
             texts.cardGroupsNote(words.files(totals.files))),
        card("card-empty", texts.cardEmpty, totals.emptyFiles, words.count(totals.emptyFiles),
             texts.cardEmptyNote));
}
