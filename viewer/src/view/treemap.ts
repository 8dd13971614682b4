// The folders right below one, and those below these, as areas of their bytes. The tree says the same
// in words; here the arrow keys go from area to area.

import { hierarchy, HierarchyRectangularNode, treemap } from "d3-hierarchy";
import { Matches } from "../model/filter";
import { childrenByBytes } from "../model/folder_totals";
import { folderPath } from "../report/report";
import { button, el } from "./dom";
import { appendVisible, visible } from "./visible_text";
import type { Workspace } from "./workspace";

const MOST_AREAS = 24;      // of one folder; the rest is one area
const MOST_INNER = 10;
const SMALLEST_NAMED = 34;  // px, across and down
const MOST_STEPS = 12;     // of the way down to the folder
const WIDE_ENOUGH = 70;    // px, for a number of bytes
const COLOURS = 6;

interface Area {
    readonly folder: number; // -1: files of the folder itself, or what is left over
    readonly name: string;
    readonly bytes: number;
    readonly inner: Area[];
}

export class Treemap {
    readonly element = el("div", { class: "map" });
    private readonly way = el("div", { class: "way" });
    private readonly canvas = el("div", { class: "areas", role: "group" });
    private folder = -1;
    private drawnFor: Matches | null = null;

    constructor(private readonly workspace: Workspace, private readonly lead: (folder: number) => void,
                private readonly go: (folder: number) => void) {
        this.element.append(this.way, this.canvas);
        new ResizeObserver(() => this.draw()).observe(this.canvas);
        this.canvas.addEventListener("keydown", (event) => this.key(event));
    }

    show(folder: number): void {
        const { matches } = this.workspace.session;
        if (folder === this.folder && matches === this.drawnFor) return;
        this.folder = folder;
        this.drawnFor = matches;
        this.draw();
    }

    private draw(): void {
        if (this.folder < 0) return;
        const { page, session } = this.workspace;
        const { texts } = page.words;
        const path = folderPath(session.report, this.folder);
        const top = this.descend(this.folder);
        const name = path === "" ? texts.wholeReport : visible(path);
        this.canvas.setAttribute("aria-label", texts.treemapLabel(name));
        this.showWay();
        const { clientWidth: width, clientHeight: height } = this.canvas;
        const root = hierarchy(this.area(top, "", [MOST_AREAS, MOST_INNER]), (area) => area.inner)
            .sum((area) => area.inner.length === 0 ? area.bytes : 0)
            .sort((one, other) => (other.value ?? 0) - (one.value ?? 0));
        if (width === 0 || (root.value ?? 0) === 0) {
            this.canvas.replaceChildren(el("p", { class: "empty" }, texts.treemapEmpty));
            return;
        }
        const laid = treemap<Area>().size([width, height]).round(true).paddingInner(2)
            .paddingTop((node) => node.depth === 1 && node.height > 0 ? 20 : 0)(root);
        const areas: HTMLElement[] = [];
        (laid.children ?? []).forEach((node, at) => {
            areas.push(this.tile(node, at % COLOURS));
            for (const inner of node.children ?? []) areas.push(this.tile(inner, at % COLOURS));
        });
        this.canvas.replaceChildren(...areas);
        this.canvas.querySelector("button")?.setAttribute("tabindex", "0");
    }

    private area(folder: number, name: string, most: readonly number[]): Area {
        const { page, session } = this.workspace;
        const { texts } = page.words;
        const { report, folders } = session;
        const bytes = folders.bytes[folder]!;
        const [here = 0, ...deeper] = most;
        if (here === 0) return { folder, name, bytes, inner: [] };
        const above = folderPath(report, folder).length;
        const children = childrenByBytes(report, folders, folder)
            .filter((child) => folders.bytes[child]! > 0);
        const inner = children.slice(0, here).map((child) => {
            const shown = this.descend(child);
            return this.area(shown, folderPath(report, shown).slice(above), deeper);
        });
        const rest = children.slice(here);
        if (rest.length > 0) {
            const left = rest.reduce((sum, child) => sum + folders.bytes[child]!, 0);
            inner.push({ folder: -1, name: texts.others(page.words.count(rest.length)), bytes: left,
                         inner: [] });
        }
        const own = folders.ownBytes[folder]!;
        if (inner.length > 0 && own > 0)
            inner.push({ folder: -1, name: texts.ownFiles, bytes: own, inner: [] });
        return { folder, name, bytes, inner };
    }

    // Down to where the bytes part: a folder in a folder in a folder would be three frames of one area.
    private descend(folder: number): number {
        const { report, folders } = this.workspace.session;
        for (let at = folder; ;) {
            const [first] = childrenByBytes(report, folders, at);
            if (first === undefined || folders.bytes[first] !== folders.bytes[at] ||
                folders.bytes[at] === 0) return at;
            at = first;
        }
    }

    private tile(node: HierarchyRectangularNode<Area>, colour: number): HTMLElement {
        const { page, session } = this.workspace;
        const { folder, name } = node.data;
        const bytes = page.words.bytes(node.value ?? 0);
        const width = node.x1 - node.x0;
        const height = node.y1 - node.y0;
        const title = `${visible(folder < 0 ? name : folderPath(session.report, folder))} · ${bytes}`;
        const className = `area depth${node.depth} colour${colour}`;
        const tile = folder < 0 ? el("div", { class: className, title })
            : button("", () => this.lead(folder), {
                class: className, title, "aria-label": title, tabindex: "-1",
            });
        if (width >= SMALLEST_NAMED && height >= SMALLEST_NAMED / 2) {
            const text = el("span", { class: "area-name", dir: "ltr" });
            appendVisible(text, name);
            tile.append(text);
            if (height >= SMALLEST_NAMED && width >= WIDE_ENOUGH && node.height === 0)
                tile.append(el("span", { class: "area-bytes" }, bytes));
        }
        Object.assign(tile.style, {
            left: `${node.x0}px`, top: `${node.y0}px`, width: `${width}px`, height: `${height}px`,
        });
        return tile;
    }

    private showWay(): void {
        const { page, session } = this.workspace;
        const { report } = session;
        const steps: HTMLElement[] = [];
        let left = MOST_STEPS;
        for (let at = this.folder; ; at = report.folderParent[at]!) {
            const path = folderPath(report, at);
            const above = at === 0 ? 0 : folderPath(report, report.folderParent[at]!).length;
            const name = at === 0 ? page.words.texts.wholeReport : visible(path.slice(above));
            steps.unshift(at === this.folder ? el("span", {}, name)
                : button(name, () => this.go(at), { class: "link" }));
            if (at === 0) break;
            if (--left === 0) {
                steps.unshift(el("span", {}, "…"));
                break;
            }
        }
        this.way.replaceChildren(...steps.flatMap((step, at) =>
            at === 0 ? [step] : [el("span", { class: "soft", "aria-hidden": "true" }, " › "), step]));
    }

    private key(event: KeyboardEvent): void {
        const step = { ArrowRight: 1, ArrowDown: 1, ArrowLeft: -1, ArrowUp: -1 }[event.key];
        if (step === undefined) return;
        const areas = [...this.canvas.querySelectorAll("button")];
        const at = areas.indexOf(document.activeElement as HTMLButtonElement);
        const next = areas[at + step];
        if (at < 0 || next === undefined) return;
        areas[at]!.setAttribute("tabindex", "-1");
        next.setAttribute("tabindex", "0");
        next.focus();
        event.preventDefault();
    }
}
