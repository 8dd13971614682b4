// A report out of its file; the format is in docs/report-format.md.

import { Progress, readRecords } from "./csv_records";
import { Problem } from "./problem";
import { Report } from "./report";
import { ReportBuilder } from "./report_builder";

const HEADER = "Groupe;Statut;Chemin complet;Taille en octets";

export async function readReport(file: Blob, progress: Progress): Promise<Report> {
    const builder = new ReportBuilder();
    let seenHeader = false;
    const last = await readRecords(file, (fields, line) => {
        if (line > 1) builder.add(fields, line);
        else if (fields.join(";") !== HEADER) throw new Problem("header", 1);
        else seenHeader = true;
    }, progress);
    if (!seenHeader) throw new Problem("header", 1);
    return builder.finish(last);
}
