// The page's side of the worker. From a local file a worker loads only from a blob.

import workerSource from "worker_source";
import { Choices } from "../model/choices_file";
import { Pairs, PairsQuestion } from "../model/pairs";
import { Problem } from "../report/problem";
import { Report } from "../report/report";
import { Answer, Question } from "./messages";

export interface Loaded {
    readonly report: Report;
    readonly sha256: Promise<string>; // comes after the report
}

export function loadReport(file: File, progress: (bytes: number) => void): Promise<Loaded> {
    return new Promise((resolve, reject) => {
        let sumFound: (sha256: string) => void;
        let sumLost: (problem: Problem) => void;
        const sha256 = new Promise<string>((found, lost) => {
            sumFound = found;
            sumLost = lost;
        });
        sha256.catch(() => undefined); // whoever saves a selection hears of it
        ask({ kind: "report", file }, (answer) => {
            if (answer.kind === "progress") progress(answer.bytes);
            else if (answer.kind === "report") resolve({ report: answer.report, sha256 });
            else if (answer.kind === "sum") {
                sumFound(answer.sha256);
                return true;
            }
            return false;
        }, (problem) => {
            reject(problem);
            sumLost(problem);
        });
    });
}

export function loadChoices(file: File): Promise<Choices> {
    return new Promise((resolve, reject) => {
        ask({ kind: "choices", file }, (answer) => {
            if (answer.kind === "choices") resolve(answer.choices);
            return true;
        }, reject);
    });
}

// `stop` ends the counting; the promise then never settles.
export function countPairs(question: PairsQuestion): { pairs: Promise<Pairs>; stop: () => void } {
    let stop = (): void => undefined;
    const pairs = new Promise<Pairs>((resolve, reject) => {
        stop = ask({ kind: "pairs", question }, (answer) => {
            if (answer.kind === "pairs") resolve(answer.pairs);
            return true;
        }, reject);
    });
    return { pairs, stop };
}

function ask(question: Question, hear: (answer: Answer) => boolean,
             fail: (problem: Problem) => void): () => void {
    const address = URL.createObjectURL(new Blob([workerSource], { type: "text/javascript" }));
    const worker = new Worker(address);
    const end = (): void => {
        worker.terminate();
        URL.revokeObjectURL(address);
    };
    worker.onmessage = (event: MessageEvent<Answer>) => {
        if (event.data.kind === "problem") {
            end();
            fail(new Problem(event.data.problem, event.data.line));
        } else if (hear(event.data)) {
            end();
        }
    };
    worker.onerror = () => {
        end();
        fail(new Problem("unreadable", 1));
    };
    worker.postMessage(question);
    return end;
}
