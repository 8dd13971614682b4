// Pairs of folders with contents in common, counted in a worker when the view is opened.

import { Matches } from "../model/filter";
import { MOST_FOLDERS, Pairs } from "../model/pairs";
import { folderPath } from "../report/report";
import { countPairs } from "../worker/worker_client";
import { data, el } from "./dom";
import { pathCell } from "./path_cell";
import { findDifference } from "./path_difference";
import { cell, VirtualTable } from "./virtual_table";
import type { ViewPart, Workspace } from "./workspace";

export class PairsView implements ViewPart {
    readonly element: HTMLElement;
    private readonly table: VirtualTable;
    private readonly notes = el("div", { class: "notes", role: "status" });
    private pairs: Pairs | null = null;
    private countedFor: Matches | null = null;
    private stop: () => void = () => undefined;

    constructor(private readonly workspace: Workspace) {
        const { texts } = workspace.page.words;
        this.table = new VirtualTable({
            id: "pairs", role: "grid", label: texts.pairsLabel,
            columns: [
                { label: texts.firstFolder, className: "file" },
                { label: texts.secondFolder, className: "file" },
                { label: texts.commonFiles, className: "number" },
                { label: texts.commonBytes, className: "number", sorted: true, sort: () => undefined },
            ],
            fill: (index, row) => this.fill(index, row),
            click: (index) => this.lead(index),
            key: (event, index) => {
                if (event.key !== "Enter") return false;
                this.lead(index);
                return true;
            },
        });
        this.element = el("div", { class: "view pairs-view" },
            el("p", { class: "soft intro" }, texts.pairsNote), this.notes, this.table.element);
    }

    show(): void {
        const { matches } = this.workspace.session;
        if (this.countedFor === matches) {
            this.table.refresh();
            return;
        }
        this.stop();
        this.countedFor = matches;
        this.pairs = null;
        this.table.setCount(0);
        this.table.element.setAttribute("aria-busy", "true");
        this.say(this.workspace.page.words.texts.counting);
        const { groupStart, groupSize, folder } = this.workspace.session.report;
        const counting = countPairs({ groupStart, groupSize, folder, rows: matches.rows });
        this.stop = counting.stop;
        counting.pairs.then((pairs) => this.take(pairs), (error: unknown) =>
            this.say(this.workspace.page.words.problem(error)));
    }

    private take(pairs: Pairs): void {
        const { words } = this.workspace.page;
        const { texts } = words;
        this.pairs = pairs;
        this.table.element.removeAttribute("aria-busy");
        this.table.setCount(pairs.first.length, 0);
        const notes = [pairs.first.length === 0 ? texts.noPairs
            : texts.pairsCount(words.count(pairs.first.length))];
        if (pairs.leftOutGroups > 0)
            notes.push(texts.pairsLeftOut(words.groups(pairs.leftOutGroups), words.count(MOST_FOLDERS)));
        if (pairs.refused > 0) notes.push(texts.pairsRefused(words.count(pairs.refused)));
        this.say(...notes);
    }

    private say(...notes: string[]): void {
        this.notes.replaceChildren(...notes.map((note) => el("p", {}, note)));
    }

    private folders(index: number): [string, string] {
        const { report } = this.workspace.session;
        return [folderPath(report, this.pairs!.first[index]!),
                folderPath(report, this.pairs!.second[index]!)];
    }

    private fill(index: number, row: HTMLElement): void {
        const { words } = this.workspace.page;
        const pairs = this.pairs!;
        const folders = this.folders(index);
        const difference = findDifference(folders);
        const files = pairs.files[index]!;
        const bytes = pairs.bytes[index]!;
        row.append(...folders.map((folder) => cell("file", pathCell(folder, "", difference))),
                   cell("number", data(files, words.files(files))),
                   cell("number", data(bytes, words.bytes(bytes))));
    }

    private lead(index: number): void {
        const { page } = this.workspace;
        page.go({ view: "groups", filter: { ...page.place.filter, pair: this.folders(index) } });
    }
}
