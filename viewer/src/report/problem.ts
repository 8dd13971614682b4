// Why a file cannot be read, with the line as a text editor counts it. The words are in text/.

export type ProblemKind =
    | "header"    // another first line, or none
    | "cut"       // ends within a line or within a group
    | "utf8"
    | "fields"    // not four, or quotes out of place
    | "group"     // not the number of the row before, nor one more
    | "status"    // not "Original" first and "Doublon" after it
    | "size"      // no number, too large, or not that of the group
    | "twice"     // a path that the group already has
    | "single"    // a group of one file
    | "choices"   // a row that no saved selection has
    | "unreadable"; // the browser does not hand the file out

export class Problem extends Error {
    constructor(readonly kind: ProblemKind, readonly line: number) {
        super(`${kind}, line ${line}`);
    }
}
