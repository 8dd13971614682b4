// The selection at the bottom of every view: how many files, how many bytes, and what to do with it.

import { button, chooseFile, data, el } from "./dom";
import type { Workspace } from "./workspace";

export class Footer {
    readonly element: HTMLElement;
    private readonly amount = el("span", { class: "amount" });
    private readonly undo: HTMLButtonElement;
    private readonly clear: HTMLButtonElement;

    constructor(private readonly workspace: Workspace) {
        const { page, session } = workspace;
        const { texts } = page.words;
        this.undo = button(texts.undo, () => workspace.undo());
        this.clear = button(texts.clear, () => void session.choose(session.selection.rows(), []));
        this.element = el("footer", { "aria-label": texts.selection },
            el("span", { class: "label" }, texts.selection), this.amount, el("span", { class: "gap" }),
            button(texts.rule, () => workspace.openRule(), { class: "primary" }),
            this.undo, this.clear,
            button(texts.save, () => void workspace.saveChoices()),
            button(texts.load, () => chooseFile((file) => void workspace.loadChoices(file))));
    }

    show(): void {
        const { words } = this.workspace.page;
        const { selection } = this.workspace.session;
        this.amount.replaceChildren(data(selection.count, words.files(selection.count)), ", ",
                                    data(selection.bytes, words.bytes(selection.bytes)));
        this.undo.disabled = !selection.canUndo;
        this.clear.disabled = selection.count === 0;
    }
}
