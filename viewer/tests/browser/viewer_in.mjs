// The finished page in one of Debian's browsers, from file://, against the second implementation. Each
// browser has its own file, so that both run at once.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { createHash } from "node:crypto";
import { existsSync, mkdtempSync, readdirSync, readFileSync, renameSync, rmSync, statSync,
         writeFileSync } from "node:fs";
import { createRequire } from "node:module";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { after, before, describe, test } from "node:test";
import { startBrowser } from "./browser.mjs";
import { until, ViewerPage } from "./page.mjs";

const TESTS = process.env.LARKSPINE_VIEWER_TESTS;
const axe = readFileSync(createRequire(import.meta.url).resolve("axe-core/axe.min.js"), "utf8");
const work = mkdtempSync(join(tmpdir(), "larkspine-viewer-browser-"));
after(() => rmSync(work, { recursive: true }));

const HEADER = "\ufeffGroupe;Statut;Chemin complet;Taille en octets\r\n";
const csvOf = (...groups) => HEADER + groups.map(([size, ...paths], at) => paths.map((path, i) =>
    `${at + 1};${i === 0 ? "Original" : "Doublon"};"${path.replaceAll('"', '""')}";${size}\r\n`).join(""))
    .join("");
function fileOf(name, text) {
    const path = join(work, name);
    writeFileSync(path, text);
    return path;
}
function python(script, ...parameters) {
    const out = execFileSync("python3", [join(TESTS, script), ...parameters],
                             { maxBuffer: 1 << 28, encoding: "utf8" });
    return out === "" ? null : JSON.parse(out);
}
function reference(path, questions = []) {
    return python("reference.py", path, fileOf("questions.json", JSON.stringify(questions)));
}

const HOSTILE = ["C:\\<img src=x onerror=alert(1)>\\a", "C:\\a\u202egpj.exe", "C:\\=cmd|' /C calc'!A0",
                 "C:\\\u200bvide", "C:\\{{x}}&amp;\"><script>document.title='pris'</script>", ""];
const SMALL = csvOf(
    [250_000, "D:\\Photos\\2024\\dîner.jpg", "D:\\Photos\\tri\\dîner.jpg"],
    [600_000, "D:\\Photos\\2024\\plage.jpg", "D:\\Photos\\copie\\plage (2).jpg",
     "D:\\Photos\\copie\\plage.jpg"],
    [10, ...HOSTILE], [0, "D:\\vide 1", "D:\\vide 2", "E:\\vide 3"]);

const small = fileOf("Fennick_Resultats_petit.csv", SMALL);
const made = fileOf("Fennick_Resultats_grand.csv",
                    execFileSync("python3", [join(TESTS, "made_report.py"), "20000"], { maxBuffer: 1 << 28 }));
const corpus = mkdtempSync(join(work, "corpus-"));
python("corpus_reports.py", process.env.LARKSPINE_CORPUS, corpus);

