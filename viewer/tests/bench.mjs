// Times and memory of the page over made-up reports, in both browsers.
//
//   node bench.mjs ROWS...
//
// A time begins with the person's step and ends with the second frame after its outcome is in the page.
// It includes reading, layout, painting, and the 150 ms that the page waits for the next key. A frame is
// the time between two callbacks for an animation frame. Memory is the peak of the page's process
// (VmHWM).
import { execFileSync } from "node:child_process";
import { closeSync, existsSync, mkdirSync, openSync, readdirSync, readFileSync, statSync } from "node:fs";
import { dirname, join } from "node:path";
import { fileURLToPath } from "node:url";
import { BROWSERS, startBrowser } from "./browser/browser.mjs";
import { ViewerPage } from "./browser/page.mjs";

const here = dirname(fileURLToPath(import.meta.url));
const folder = join(dirname(process.env.LARKSPINE_VIEWER), "bench");

function madeReport(rows) {
    mkdirSync(folder, { recursive: true });
    const path = join(folder, `${rows}.csv`);
    if (!existsSync(path)) {
        console.log(`Making a report of ${rows} rows`);
        const out = openSync(path, "w");
        execFileSync("python3", [join(here, "made_report.py"), rows], { stdio: ["ignore", out, "inherit"] });
        closeSync(out);
    }
    return path;
}

// The largest memory peak of the processes below `root`, in MiB.
function largestProcess(root) {
    const parents = new Map();
    for (const id of readdirSync("/proc").filter((name) => /^\d+$/.test(name))) {
        try {
            const status = readFileSync(`/proc/${id}/status`, "utf8");
            parents.set(Number(id), [Number(/^PPid:\s+(\d+)/m.exec(status)[1]),
                                     Number(/^VmHWM:\s+(\d+)/m.exec(status)?.[1] ?? 0)]);
        } catch { /* it has ended meanwhile */ }
    }
    const isBelow = (id) => id === root || (parents.has(id) && id > 1 && isBelow(parents.get(id)[0]));
    const sizes = [...parents].filter(([id]) => id !== root && isBelow(id)).map(([, [, size]]) => size);
    return Math.max(...sizes) / 1024;
}

// Runs in the page: does `step`, and returns the time until the second frame after it.
const timed = (step) => `(async () => {
    const start = performance.now();
    ${step}
    await new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done)));
    return performance.now() - start;
})()`;
const waitForFound = (text) => `
    const before = document.querySelector(".found").textContent;
    ${text}
    while (document.querySelector(".found").textContent === before)
        await new Promise((done) => setTimeout(done, 1));`;
const typeInto = (label, text) => waitForFound(`
    const input = [...document.querySelectorAll(".filters label")]
        .find((one) => one.textContent.startsWith(${JSON.stringify(label)})).querySelector("input");
    input.value = ${JSON.stringify(text)};
    input.dispatchEvent(new Event("input"));`);
const SCROLL = `(async () => {
    const grid = document.querySelector("#groups");
    const frames = [];
    let last = performance.now();
    for (let at = 0; at < 300; ++at) {
        // Wheel steps, and every thirtieth a drag of the bar to somewhere else.
        if (at % 30 === 29) grid.scrollTop = ((at * 7919) % 1000) / 1000 * grid.scrollHeight;
        else grid.scrollTop += 120;
        await new Promise((done) => requestAnimationFrame(done));
        const now = performance.now();
        frames.push(now - last);
        last = now;
    }
    return Math.max(...frames.slice(1));
})()`;

async function measure(name, path) {
    const started = await startBrowser(name);
    try {
        const viewer = await ViewerPage.open(started);
        const { page } = viewer;
        const start = Date.now();
        await viewer.choose(path);
        await page.waitForSelector(".workspace", { timeout: 300_000 });
        await page.evaluate(timed(""));
        const figures = { open: Date.now() - start };
        await viewer.view("Groupes");
        await page.waitForSelector("#groups .row");
        await new Promise((done) => setTimeout(done, 3000)); // the report is being hashed
        figures.text = await page.evaluate(timed(typeInto("Texte", "facture")));
        figures.folder = await page.evaluate(timed(typeInto("Sous", "D:\\Médias")));
        await page.evaluate(timed(waitForFound(
            `[...document.querySelectorAll(".chips button")].pop().click();`)));
        for (const order of ["size", "count", "path", "wasted"])
            figures[order] = await page.evaluate(timed(`
                const select = document.querySelector(".tools select");
                select.value = "${order}";
                select.dispatchEvent(new Event("change"));`));
        figures.frame = await page.evaluate(SCROLL);
        const pairs = Date.now();
        await viewer.view("Paires de dossiers");
        await page.waitForSelector("#pairs .row", { timeout: 300_000 });
        figures.pairs = Date.now() - pairs;
        figures.memory = largestProcess(started.browser.process().pid);
        return figures;
    } finally {
        await started.close();
    }
}

const columns = ["open", "text", "folder", "size", "count", "path", "wasted", "frame", "pairs", "memory"];
const line = (cells) => console.log(`| ${cells.join(" | ")} |`);
line(["rows", "MB", "browser", "open", "filter: text", "filter: folder", "sort: size", "sort: number",
      "sort: path", "sort: wasted", "longest frame", "pairs", "memory"]);
line(columns.concat(["", "", ""]).map(() => "---"));
for (const rows of process.argv.slice(2)) {
    const path = madeReport(rows);
    for (const name of BROWSERS) {
        const figures = await measure(name, path);
        line([rows, Math.round(statSync(path).size / 1e6), name, ...columns.map((column) =>
            `${Math.round(figures[column])} ${column === "memory" ? "MiB" : "ms"}`)]);
    }
}
