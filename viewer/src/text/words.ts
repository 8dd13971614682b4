// Texts and numbers of one language.

import { Language } from "../model/address";
import { Problem } from "../report/problem";
import { en } from "./en";
import { fr, Texts } from "./fr";

export class Words {
    readonly texts: Texts;
    private readonly whole: Intl.NumberFormat;

    constructor(readonly language: Language) {
        this.texts = language === "fr" ? fr : en;
        this.whole = new Intl.NumberFormat(this.texts.locale);
    }

    count(n: number): string {
        return this.whole.format(n);
    }

    // In units of 1024, three digits: "3,42 Gio".
    bytes(n: number): string {
        let unit = 0;
        let value = n;
        while (value >= 1024 && unit < this.texts.units.length - 1) {
            value /= 1024;
            ++unit;
        }
        const digits = unit === 0 || value >= 99.95 ? 0 : value >= 9.995 ? 1 : 2;
        const number = new Intl.NumberFormat(this.texts.locale, { maximumFractionDigits: digits });
        return `${number.format(value)}\u00a0${this.texts.units[unit]!}`;
    }

    percent(share: number): string {
        if (share > 0 && share < 0.0005) return `< ${this.percent(0.001)}`;
        return new Intl.NumberFormat(this.texts.locale, {
            style: "percent", maximumFractionDigits: share < 0.0995 ? 1 : 0,
        }).format(share);
    }

    groups(n: number): string {
        return this.texts.groups(this.count(n), this.isOne(n));
    }

    files(n: number): string {
        return this.texts.files(this.count(n), this.isOne(n));
    }

    copies(n: number): string {
        return this.texts.copies(this.count(n), this.isOne(n));
    }

    problem(error: unknown): string {
        const { kind, line } = error instanceof Problem ? error : new Problem("unreadable", 1);
        return this.texts.problems[kind](this.count(line));
    }

    // French counts nought as one.
    private isOne(n: number): boolean {
        return n === 1 || (n === 0 && this.language === "fr");
    }
}
