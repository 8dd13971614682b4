// A path in a cell: the folder in three parts, of which the middle one tells it apart, then the name.

import { el } from "./dom";
import { Difference } from "./path_difference";
import { appendVisible, visible } from "./visible_text";

export function pathCell(folder: string, name: string, difference: Difference): HTMLElement {
    const middle = Math.max(difference.lead, folder.length - difference.tail);
    const told = difference.lead > 0 || difference.tail > 0;
    return el("span", { class: told ? "path told" : "path", dir: "ltr", title: visible(folder + name) },
              part("lead", folder.slice(0, difference.lead)),
              part("differs", folder.slice(difference.lead, middle)),
              part("lead", folder.slice(middle)),
              part("name", name));
}

export function plainPath(path: string): HTMLElement {
    const element = el("span", { class: "path", dir: "ltr", title: visible(path) });
    appendVisible(element, path);
    return element;
}

function part(className: string, text: string): HTMLElement {
    const element = el("bdi", { class: className });
    appendVisible(element, text);
    return element;
}
