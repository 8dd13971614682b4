// What the page and its worker say to each other. One worker serves one question and then ends, so
// that nothing of a large report stays in its memory.

import { Choices } from "../model/choices_file";
import { Pairs, PairsQuestion } from "../model/pairs";
import { ProblemKind } from "../report/problem";
import { Report } from "../report/report";

export type Question =
    | { readonly kind: "report"; readonly file: File }
    | { readonly kind: "choices"; readonly file: File }
    | { readonly kind: "pairs"; readonly question: PairsQuestion };

export type Answer =
    | { readonly kind: "progress"; readonly bytes: number }
    | { readonly kind: "report"; readonly report: Report }
    | { readonly kind: "sum"; readonly sha256: string } // after the report
    | { readonly kind: "choices"; readonly choices: Choices }
    | { readonly kind: "pairs"; readonly pairs: Pairs }
    | { readonly kind: "problem"; readonly problem: ProblemKind; readonly line: number };
