// Choosing by rule, with its outcome before it is applied.

import { planRule, Rule } from "../model/rules";
import { findFolder } from "../report/report";
import { button, el, labelled } from "./dom";
import type { Page } from "./page";
import type { Session } from "./session";

const KINDS = ["keepBelow", "markBelow", "keepShortest", "keepOriginal"] as const;
const TYPING = 200;

export class RuleDialog {
    private readonly dialog = el("dialog", { class: "rule", "aria-labelledby": "rule-title" });
    private readonly folder = el("input", {
        type: "text", list: "folders", autocomplete: "off", spellcheck: "false",
    });
    private readonly result = el("p", { class: "result", role: "status" });
    private readonly apply: HTMLButtonElement;
    private timer = 0;

    constructor(private readonly page: Page, private readonly session: Session) {
        const { texts } = page.words;
        this.apply = button(texts.ruleApply, () => this.applied(), { class: "primary" });
    }

    open(kind: Rule["kind"], folder: string): void {
        const { texts } = this.page.words;
        const { groupCount } = this.session.matches;
        this.folder.value = folder;
        const choices = KINDS.map((one) => {
            const radio = el("input", { type: "radio", name: "rule", value: one });
            radio.checked = one === kind;
            radio.addEventListener("change", () => this.changed());
            return el("label", { class: "choice-of-rule" }, radio, el("span", {},
                el("span", {}, texts.rules[one]), el("span", { class: "soft" }, texts.ruleNotes[one])));
        });
        this.folder.addEventListener("input", () => {
            clearTimeout(this.timer);
            this.timer = window.setTimeout(() => this.changed(), TYPING);
        });
        this.dialog.append(
            el("h2", { id: "rule-title" }, texts.ruleTitle),
            el("p", { class: "soft" }, texts.ruleScope(this.page.words.groups(groupCount))),
            el("div", { role: "radiogroup", "aria-labelledby": "rule-title" }, ...choices),
            labelled(texts.ruleFolder, this.folder), this.result,
            el("div", { class: "buttons" }, this.apply,
               button(texts.cancel, () => this.dialog.close())));
        this.dialog.addEventListener("close", () => this.dialog.remove());
        this.dialog.addEventListener("keydown", (event) => {
            if (event.key === "Enter" && event.target === this.folder) this.applied();
        });
        document.body.append(this.dialog);
        this.dialog.showModal();
        this.changed();
    }

    private rule(): Rule {
        const kind = this.dialog.querySelector<HTMLInputElement>("input:checked")!.value as Rule["kind"];
        return kind === "keepBelow" || kind === "markBelow" ? { kind, folder: this.folder.value }
            : { kind };
    }

    private isComplete(rule: Rule): boolean {
        return !("folder" in rule) ||
            (rule.folder !== "" && findFolder(this.session.report, rule.folder) >= 0);
    }

    private changed(): void {
        const { words } = this.page;
        const rule = this.rule();
        this.folder.disabled = !("folder" in rule);
        const complete = this.isComplete(rule);
        this.apply.disabled = !complete;
        if (!complete) {
            this.result.textContent = "folder" in rule && rule.folder !== ""
                ? words.texts.folderNotInReport : "";
            return;
        }
        const { selection, report, matches } = this.session;
        const { off, on } = planRule(report, matches, rule, selection.chosen);
        const outcome = selection.preview(off, on);
        this.result.textContent = words.texts.ruleResult(words.files(outcome.count),
                                                         words.bytes(outcome.bytes));
    }

    private applied(): void {
        const rule = this.rule();
        if (!this.isComplete(rule)) return;
        const { words, announcer } = this.page;
        const { selection, report, matches } = this.session;
        const { off, on } = planRule(report, matches, rule, selection.chosen);
        this.session.choose(off, on);
        this.dialog.close();
        announcer.say(words.texts.ruleDone(words.files(selection.count), words.bytes(selection.bytes)));
    }
}
