// The view as the part of the address behind #, so that a bookmark brings it back. The report is not
// in it: the page asks for the file, then shows this view of it.

import { Filter, NO_FILTER, Status } from "./filter";
import { GROUP_ORDERS, GroupOrder } from "./group_order";

export const VIEWS = ["summary", "groups", "folders", "pairs"] as const;
export type View = (typeof VIEWS)[number];
export type Language = "fr" | "en";

export interface Place {
    readonly view: View;
    readonly order: GroupOrder;
    readonly filter: Filter;
    readonly language: Language;
}

export const START: Place = { view: "summary", order: "wasted", filter: NO_FILTER, language: "fr" };

const VIEW_WORDS = ["resume", "groupes", "dossiers", "paires"];
const ORDER_WORDS = ["gaspillage", "nombre", "taille", "chemin"];
const STATUS_WORDS = ["", "original", "doublon"];
const STATUSES: readonly Status[] = ["all", "original", "copy"];

export function writeAddress(place: Place): string {
    const { filter } = place;
    const words = new URLSearchParams();
    words.set("vue", VIEW_WORDS[VIEWS.indexOf(place.view)]!);
    if (place.order !== START.order) words.set("tri", ORDER_WORDS[GROUP_ORDERS.indexOf(place.order)]!);
    if (filter.text !== "") words.set("texte", filter.text);
    if (filter.folder !== "") words.set("dossier", filter.folder);
    if (filter.direct) words.set("direct", "1");
    for (const folder of filter.pair) words.append("paire", folder);
    for (const extension of filter.extensions) words.append("type", extension);
    if (filter.leastSize > 0) words.set("min", String(filter.leastSize));
    if (filter.mostSize !== Infinity) words.set("max", String(filter.mostSize));
    if (filter.status !== "all") words.set("statut", STATUS_WORDS[STATUSES.indexOf(filter.status)]!);
    for (const folder of filter.hidden) words.append("masque", folder);
    if (filter.ignored) words.set("ignores", "1");
    if (place.language !== START.language) words.set("langue", place.language);
    return "#" + words.toString();
}

// Whatever the address does not say, or says wrongly, is as at the start.
export function readAddress(hash: string): Place {
    const words = new URLSearchParams(hash.replace(/^#/, ""));
    const pair = words.getAll("paire");
    return {
        view: VIEWS[VIEW_WORDS.indexOf(words.get("vue") ?? "")] ?? START.view,
        order: GROUP_ORDERS[ORDER_WORDS.indexOf(words.get("tri") ?? "")] ?? START.order,
        language: words.get("langue") === "en" ? "en" : "fr",
        filter: {
            text: words.get("texte") ?? "",
            folder: words.get("dossier") ?? "",
            direct: words.get("direct") === "1",
            pair: pair.length === 2 ? pair : [],
            extensions: words.getAll("type"),
            leastSize: wholeNumber(words.get("min"), 0),
            mostSize: wholeNumber(words.get("max"), Infinity),
            status: STATUSES[STATUS_WORDS.indexOf(words.get("statut") ?? "")] ?? "all",
            hidden: words.getAll("masque"),
            ignored: words.get("ignores") === "1",
        },
    };
}

export function isFiltered(filter: Filter): boolean {
    return writeAddress({ ...START, filter }) !== writeAddress(START);
}

function wholeNumber(text: string | null, otherwise: number): number {
    return text !== null && /^[0-9]{1,15}$/.test(text) ? Number(text) : otherwise;
}
