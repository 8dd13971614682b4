// Where the ignored groups stay between two reports: the browser's storage, which Chromium and Firefox
// share among all local files. It may be refused, or full; the saved selection holds the same list.

const KEY = "larkspine.ignored";

export function loadIgnored(): string[][] {
    try {
        const kept: unknown = JSON.parse(localStorage.getItem(KEY) ?? "[]");
        return Array.isArray(kept) ? kept.filter(isPaths) : [];
    } catch {
        return [];
    }
}

export function keepIgnored(entries: readonly (readonly string[])[]): boolean {
    try {
        localStorage.setItem(KEY, JSON.stringify(entries));
        return true;
    } catch {
        return false;
    }
}

function isPaths(entry: unknown): entry is string[] {
    return Array.isArray(entry) && entry.every((path) => typeof path === "string");
}
