// The steps of a test on the page. It reads what a person would read; numbers carry their exact value
// beside the text.
import { readFileSync } from "node:fs";
import { basename } from "node:path";
import { PAGE } from "./browser.mjs";

export class ViewerPage {
    constructor(page) {
        this.page = page;
        this.wrong = [];
        page.on("pageerror", (error) => this.wrong.push(error.message));
        page.on("console", (message) => {
            if (message.type() === "error") this.wrong.push(message.text());
        });
    }

    static async open(started, hash = "", viewport = { width: 1280, height: 800 }) {
        const page = await started.browser.newPage();
        await page.setViewport(viewport);
        const viewer = new ViewerPage(page);
        await page.goto(PAGE + hash);
        await page.waitForSelector(".drop");
        return viewer;
    }

    // As if the file were dragged onto the page.
    async drop(path, bytes = readFileSync(path)) {
        await this.page.evaluate((name, text) => {
            const bytes = Uint8Array.from(atob(text), (sign) => sign.charCodeAt(0));
            const transfer = new DataTransfer();
            transfer.items.add(new File([bytes], name, { type: "text/csv" }));
            const options = { dataTransfer: transfer, bubbles: true, cancelable: true };
            for (const kind of ["dragenter", "dragover", "drop"])
                document.querySelector("main").dispatchEvent(new DragEvent(kind, options));
        }, basename(path), bytes.toString("base64"));
    }

    async openReport(path) {
        await this.drop(path);
        await this.page.waitForSelector(".workspace");
    }

    async choose(path) {
        const [chooser] = await Promise.all([
            this.page.waitForFileChooser(), this.page.click(".drop button")]);
        await chooser.accept([path]);
    }

    async problem() {
        await this.page.waitForSelector(".problem p");
        return this.text(".problem p");
    }

    text(selector) {
        return this.page.$eval(selector, (element) => element.textContent);
    }

    texts(selector) {
        return this.page.$$eval(selector, (elements) => elements.map((element) => element.textContent));
    }

    numbers(selector) {
        return this.page.$$eval(selector, (elements) =>
            elements.map((element) => Number(element.getAttribute("value"))));
    }

    // The rows of a table, each with its text and its two numbers.
    table(id) {
        return this.page.$$eval(`#${id} tbody tr`, (rows) => rows.map((row) =>
            [row.querySelector("th").textContent,
             ...[...row.querySelectorAll("data")].map((one) => Number(one.value))]));
    }

    async view(name) {
        await this.page.evaluate((text) => {
            [...document.querySelectorAll("nav a")].find((link) => link.textContent === text).click();
        }, name);
    }

    async button(text) {
        await this.page.evaluate((wanted) => {
            const buttons = [...document.querySelectorAll("dialog[open] button, button")];
            buttons.find((button) => button.textContent === wanted).click();
        }, text);
    }

    // Waits until the address holds `part`, which is the text itself unless given.
    async type(label, text, part = text) {
        const input = await this.input(label);
        await input.evaluate((element) => { element.value = ""; });
        await input.type(text);
        await this.page.waitForFunction((value) =>
            new URLSearchParams(location.hash.slice(1)).toString().includes(
                new URLSearchParams([["x", value]]).toString().slice(1)), {}, part);
    }

    async input(label) {
        return this.page.evaluateHandle((wanted) => [...document.querySelectorAll("label")]
            .find((one) => one.textContent.startsWith(wanted)).querySelector("input, select"), label);
    }

    async keys(...keys) {
        for (const key of keys) await this.page.keyboard.press(key);
    }

    selection() {
        return this.numbers("footer .amount data");
    }

    found() {
        return this.numbers(".found data");
    }

    announced() {
        return this.text(".announcer");
    }
}

export async function until(ask, wanted, time = 10_000) {
    const end = Date.now() + time;
    let last;
    do {
        last = await ask();
        if (wanted(last)) return last;
        await new Promise((resolve) => setTimeout(resolve, 20));
    } while (Date.now() < end);
    throw new Error(`still ${JSON.stringify(last)}`);
}
