// Pictures of the page: one for the README, and for review every view in both languages, light and
// dark, wide and narrow.
//
//   node screenshots.mjs README.png FOLDER
import { execFileSync } from "node:child_process";
import { mkdirSync, rmSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { fileURLToPath } from "node:url";
import { startBrowser } from "./browser/browser.mjs";
import { until, ViewerPage } from "./browser/page.mjs";

const [readme, folder] = process.argv.slice(2);
rmSync(folder, { recursive: true, force: true });
mkdirSync(folder, { recursive: true });
const report = join(folder, "Fennick_Resultats_2026-11-21_10-24-38.csv");
writeFileSync(report, execFileSync("python3", [fileURLToPath(new URL("shown_report.py", import.meta.url))]));

const WORDS = {
    fr: { views: ["Résumé", "Groupes", "Dossiers", "Paires de dossiers"], rule: "Choisir par règle…" },
    en: { views: ["Summary", "Groups", "Folders", "Pairs of folders"], rule: "Choose by rule…" },
};
const SIZES = { wide: { width: 1280, height: 800 }, narrow: { width: 420, height: 860 } };

async function choose(viewer) {
    await viewer.page.evaluate(() => document.querySelector("footer .primary").click());
    await viewer.page.type("dialog input[type=text]", "C:\\Users\\Camille\\Pictures");
    await viewer.page.waitForFunction(() => document.querySelector("dialog .result").textContent !== "");
}

async function quiet(viewer) {
    await until(() => viewer.page.$("[aria-busy]"), (busy) => busy === null);
    await viewer.page.evaluate(() => document.querySelector(".announcer").replaceChildren());
}

const started = await startBrowser("chromium");
for (const [language, words] of Object.entries(WORDS))
    for (const scheme of ["light", "dark"])
        for (const [size, viewport] of Object.entries(SIZES)) {
            const name = (what) => join(folder, `${what}-${language}-${scheme}-${size}.png`);
            const viewer = await ViewerPage.open(started, `#langue=${language}`, viewport);
            await viewer.page.emulateMediaFeatures([{ name: "prefers-color-scheme", value: scheme }]);
            await viewer.page.screenshot({ path: name("0-landing") });
            await viewer.openReport(report);
            await choose(viewer);
            await viewer.page.screenshot({ path: name("5-rule") });
            await viewer.page.evaluate(() => document.querySelector("dialog .primary").click());
            for (const [at, view] of words.views.entries()) {
                await viewer.view(view);
                await quiet(viewer);
                await viewer.page.screenshot({ path: name(`${at + 1}-${["summary", "groups", "folders",
                                                                       "pairs"][at]}`) });
            }
            if (language === "fr" && scheme === "light" && size === "wide") {
                await viewer.view("Groupes");
                await viewer.type("Texte du chemin", "IMG");
                await viewer.page.focus("#groups");
                await viewer.keys("ArrowDown", "ArrowDown");
                await quiet(viewer);
                await viewer.page.screenshot({ path: readme });
            }
            await viewer.page.close();
        }
const viewer = await ViewerPage.open(started);
await viewer.openReport(report);
await viewer.page.pdf({ path: join(folder, "print.pdf") });
await viewer.page.evaluate(() => window.dispatchEvent(new Event("beforeprint")));
await viewer.page.emulateMediaType("print");
await viewer.page.screenshot({ path: join(folder, "6-print.png") });
await started.close();
