// Runs in the worker: reads files and counts pairs, so that the page stays free.

import { readChoices } from "../model/choices_file";
import { findPairs } from "../model/pairs";
import { Problem } from "../report/problem";
import { Report } from "../report/report";
import { readReport } from "../report/report_reader";
import { sha256OfFile } from "../report/sha256";
import { Answer, Question } from "./messages";

interface Scope {
    onmessage: ((event: MessageEvent<Question>) => void) | null;
    postMessage(answer: Answer, transfer: Transferable[]): void;
}

const scope = self as unknown as Scope;

function say(answer: Answer, transfer: Transferable[] = []): void {
    scope.postMessage(answer, transfer);
}

async function answer(question: Question): Promise<void> {
    switch (question.kind) {
        case "report": {
            const report = await readReport(question.file, (bytes) => say({ kind: "progress", bytes }));
            say({ kind: "report", report }, buffersOf(report));
            say({ kind: "sum", sha256: await sha256OfFile(question.file) });
            return;
        }
        case "choices":
            say({ kind: "choices", choices: await readChoices(question.file) });
            return;
        case "pairs":
            say({ kind: "pairs", pairs: findPairs(question.question) });
    }
}

function buffersOf(report: Report): ArrayBuffer[] {
    const found = new Set<ArrayBuffer>();
    for (const value of [report, report.names, report.folders].flatMap((part) => Object.values(part)))
        if (ArrayBuffer.isView(value)) found.add(value.buffer as ArrayBuffer);
    return [...found];
}

scope.onmessage = (event) => {
    answer(event.data).catch((error: unknown) => {
        if (error instanceof Problem)
            say({ kind: "problem", problem: error.kind, line: error.line });
        else throw error;
    });
};
