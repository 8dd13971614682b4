// The rows of given paths. Only folders that one of the paths names are looked through, so nothing
// is built for the other rows.

import { folderOf } from "../report/paths";
import { findFolder, pathOf, Report } from "../report/report";

export function findRows(report: Report, paths: Iterable<string>): Map<string, number> {
    const wanted = new Set(paths);
    wanted.delete("");
    const folders = new Uint8Array(report.folderCount);
    const looked = new Set<string>();
    for (const path of wanted) looked.add(folderOf(path));
    for (const path of looked) {
        const folder = findFolder(report, path);
        if (folder >= 0) folders[folder] = 1;
    }
    const rows = new Map<string, number>();
    for (let row = 0; row < report.rowCount; ++row) {
        if (folders[report.folder[row]!] === 0) continue;
        const path = pathOf(report, row);
        if (wanted.has(path)) rows.set(path, row);
    }
    return rows;
}
