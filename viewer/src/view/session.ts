// One opened report and what a person does with it. Views read it and ask it for changes; it tells
// them what changed.

import { Place } from "../model/address";
import { Filter, findMatches, Matches } from "../model/filter";
import { FolderTotals, findFolderTotals } from "../model/folder_totals";
import { GroupOrders } from "../model/group_order";
import { Ignored } from "../model/ignored";
import { Selection } from "../model/selection";
import { findTotals, Totals } from "../model/totals";
import { Report } from "../report/report";
import { Loaded } from "../worker/worker_client";
import { keepIgnored, loadIgnored } from "./ignored_store";

export class Session {
    readonly report: Report;
    readonly selection: Selection;
    readonly ignored: Ignored;
    readonly orders: GroupOrders;
    readonly sha256: Promise<string>;
    readonly collapsed: Uint8Array; // by group
    matches: Matches;
    saved = true; // the selection as it is now
    selectionChanged: () => void = () => undefined;
    private matchedFilter: Filter;
    private foundTotals: Totals | null = null;
    private foundFolders: FolderTotals | null = null;

    constructor(readonly file: File, loaded: Loaded, public place: Place) {
        this.report = loaded.report;
        this.sha256 = loaded.sha256;
        this.selection = new Selection(this.report);
        this.ignored = new Ignored(this.report, loadIgnored());
        this.orders = new GroupOrders(this.report);
        this.collapsed = new Uint8Array(this.report.groupCount);
        for (let group = 0; group < this.collapsed.length; ++group)
            if (this.filesOf(group) > MOST_EXPANDED) this.collapsed[group] = 1;
        this.matchedFilter = place.filter;
        this.matches = findMatches(this.report, place.filter, this.ignored.groups);
    }

    get totals(): Totals {
        return this.foundTotals ??= findTotals(this.report, this.matches);
    }

    get folders(): FolderTotals {
        return this.foundFolders ??= findFolderTotals(this.report, this.matches);
    }

    filesOf(group: number): number {
        return this.report.groupStart[group + 1]! - this.report.groupStart[group]!;
    }

    setPlace(place: Place): void {
        const other = JSON.stringify(place.filter) !== JSON.stringify(this.matchedFilter);
        this.place = place;
        if (other) this.match();
    }

    // Groups matching the filter in the order that is asked for.
    listedGroups(): Uint32Array {
        const { groups } = this.matches;
        return this.orders.get(this.place.order).filter((group) => groups[group] === 1);
    }

    // As one step to undo; returns how many files had to stay free.
    choose(off: Iterable<number>, on: Iterable<number>): number {
        const refused = this.selection.change(off, on);
        this.changed();
        return refused;
    }

    undo(): boolean {
        const done = this.selection.undo();
        this.changed();
        return done;
    }

    // Whether the browser keeps it; null when the group cannot be told from others.
    ignore(group: number): boolean | null {
        if (!this.ignored.ignore(group)) return null;
        const start = this.report.groupStart[group]!;
        const rows = Array.from({ length: this.filesOf(group) }, (_, at) => start + at);
        if (this.selection.chosenOf(group) > 0) this.choose(rows, []);
        return this.ignoredChanged();
    }

    show(group: number): boolean {
        this.ignored.show(group);
        return this.ignoredChanged();
    }

    addIgnored(entries: string[][]): boolean {
        this.ignored.add(entries);
        return this.ignoredChanged();
    }

    private ignoredChanged(): boolean {
        this.match();
        const kept = keepIgnored(this.ignored.paths);
        if (!kept) this.saved = false;
        return kept;
    }

    private match(): void {
        this.matchedFilter = this.place.filter;
        this.matches = findMatches(this.report, this.place.filter, this.ignored.groups);
        this.foundTotals = null;
        this.foundFolders = null;
    }

    private changed(): void {
        this.saved = false;
        this.selectionChanged();
    }
}

// A group of thousands would bury the others; it is opened on demand.
const MOST_EXPANDED = 30;
