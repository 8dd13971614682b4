// What a screen reader is told, and everybody sees for a few seconds.

import { el } from "./dom";

const SHOWN = 5000; // ms

export class Announcer {
    readonly element = el("div", { class: "announcer", role: "status", "aria-live": "polite" });
    private timer = 0;

    say(text: string): void {
        this.element.textContent = text;
        clearTimeout(this.timer);
        this.timer = window.setTimeout(() => this.element.replaceChildren(), SHOWN);
    }
}
