// The filters, and what they leave. Typing refines the address; everything else is a step of its own.

import { isFiltered } from "../model/address";
import { NO_FILTER, Status } from "../model/filter";
import { foldersByOwnBytes } from "../model/folder_totals";
import { findFolder, folderPath } from "../report/report";
import { button, data, el, labelled } from "./dom";
import type { Page } from "./page";
import type { Session } from "./session";
import { visible } from "./visible_text";

const LEAST_SIZES = [0, 1, 100 * 1024, 2 ** 20, 10 * 2 ** 20, 100 * 2 ** 20, 2 ** 30];
const STATUSES: readonly Status[] = ["all", "original", "copy"];
const TYPING = 150; // ms without a key before the list is filtered
const SUGGESTED = 50;

export class FilterBar {
    readonly element: HTMLElement;
    private readonly text = el("input", { type: "text", autocomplete: "off", spellcheck: "false" });
    private readonly folder = el("input", {
        type: "text", list: "folders", autocomplete: "off", spellcheck: "false",
    });
    private readonly types = el("input", {
        type: "text", autocomplete: "off", spellcheck: "false", class: "short",
    });
    private readonly least = el("select");
    private readonly status = el("select");
    private readonly chips = el("span", { class: "chips" });
    private readonly found = el("span", { class: "found", role: "status" });
    private readonly suggestions = el("datalist", { id: "folders" });
    private timer = 0;

    constructor(private readonly page: Page, private readonly session: Session) {
        const { texts } = page.words;
        this.status.append(...STATUSES.map((status) =>
            el("option", { value: status }, texts.statuses[status])));
        this.least.addEventListener("change", () =>
            page.filter({ leastSize: Number(this.least.value), mostSize: Infinity }));
        this.status.addEventListener("change", () =>
            page.filter({ status: this.status.value as Status }));
        for (const input of [this.text, this.folder, this.types])
            input.addEventListener("input", () => {
                clearTimeout(this.timer);
                this.timer = window.setTimeout(() => this.typed(), TYPING);
            });
        const top = foldersByOwnBytes(session.folders).subarray(0, SUGGESTED);
        this.suggestions.append(...Array.from(top, (at) => {
            const path = folderPath(session.report, at);
            return el("option", { value: path, label: visible(path) });
        }));
        this.element = el("section", { class: "filters", "aria-label": texts.filters },
            labelled(texts.filterText, this.text), labelled(texts.filterFolder, this.folder),
            labelled(texts.filterTypes, this.types), labelled(texts.filterLeast, this.least),
            labelled(texts.filterStatus, this.status),
            el("span", { class: "outcome" }, this.chips, this.found), this.suggestions);
    }

    show(): void {
        const { texts } = this.page.words;
        const { filter } = this.page.place;
        this.put(this.text, filter.text);
        this.put(this.folder, filter.folder);
        this.put(this.types, filter.extensions.map((type) => type || ".").join(", "));
        this.status.value = filter.status;
        this.showSizes();
        this.chips.replaceChildren();
        for (const folder of filter.hidden)
            this.chip(texts.hiddenChip(visible(folder)), () =>
                this.page.filter({ hidden: filter.hidden.filter((other) => other !== folder) }));
        if (filter.direct)
            this.chip(texts.directChip, () => this.page.filter({ direct: false }));
        if (filter.pair.length === 2)
            this.chip(texts.pairChip(visible(filter.pair[0]!), visible(filter.pair[1]!)), () =>
                this.page.filter({ pair: [] }));
        if (filter.ignored)
            this.chip(texts.ignoredOnly, () => this.page.filter({ ignored: false }));
        if (isFiltered(filter))
            this.chips.append(button(texts.clearFilters, () => {
                this.page.go({ filter: NO_FILTER });
                this.text.focus();
            }, { class: "quiet" }));
        const unknown = filter.folder !== "" && findFolder(this.session.report, filter.folder) < 0;
        const { rowCount, groupCount } = this.session.matches;
        this.found.replaceChildren(...(unknown ? [texts.folderNotInReport]
            : [data(groupCount, this.page.words.groups(groupCount)), ", ",
               data(rowCount, this.page.words.files(rowCount))]));
    }

    private typed(): void {
        this.page.filter({
            text: this.text.value,
            folder: this.folder.value,
            direct: this.page.place.filter.direct && this.folder.value !== "",
            extensions: this.types.value.toLowerCase().split(/[\s,;]+/)
                .filter((type) => type !== "").map((type) => type.replace(/^\*?\./, "")),
        }, true);
    }

    // The size classes of the summary have an upper end too, so there is a choice for what is set.
    private showSizes(): void {
        const { words } = this.page;
        const { leastSize, mostSize } = this.page.place.filter;
        const name = (size: number): string => size === 0 ? words.texts.anySize
            : size === 1 ? words.texts.notEmpty : words.texts.atLeast(words.bytes(size));
        const options = LEAST_SIZES.map((size) => el("option", { value: String(size) }, name(size)));
        if (mostSize !== Infinity || !LEAST_SIZES.includes(leastSize)) {
            const text = words.texts.from(leastSize > 1 ? words.bytes(leastSize) : "",
                                          mostSize === Infinity ? "" : words.bytes(mostSize));
            options.push(el("option", { value: "other" }, text));
        }
        this.least.replaceChildren(...options);
        this.least.value = options.length > LEAST_SIZES.length ? "other" : String(leastSize);
    }

    private chip(text: string, remove: () => void): void {
        // The button goes with its filter, and would take the focus with it.
        this.chips.append(button(`${text} ✕`, () => {
            remove();
            this.text.focus();
        }, {
            class: "chip", "aria-label": this.page.words.texts.removeChip(text),
        }));
    }

    // Not while somebody types into it.
    private put(input: HTMLInputElement, value: string): void {
        if (document.activeElement !== input) input.value = value;
    }
}
