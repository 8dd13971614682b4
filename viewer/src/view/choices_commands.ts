// Saving the selection and loading it again.

import { rowsOfChoices, writeChoices } from "../model/choices_file";
import { loadChoices as readInWorker } from "../worker/worker_client";
import { ask } from "./ask";
import { el } from "./dom";
import type { Page } from "./page";
import type { Session } from "./session";

export async function saveChoices(page: Page, session: Session): Promise<void> {
    const { texts } = page.words;
    page.announcer.say(texts.saving);
    let sha256: string;
    try {
        sha256 = await session.sha256;
    } catch (error) {
        page.announcer.say(page.words.problem(error));
        return;
    }
    const pieces = writeChoices(session.report, sha256, session.file.size, session.selection,
                                session.ignored.paths);
    const address = URL.createObjectURL(new Blob(pieces, { type: "text/csv" }));
    const link = el("a", { href: address, download: `Selection_${session.file.name}` });
    link.click();
    // The browser takes the contents after the click; there is no event that says when.
    window.setTimeout(() => URL.revokeObjectURL(address), 60_000);
    session.saved = true;
    page.announcer.say(texts.saved(page.words.files(session.selection.count)));
}

export async function loadChoices(page: Page, session: Session, file: File): Promise<void> {
    const { texts } = page.words;
    try {
        const choices = await readInWorker(file);
        const rows = rowsOfChoices(session.report, choices);
        const all = choices.chosen.length;
        if (choices.sha256 !== await session.sha256) {
            const paragraphs = [texts.foreignText(page.words.files(rows.length), page.words.files(all))];
            if (choices.ignored.length > 0)
                paragraphs.push(texts.foreignIgnored(page.words.groups(choices.ignored.length)));
            const answer = await ask(document.body, texts.foreignTitle, paragraphs,
                                     [["take", texts.foreignTake]], texts.foreignLeave);
            if (answer !== "take") return;
        }
        if (choices.ignored.length > 0) session.addIgnored(choices.ignored);
        const refused = session.choose(session.selection.rows(), rows);
        const missing = all - rows.length + refused;
        const files = page.words.files(session.selection.count);
        page.announcer.say(missing === 0 ? texts.loaded(files)
            : texts.loadedPart(files, page.words.files(missing)));
    } catch (error) {
        page.announcer.say(page.words.problem(error));
    }
}
