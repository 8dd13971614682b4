// Everything over an opened report: head, filters, one of four views, the selection at the bottom.

import { View, VIEWS, writeAddress } from "../model/address";
import { loadChoices, saveChoices } from "./choices_commands";
import { button, chooseFile, el } from "./dom";
import { FilterBar } from "./filter_bar";
import { FoldersView } from "./folders_view";
import { Footer } from "./footer";
import { GroupsView } from "./groups_view";
import { languageButton } from "./language_button";
import type { Page } from "./page";
import { PairsView } from "./pairs_view";
import { printPage } from "./print_page";
import { RuleDialog } from "./rule_dialog";
import type { Session } from "./session";
import { SummaryView } from "./summary_view";
import { visible } from "./visible_text";

export interface ViewPart {
    readonly element: HTMLElement;
    show(): void;
    selectionChanged?(): void;
    leave?(): void;
}

export class Workspace {
    readonly element: HTMLElement;
    private readonly links = new Map<View, HTMLAnchorElement>();
    private readonly filters: FilterBar;
    private readonly footer: Footer;
    private readonly main = el("main", { id: "main" });
    private readonly printed = el("div", { class: "printed" });
    private readonly views = new Map<View, ViewPart>();
    private shown: ViewPart | null = null;

    constructor(readonly page: Page, readonly session: Session) {
        const { texts, bytes } = { texts: page.words.texts, bytes: page.words.bytes(session.file.size) };
        const nav = el("nav", { "aria-label": texts.viewsLabel });
        for (const view of VIEWS) {
            const link = el("a", {}, texts.views[view]);
            link.addEventListener("click", (event) => {
                event.preventDefault();
                page.go({ view });
            });
            this.links.set(view, link);
            nav.append(link);
        }
        this.filters = new FilterBar(page, session);
        this.footer = new Footer(this);
        this.element = el("div", { class: "workspace" },
            el("header", { class: "top" },
               el("h1", { class: "heard" }, visible(session.file.name)),
               el("span", { class: "product" }, texts.product), nav,
               el("span", { class: "report", title: visible(session.file.name) },
                  `${visible(session.file.name)} · ${bytes}`),
               button(texts.openAnother, () => chooseFile((file) => void page.open(file)),
                      { class: "quiet" }),
               button(texts.print, () => window.print(), { class: "quiet" }),
               languageButton(page)),
            this.filters.element, this.main, this.footer.element, this.printed);
        session.selectionChanged = () => {
            this.footer.show();
            this.shown?.selectionChanged?.();
        };
        window.onbeforeprint = () => {
            const summary = new SummaryView(this);
            summary.show();
            this.printed.replaceChildren(printPage(page.words, session, summary.element));
        };
        window.onafterprint = () => this.printed.replaceChildren();
    }

    show(): void {
        const { page } = this;
        for (const [view, link] of this.links) {
            link.href = writeAddress({ ...page.place, view });
            if (view === page.place.view) link.setAttribute("aria-current", "page");
            else link.removeAttribute("aria-current");
        }
        this.filters.show();
        this.footer.show();
        const part = this.view(page.place.view);
        if (part !== this.shown) {
            this.shown?.leave?.();
            this.shown = part;
            this.main.replaceChildren(part.element);
        }
        part.show();
    }

    undo(): void {
        if (this.session.undo()) this.page.announcer.say(this.page.words.texts.undone);
    }

    openRule(kind: "keepBelow" | "markBelow" = "keepBelow", folder = ""): void {
        new RuleDialog(this.page, this.session).open(kind, folder || this.page.place.filter.folder);
    }

    async saveChoices(): Promise<void> {
        await saveChoices(this.page, this.session);
    }

    async loadChoices(file: File): Promise<void> {
        await loadChoices(this.page, this.session, file);
        this.show();
    }

    private view(view: View): ViewPart {
        let part = this.views.get(view);
        if (part === undefined) {
            part = view === "summary" ? new SummaryView(this) : view === "groups" ? new GroupsView(this)
                : view === "folders" ? new FoldersView(this) : new PairsView(this);
            this.views.set(view, part);
        }
        return part;
    }
}