export const testsIn = (name) => describe(name, () => {
    let started;
    let files = 0;
    const pages = [];
    const open = async (...parameters) => {
        const viewer = await ViewerPage.open(started, ...parameters);
        pages.push(viewer);
        return viewer;
    };
    const saved = async (viewer) => {
        const listed = () => existsSync(started.downloads) ? readdirSync(started.downloads) : [];
        const before = listed();
        await viewer.button("Enregistrer…");
        // A download has a second file while it lasts, and Firefox keeps an empty one at its name.
        const [path] = await until(() => listed().filter((file) => !before.includes(file)),
                                   (files) => files.length === 1 && files[0].endsWith(".csv") &&
                                       statSync(join(started.downloads, files[0])).size > 0);
        await until(() => viewer.announced(), (text) => text.includes("enregistrée"));
        const kept = join(work, `${name} ${++files} ${path}`);
        renameSync(join(started.downloads, path), kept);
        return kept;
    };
    before(async () => { started = await startBrowser(name); });
    after(async () => { await started.close(); });

    test("the numbers of a dropped report are those of the second implementation", async () => {
        for (const path of [small, made, ...(process.env.LARKSPINE_REPORTS ?? "").split("\n")
            .filter((report) => report !== "")]) {
            const expected = reference(path).totals;
            const viewer = await open();
            await viewer.openReport(path);
            assert.deepEqual(await viewer.numbers(".cards data"),
                             [expected.bytes, expected.copies, expected.groups, expected.emptyFiles], path);
            const types = (await viewer.table("by-type")).filter(([type]) => !/autres types/.test(type));
            for (const [type, ...amount] of types)
                assert.deepEqual(amount, expected.byExtension[type === "sans extension" ? "" : type], type);
            assert.deepEqual((await viewer.table("by-size")).map(([, ...amount]) => amount).reverse(),
                             expected.bySize);
            const folders = await viewer.table("top-folders");
            for (const [folder, ...amount] of folders)
                assert.deepEqual(amount, expected.ownFolders[folder === "(sans dossier)" ? "" : folder], folder);
            const bytes = Object.values(expected.ownFolders).map(([, b]) => b).sort((a, b) => b - a);
            assert.deepEqual(folders.map(([, , b]) => b), bytes.slice(0, 10));
            assert.deepEqual(viewer.wrong, []);
            await viewer.page.close();
        }
    });

    test("every path of the fuzz corpus is read and shown", async () => {
        const path = join(corpus, "all.csv");
        const expected = reference(path);
        const viewer = await open("#vue=groupes&tri=chemin");
        await viewer.openReport(path);
        assert.deepEqual(await viewer.found(), [expected.paths.length / 2, expected.paths.length]);
        await viewer.page.focus("#groups");
        let seen = 0;
        for (let page = 0; page < 400 && seen < expected.paths.length * 1.5; ++page) {
            await viewer.keys("PageDown");
            const current = await viewer.page.$eval("#groups", (grid) => grid.getAttribute("aria-activedescendant"));
            const line = Number(current.split("-")[1]) + 1;
            if (line === seen) break;
            seen = line;
        }
        assert.equal(seen, expected.paths.length * 1.5);
        assert.deepEqual(viewer.wrong, []);
    });

    test("a foreign or truncated report is refused with one sentence that names the line", async () => {
        const viewer = await open();
        const said = async (file, text) => {
            await viewer.drop(file, Buffer.from(text));
            return until(() => viewer.texts(".problem p"), ([sentence]) => sentence !== undefined);
        };
        assert.deepEqual(await said("photo.jpg", "\u00ff\u00d8"),
            ["Ligne 1\u00a0: ce fichier n’est pas un rapport de Larkspine, ses titres sont autres."]);
        await viewer.page.reload();
        assert.deepEqual(await said("coupé.csv", SMALL.slice(0, SMALL.indexOf("plage (2)"))),
            ["Ligne 5\u00a0: le rapport s’arrête avant sa fin\u00a0; refaites l’analyse."]);
    });

    test("a file chosen by the button opens as a dropped one does", async () => {
        const viewer = await open();
        await viewer.choose(small);
        await viewer.page.waitForSelector(".workspace");
        assert.deepEqual(await viewer.found(), [4, 14]);
    });

    test("hostile names are shown as text, with invisible characters written out", async () => {
        const viewer = await open("#vue=groupes&texte=C%3A");
        await viewer.openReport(small);
        const paths = await viewer.texts("#groups .file-row .file");
        assert.deepEqual(paths, ["C:\\<img src=x onerror=alert(1)>\\a", "C:\\a⟨U+202E⟩gpj.exe",
            "C:\\=cmd|' /C calc'!A0", "C:\\⟨U+200B⟩vide",
            "C:\\{{x}}&amp;\"><script>document.title='pris'</script>",
            "(chemin illisible\u00a0: ne peut pas être choisi)"]);
        assert.equal(await viewer.page.title(), "Larkspine\u00a0: lire un rapport");
        assert.equal((await viewer.page.$$("main img, main script")).length, 0);
    });

    test("every attempt to load something is blocked by the page's policy", async () => {
        const viewer = await open();
        await viewer.openReport(small);
        const outcomes = await viewer.page.evaluate(async () => {
            const tries = [() => fetch("http://127.0.0.1:9/"), () => fetch("data:,x"),
                () => new Promise((_, lost) => {
                    const image = new Image();
                    image.onerror = () => lost(new Error("refused"));
                    image.src = "http://127.0.0.1:9/x.png";
                })];
            let policy = 0;
            document.addEventListener("securitypolicyviolation", () => { ++policy; });
            const ends = await Promise.allSettled(tries.map((one) => one()));
            await new Promise((resolve) => setTimeout(resolve, 100));
            return [ends.map((end) => end.status), policy];
        });
        assert.deepEqual(outcomes, [["rejected", "rejected", "rejected"], 3]);
    });

    test("filters limit the rows, and the address restores them", async () => {
        const viewer = await open("#vue=groupes");
        await viewer.openReport(made);
        await viewer.type("Texte du chemin", "factures 1");
        await viewer.type("Types", "jpg, pdf", "pdf");
        const expected = reference(made, [{ filter: { text: "factures 1", extensions: ["jpg", "pdf"] } }]);
        const [rows] = expected.answers;
        assert.equal((await viewer.found())[1], rows.length);
        const address = await viewer.page.evaluate(() => location.hash);
        const again = await open(address);
        await again.openReport(made);
        assert.equal((await again.found())[1], rows.length);
        assert.equal(await (await again.input("Texte du chemin")).evaluate((input) => input.value),
                     "factures 1");
        await again.button("Effacer les filtres");
        assert.equal((await again.found())[1], expected.paths.length);
        await again.page.goBack();
        assert.equal((await again.found())[1], rows.length);
    });

    test("the selection of a rule is the same on the page, in the saved file and loaded again", async () => {
        const folder = Object.keys(reference(made).totals.folders).find((path) => /^D:\\[^\\]+\\$/.test(path));
        const [rows] = reference(made, [{ filter: { text: "photos" },
                                          rule: { kind: "keepBelow", folder } }]).answers;
        const { paths } = reference(made);
        assert.ok(rows.length > 20, String(rows.length));
        const viewer = await open("#vue=groupes&texte=photos");
        await viewer.openReport(made);
        await viewer.button("Choisir par règle…");
        const input = await viewer.page.$("dialog input[type=text]");
        await input.type(folder);
        await viewer.page.waitForFunction(() => !document.querySelector("dialog .primary").disabled);
        await viewer.button("Appliquer");
        const [count, bytes] = await viewer.selection();
        assert.equal(count, rows.length);
        const path = await saved(viewer);
        const [head, bound, ...chosen] = python("reference.py", "--choices", path);
        assert.deepEqual(head, ["Choix", "Groupe", "Chemin complet", "Taille en octets"]);
        assert.deepEqual(bound, ["Rapport", "", createHash("sha256").update(readFileSync(made)).digest("hex"),
                                 String(readFileSync(made).length)]);
        assert.deepEqual(chosen.map(([kind, , cell]) => [kind, cell]),
                         rows.map((row) => ["Choisi", paths[row]]));
        assert.equal(chosen.reduce((sum, [, , , size]) => sum + Number(size), 0), bytes);

        const again = await open();
        await again.openReport(made);
        await again.drop(path);
        await until(() => again.selection(), ([files]) => files === count);
        assert.deepEqual(await again.selection(), [count, bytes]);
        assert.notEqual(await saved(again), path);
        await again.page.keyboard.down("Control");
        await again.keys("z");
        await again.page.keyboard.up("Control");
        assert.deepEqual(await again.selection(), [0, 0]);

        const other = await open();
        await other.openReport(small);
        const [chooser] = await Promise.all([other.page.waitForFileChooser(),
                                             other.page.click("footer button:last-child")]);
        await chooser.accept([small]);
        await until(() => other.announced(), (text) => text === "Ligne 1\u00a0: cette ligne n’est pas " +
            "d’une sélection enregistrée par cette page.");
        await other.drop(path);
        await other.page.waitForSelector("dialog[open]");
        assert.match(await other.text("dialog"), /autre rapport/);
        await other.button("Ne rien reprendre");
        assert.deepEqual(await other.selection(), [0, 0]);
    });

    test("the keyboard alone chooses files, is refused the last copy, and ignores a group", async () => {
        const viewer = await open("#vue=groupes");
        await viewer.openReport(small);
        await viewer.page.focus("#groups");
        const row = () => viewer.page.$eval("#groups", (grid) => {
            const current = document.getElementById(grid.getAttribute("aria-activedescendant"));
            return [current.getAttribute("aria-rowindex"), current.getAttribute("aria-selected"),
                    current.getAttribute("aria-level")];
        });
        assert.deepEqual(await row(), ["2", "false", "1"]);
        await viewer.keys("ArrowDown", " ", "ArrowDown", " ");
        assert.deepEqual(await row(), ["4", "true", "2"]);
        assert.deepEqual(await viewer.selection(), [2, 1_200_000]);
        await viewer.keys("ArrowDown", " ");
        assert.deepEqual(await row(), ["5", "false", "2"]);
        assert.equal(await viewer.announced(), "Un exemplaire de chaque groupe doit rester.");
        await viewer.keys("ArrowLeft", "ArrowLeft");
        assert.equal(await viewer.page.$eval("#groups-0", (one) => one.getAttribute("aria-expanded")), "false");
        await viewer.keys("i");
        assert.deepEqual(await viewer.selection(), [0, 0]);
        assert.deepEqual(await viewer.found(), [3, 11]);

        const next = await open("#vue=groupes");
        await next.openReport(fileOf("Fennick_Resultats_suivant.csv", csvOf(
            [600_000, "D:\\Photos\\2024\\plage.jpg", "D:\\Photos\\copie\\plage.jpg"], [5, "D:\\x", "D:\\y"])));
        assert.deepEqual(await next.found(), [1, 2]);
        await next.page.evaluate(() => { location.hash += "&ignores=1"; });
        await until(() => next.texts("#groups .row.group .name"), ([group]) => group === "plage.jpg");
        await next.button("Ne plus ignorer");
        assert.deepEqual(await next.found(), [0, 0]);
    });

    test("opening a folder or a pair leads to its groups", async () => {
        const viewer = await open("#vue=dossiers");
        await viewer.openReport(small);
        await viewer.page.evaluate(() => [...document.querySelectorAll(".area")]
            .find((area) => area.textContent.includes("Photos\\")).click());
        assert.deepEqual(await viewer.found(), [2, 5]);
        assert.equal(await (await viewer.input("Sous le dossier")).evaluate((input) => input.value),
                     "D:\\Photos\\");
        await viewer.button("Effacer les filtres");
        await viewer.view("Paires de dossiers");
        await viewer.page.waitForSelector("#pairs .row");
        const expected = Object.values(reference(small).pairs).sort((a, b) => b[1] - a[1]);
        assert.deepEqual((await viewer.numbers("#pairs .row data")).slice(0, 4), expected.slice(0, 2).flat());
        await viewer.page.focus("#pairs");
        await viewer.keys("Enter");
        assert.deepEqual(await viewer.found(), [1, 3]);
        assert.match(await viewer.text(".chip"), /^Paire\u00a0: /);
    });

    test("a long list shows its last line, and keeps few rows in the page", async () => {
        const viewer = await open("#vue=groupes&tri=chemin");
        await viewer.openReport(made);
        await viewer.page.focus("#groups");
        await viewer.keys("End");
        const [last] = await viewer.texts("#groups .row.current .name:last-child");
        const { paths } = reference(made);
        assert.equal(last, paths[paths.length - 1].split("\\").pop());
        assert.ok((await viewer.page.$$("#groups .row")).length < 40);
        await viewer.keys("Home");
        assert.equal(await viewer.page.$eval("#groups", (grid) => grid.scrollTop), 0);
    });

    test("axe finds no violation in any view, light or dark, in either language", async () => {
        for (const scheme of name === "chromium" ? ["light", "dark"] : ["light"]) {
            const viewer = await open();
            if (name === "chromium")
                await viewer.page.emulateMediaFeatures([{ name: "prefers-color-scheme", value: scheme }]);
            await viewer.page.evaluate(axe);
            const check = async (where) => {
                const found = await viewer.page.evaluate(() => axe.run(document, {
                    resultTypes: ["violations"] }).then((result) => result.violations.map((one) =>
                    `${one.id}: ${one.nodes.map((node) => node.html.slice(0, 200)).join(" | ")}`)));
                assert.deepEqual(found, [], `${where}, ${scheme}`);
            };
            await check("landing");
            await viewer.drop("autre.csv", Buffer.from("autre chose"));
            await viewer.problem();
            await check("problem");
            await viewer.openReport(small);
            for (const view of ["Résumé", "Groupes", "Dossiers", "Paires de dossiers"]) {
                await viewer.view(view);
                await until(() => viewer.page.$("[aria-busy]"), (busy) => busy === null);
                await check(view);
            }
            await viewer.view("Groupes");
            await viewer.type("Texte du chemin", "copie");
            await viewer.page.focus("#groups");
            await viewer.keys("ArrowDown", "ArrowDown", " ", "ArrowDown");
            await check("rows that are chosen, current and beside the filter");
            await viewer.button("Choisir par règle…");
            await check("rule");
            await viewer.button("Fermer");
            await viewer.button("English");
            for (const view of ["Summary", "Groups", "Folders", "Pairs of folders"]) {
                await viewer.view(view);
                await check(view);
            }
            assert.equal(await viewer.page.evaluate(() => document.documentElement.lang), "en");
        }
    });

    test("the print view holds the summary and the first groups", async () => {
        const viewer = await open("#vue=groupes");
        await viewer.openReport(small);
        await viewer.page.evaluate(() => window.dispatchEvent(new Event("beforeprint")));
        assert.deepEqual(await viewer.numbers(".printed .cards data"), [1_450_050, 8, 3, 3]);
        assert.equal((await viewer.page.$$(".printed-group")).length, 4);
    });

    test("no test has left an error message on a page", () => {
        const allowed = /Content Security Policy|Content-Security-Policy/; // of the test that provokes them
        assert.deepEqual(pages.flatMap((viewer) => viewer.wrong).filter((text) => !allowed.test(text)), []);
    });
});
