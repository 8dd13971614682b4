// Where the folders of a group differ: the part between what all begin with and what all end with.

export interface Difference {
    readonly lead: number; // units that all folders begin with, whole parts only
    readonly tail: number; // units that all end with
}

export function findDifference(folders: readonly string[]): Difference {
    const [first = "", ...others] = folders;
    let lead = first.length;
    let tail = first.length;
    for (const folder of others) {
        lead = Math.min(lead, alike(first, folder, 0));
        tail = Math.min(tail, alike(first, folder, 1));
    }
    lead = first.lastIndexOf("\\", lead - 1) + 1;
    // A part at the end counts when it follows a backslash.
    const shortest = Math.min(...folders.map((folder) => folder.length));
    tail = Math.min(tail, shortest - lead);
    const from = first.indexOf("\\", first.length - tail - 1);
    return { lead, tail: from < 0 ? 0 : Math.max(0, Math.min(tail, first.length - from - 1)) };
}

function alike(one: string, other: string, fromEnd: 0 | 1): number {
    const most = Math.min(one.length, other.length);
    let count = 0;
    while (count < most && (fromEnd === 0
        ? one.charCodeAt(count) === other.charCodeAt(count)
        : one.charCodeAt(one.length - 1 - count) === other.charCodeAt(other.length - 1 - count)))
        ++count;
    return count;
}
