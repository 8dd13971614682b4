// What a person meets first: a place for the report, and what the page does not do.

import { button, chooseFile, el } from "./dom";
import { languageButton } from "./language_button";
import type { Page } from "./page";
import { visible } from "./visible_text";

export class Landing {
    readonly element: HTMLElement;
    private readonly message = el("div", { class: "message", "aria-live": "polite" });
    private readonly alert = el("div", { class: "problem", role: "alert" });
    private readonly words;

    constructor(page: Page) {
        this.words = page.words;
        const { texts } = page.words;
        this.element = el("div", { class: "landing" },
            el("header", { class: "top" }, el("span", { class: "product" }, texts.product),
               el("span", { class: "gap" }), languageButton(page)),
            el("main", {},
               el("h1", {}, texts.landingTitle),
               el("div", { class: "drop" },
                  el("p", {}, texts.landingDrop), el("p", { class: "soft" }, texts.landingOr),
                  button(texts.landingChoose, () => chooseFile((file) => void page.open(file)),
                         { class: "primary" })),
               this.alert, this.message,
               el("ul", { class: "promises" },
                  ...texts.landingPoints.map((text) => el("li", {}, text)))));
    }

    showProgress(share: number): void {
        const text = this.words.texts.reading(this.words.percent(Math.floor(share * 100) / 100));
        this.alert.replaceChildren();
        this.message.replaceChildren(
            el("progress", { max: "1", value: String(share), "aria-label": text }), text);
    }

    showProblem(sentence: string, name: string): void {
        this.message.replaceChildren();
        this.alert.replaceChildren(el("strong", {}, visible(name)), el("p", {}, sentence));
    }
}
