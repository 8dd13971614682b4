// Names are whatever somebody called a file. Signs that show nothing, or turn the direction of what
// follows, are written out as their numbers, so that no name looks like another.

import { el } from "./dom";

const UNSEEN = new RegExp("[\\u0000-\\u001f\\u007f-\\u009f\\u00ad\\u034f\\u061c\\u115f\\u1160" +
    "\\u17b4\\u17b5\\u180b-\\u180f\\u200b-\\u200f\\u2028-\\u202f\\u2060-\\u206f\\u3164\\ufe00-\\ufe0f" +
    "\\ufeff\\uffa0\\ufff0-\\ufffc\\u{e0000}-\\u{e0fff}]", "gu");

export function visible(text: string): string {
    return text.replace(UNSEEN, markOf);
}

export function appendVisible(parent: Element, text: string): void {
    let from = 0;
    for (const found of text.matchAll(UNSEEN)) {
        if (found.index > from) parent.append(text.slice(from, found.index));
        parent.append(el("span", { class: "unseen" }, markOf(found[0])));
        from = found.index + found[0].length;
    }
    if (from < text.length) parent.append(text.slice(from));
}

function markOf(sign: string): string {
    return `⟨U+${sign.codePointAt(0)!.toString(16).toUpperCase().padStart(4, "0")}⟩`;
}
