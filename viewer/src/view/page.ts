// The page as a whole: a place to drop the report on, then the workspace over it. The address behind #
// is the one truth about what is shown.

import { CHOICES_HEADER } from "../model/choices_file";
import { Language, Place, readAddress, writeAddress } from "../model/address";
import { Filter } from "../model/filter";
import { Words } from "../text/words";
import { loadReport } from "../worker/worker_client";
import { Announcer } from "./announcer";
import { ask } from "./ask";
import { Landing } from "./landing";
import { Session } from "./session";
import { Workspace } from "./workspace";

export class Page {
    readonly announcer = new Announcer();
    place: Place;
    words: Words;
    private session: Session | null = null;
    private workspace: Workspace | null = null;
    private landing: Landing | null = null;
    private reading = false;

    constructor(private readonly body: HTMLElement) {
        this.place = readAddress(location.hash);
        this.words = new Words(this.place.language);
    }

    start(): void {
        this.build();
        window.addEventListener("hashchange", () => {
            if (location.hash !== writeAddress(this.place)) this.arrive(readAddress(location.hash));
        });
        window.addEventListener("beforeunload", (event) => {
            if (this.session !== null && !this.session.saved) event.preventDefault();
        });
        document.addEventListener("dragover", (event) => {
            event.preventDefault();
            this.body.classList.add("dragging");
        });
        document.addEventListener("dragleave", (event) => {
            if (event.relatedTarget === null) this.body.classList.remove("dragging");
        });
        document.addEventListener("drop", (event) => {
            event.preventDefault();
            this.body.classList.remove("dragging");
            const file = event.dataTransfer?.files[0];
            if (file !== undefined) void this.open(file);
        });
        document.addEventListener("keydown", (event) => {
            const typing = event.target instanceof HTMLInputElement && event.target.type === "text";
            if (event.key === "z" && (event.ctrlKey || event.metaKey) && !typing)
                this.workspace?.undo();
        });
    }

    // A step that the browser's Back undoes, unless the address is only `refined`, as by typing.
    go(change: Partial<Place>, refined = false): void {
        const place = { ...this.place, ...change };
        const hash = writeAddress(place);
        if (hash === writeAddress(this.place)) return;
        if (refined) location.replace(hash);
        else location.hash = hash;
        this.arrive(place);
    }

    filter(change: Partial<Filter>, refined = false): void {
        this.go({ filter: { ...this.place.filter, ...change } }, refined);
    }

    async open(file: File): Promise<void> {
        if (this.reading) return;
        if (this.session !== null && await this.isChoices(file)) {
            await this.workspace?.loadChoices(file);
            return;
        }
        const { texts } = this.words;
        if (this.session !== null && !this.session.saved) {
            const answer = await ask(this.body, texts.leaveTitle, [texts.leaveText],
                                     [["go", texts.leaveGo]], texts.cancel);
            if (answer !== "go") return;
        }
        this.session = null;
        this.reading = true;
        this.build();
        this.landing?.showProgress(0);
        try {
            const loaded = await loadReport(file, (bytes) =>
                this.landing?.showProgress(bytes / Math.max(1, file.size)));
            this.session = new Session(file, loaded, this.place);
            this.reading = false;
            this.build();
            const { rowCount, groupCount } = loaded.report;
            this.announcer.say(texts.opened(this.words.files(rowCount), this.words.groups(groupCount)));
        } catch (error) {
            this.reading = false;
            this.landing?.showProblem(this.words.problem(error), file.name);
        }
    }

    private async isChoices(file: File): Promise<boolean> {
        try {
            const start = await file.slice(0, 200).text();
            return start.replace(/^\ufeff/, "").startsWith(CHOICES_HEADER + "\r\n");
        } catch {
            return false; // reading it as a report says why
        }
    }

    private arrive(place: Place): void {
        const language: Language = this.place.language;
        this.place = place;
        this.session?.setPlace(place);
        if (place.language !== language) {
            this.words = new Words(place.language);
            this.build();
        } else {
            this.workspace?.show();
        }
    }

    private build(): void {
        const { texts, language } = this.words;
        document.documentElement.lang = language;
        document.title = texts.title;
        this.workspace = null;
        this.landing = null;
        if (this.session !== null) {
            this.workspace = new Workspace(this, this.session);
            this.body.replaceChildren(this.workspace.element, this.announcer.element);
            this.workspace.show();
        } else {
            this.landing = new Landing(this);
            this.body.replaceChildren(this.landing.element, this.announcer.element);
        }
    }
}
