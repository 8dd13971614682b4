// A question with buttons. The answer is the key of one, or "" when it is closed.

import { button, el } from "./dom";

export function ask(parent: HTMLElement, title: string, paragraphs: readonly string[],
                    answers: readonly (readonly [string, string])[], close: string): Promise<string> {
    return new Promise((resolve) => {
        const heading = el("h2", { id: "question" }, title);
        const dialog = el("dialog", { "aria-labelledby": "question", class: "question" }, heading,
                          ...paragraphs.map((text) => el("p", {}, text)));
        const row = el("div", { class: "buttons" });
        for (const [key, text] of answers)
            row.append(button(text, () => dialog.close(key), { class: "primary" }));
        row.append(button(close, () => dialog.close("")));
        dialog.append(row);
        dialog.addEventListener("close", () => {
            dialog.remove();
            resolve(dialog.returnValue);
        });
        parent.append(dialog);
        dialog.showModal();
    });
}
