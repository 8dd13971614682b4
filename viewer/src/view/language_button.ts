import { button } from "./dom";
import type { Page } from "./page";

export function languageButton(page: Page): HTMLButtonElement {
    const { texts, language } = page.words;
    const other = language === "fr" ? "en" : "fr";
    return button(texts.otherLanguage, () => page.go({ language: other }),
                  { class: "quiet", lang: other, title: texts.otherLanguageLabel });
}
