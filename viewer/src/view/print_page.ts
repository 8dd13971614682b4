// What is printed: the summary and the first groups in the order and filter of the screen.

import { isNamed, pathOf } from "../report/report";
import { Words } from "../text/words";
import { el } from "./dom";
import type { Session } from "./session";
import { visible } from "./visible_text";

const MOST_GROUPS = 50;
const MOST_FILES = 12; // of one group

export function printPage(words: Words, session: Session, summary: Element): DocumentFragment {
    const { texts } = words;
    const { report } = session;
    const listed = session.listedGroups().subarray(0, MOST_GROUPS);
    const page = document.createDocumentFragment();
    const order = texts.orders[session.place.order].toLowerCase();
    page.append(el("h1", {}, texts.printTitle), el("p", {}, visible(session.file.name)), summary,
                el("h2", {}, `${texts.printGroups(words.count(listed.length))} (${order})`));
    for (const group of listed) {
        const files = session.filesOf(group);
        const size = report.groupSize[group]!;
        const list = el("ul");
        const start = report.groupStart[group]!;
        for (let row = start; row < start + Math.min(files, MOST_FILES); ++row)
            list.append(el("li", {}, session.selection.chosen[row] === 1 ? "☑ " : "☐ ",
                           isNamed(report, row) ? visible(pathOf(report, row)) : texts.unnamed));
        if (files > MOST_FILES)
            list.append(el("li", {}, texts.printMore(words.files(files - MOST_FILES))));
        page.append(el("section", { class: "printed-group" },
            el("h3", {}, `${texts.groupName(words.count(group + 1))} · ${words.files(files)} × ${
                words.bytes(size)} · ${texts.wastedColumn.toLowerCase()} ${words.bytes(size * (files - 1))}`), list));
    }
    return page;
}
