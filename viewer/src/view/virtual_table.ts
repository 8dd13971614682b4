// A table of any length of which only the visible rows are in the page. It is the scrolling element,
// the focus and the grid in one: arrow keys move a current row, which aria-activedescendant names, so
// that rows may come and go without losing the focus.

import { el } from "./dom";
import { ScaledScroll } from "./scaled_scroll";

export const ROW_HEIGHT = 30;
const HEAD_HEIGHT = 34;
const REST = 120; // ms without a step after which scrolling rests

export interface Column {
    readonly label: string;
    readonly className?: string;
    readonly sort?: (() => void) | undefined;
    readonly sorted?: boolean;
}

export interface TableOptions {
    readonly id: string;
    readonly role: "grid" | "treegrid";
    readonly label: string;
    readonly columns: readonly Column[];
    readonly multiple?: boolean; // rows are chosen, see aria-selected
    fill(index: number, row: HTMLElement): void; // the row is empty but for its number
    click(index: number, target: Element): void;
    key(event: KeyboardEvent, index: number): boolean; // whether it was taken
    moved?(index: number): void;
}

export class VirtualTable {
    readonly element: HTMLElement;
    current = 0;
    private count = 0;
    private readonly scroll = new ScaledScroll();
    private readonly spacer = el("div", { class: "spacer", role: "presentation" });
    private readonly layer = el("div", { class: "layer", role: "rowgroup" });
    private readonly head = el("div", { class: "head", role: "row", "aria-rowindex": "1" });
    private rows = new Map<number, HTMLElement>();
    private frame = 0;
    private rest = 0;

    constructor(private readonly options: TableOptions) {
        this.element = el("div", {
            id: options.id, class: "table " + options.id, role: options.role, tabindex: "0",
            "aria-label": options.label,
        });
        if (options.multiple === true) this.element.setAttribute("aria-multiselectable", "true");
        this.setColumns(options.columns);
        this.spacer.append(this.layer);
        this.element.append(el("div", { class: "headgroup", role: "rowgroup" }, this.head), this.spacer);
        this.element.addEventListener("scroll", () => this.scrolled());
        this.element.addEventListener("keydown", (event) => this.keyDown(event));
        this.layer.addEventListener("click", (event) => this.clicked(event));
        new ResizeObserver(() => this.refresh(false)).observe(this.element);
    }

    setColumns(columns: readonly Column[]): void {
        this.element.setAttribute("aria-colcount", String(columns.length));
        this.head.replaceChildren(...columns.map((column) => {
            const cell = el("span", { role: "columnheader", class: column.className ?? "" },
                            column.label);
            if (column.sort !== undefined) {
                cell.classList.add("sortable");
                cell.setAttribute("aria-sort", column.sorted === true ? "descending" : "none");
                cell.addEventListener("click", column.sort);
            }
            return cell;
        }));
    }

    // As many rows as that; those that are shown are filled anew.
    setCount(count: number, current = this.current): void {
        this.count = count;
        this.current = Math.max(0, Math.min(current, count - 1));
        this.element.setAttribute("aria-rowcount", String(count + 1));
        this.refresh(true);
    }

    refresh(anew = true): void {
        if (anew) {
            for (const row of this.rows.values()) row.remove();
            this.rows.clear();
        }
        const viewport = Math.max(0, this.element.clientHeight - HEAD_HEIGHT);
        this.scroll.setSize(this.count * ROW_HEIGHT, viewport);
        this.spacer.style.height = `${this.scroll.height}px`;
        this.draw();
    }

    moveTo(index: number): void {
        if (this.count === 0) return;
        this.current = Math.max(0, Math.min(this.count - 1, index));
        const top = this.current * ROW_HEIGHT;
        const viewport = this.element.clientHeight - HEAD_HEIGHT;
        if (top < this.scroll.top) this.place(top);
        else if (top + ROW_HEIGHT > this.scroll.top + viewport)
            this.place(top + ROW_HEIGHT - viewport);
        this.draw();
        this.options.moved?.(this.current);
    }

    private place(top: number): void {
        this.element.scrollTop = this.scroll.moveTo(top);
    }

    private scrolled(): void {
        const put = this.scroll.barMoved(this.element.scrollTop);
        if (put !== null) this.element.scrollTop = put;
        clearTimeout(this.rest);
        this.rest = window.setTimeout(() => {
            this.element.scrollTop = this.scroll.barAtRest();
        }, REST);
        if (this.frame === 0) this.frame = requestAnimationFrame(() => {
            this.frame = 0;
            this.draw();
        });
    }

    private draw(): void {
        const { top } = this.scroll;
        const viewport = this.element.clientHeight - HEAD_HEIGHT;
        const first = Math.floor(top / ROW_HEIGHT);
        const last = Math.min(this.count, Math.ceil((top + viewport) / ROW_HEIGHT));
        for (const [index, row] of this.rows)
            if (index < first || index >= last) {
                row.remove();
                this.rows.delete(index);
            }
        for (let index = first; index < last; ++index) {
            let row = this.rows.get(index);
            if (row === undefined) {
                row = this.newRow(index);
                this.rows.set(index, row);
                const next = this.rows.get(index + 1);
                if (next !== undefined) this.layer.insertBefore(row, next);
                else this.layer.append(row);
            }
            row.style.transform = `translateY(${index * ROW_HEIGHT - top}px)`;
            row.classList.toggle("current", index === this.current);
        }
        if (this.rows.has(this.current))
            this.element.setAttribute("aria-activedescendant", this.rowId(this.current));
        else this.element.removeAttribute("aria-activedescendant");
    }

    private newRow(index: number): HTMLElement {
        const row = el("div", {
            class: "row", role: "row", id: this.rowId(index), "aria-rowindex": String(index + 2),
        });
        this.options.fill(index, row);
        return row;
    }

    private rowId(index: number): string {
        return `${this.options.id}-${index}`;
    }

    private clicked(event: MouseEvent): void {
        const target = event.target as Element;
        const row = target.closest<HTMLElement>(".row");
        if (row === null) return;
        const index = Number(row.getAttribute("aria-rowindex")) - 2;
        this.moveTo(index);
        this.options.click(index, target);
    }

    private keyDown(event: KeyboardEvent): void {
        if (this.count === 0 || event.altKey || event.metaKey) return;
        const page = Math.max(1, Math.floor((this.element.clientHeight - HEAD_HEIGHT) / ROW_HEIGHT) - 1);
        const steps: Record<string, number> = {
            ArrowDown: 1, ArrowUp: -1, PageDown: page, PageUp: -page,
            Home: -this.count, End: this.count,
        };
        const step = steps[event.key];
        if (step !== undefined) this.moveTo(this.current + step);
        else if (event.ctrlKey || !this.options.key(event, this.current)) return;
        event.preventDefault();
    }
}

export function cell(className: string, ...children: (Node | string)[]): HTMLElement {
    return el("span", { role: "gridcell", class: className }, ...children);
}
