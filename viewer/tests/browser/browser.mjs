// Starts Debian's browsers without a window and opens the page from file://, as a double click does.
import { mkdtempSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { pathToFileURL } from "node:url";
import puppeteer from "puppeteer-core";

export const BROWSERS = ["chromium", "firefox"];
export const PAGE = pathToFileURL(process.env.LARKSPINE_VIEWER).href;

export async function startBrowser(name, settings = {}) {
    const profile = mkdtempSync(join(tmpdir(), "larkspine-viewer-"));
    const downloads = join(profile, "downloads");
    const browser = await puppeteer.launch(name === "chromium" ? {
        browser: "chrome", executablePath: "/usr/bin/chromium", headless: true,
        userDataDir: join(profile, "user"), downloadBehavior: { policy: "allow", downloadPath: downloads },
        args: ["--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
               "--disable-background-networking", "--disable-component-update", "--disable-sync",
               ...(settings.args ?? [])],
    } : {
        browser: "firefox", executablePath: "/usr/bin/firefox-esr", headless: true,
        userDataDir: join(profile, "user"),
        extraPrefsFirefox: {
            "browser.download.folderList": 2, "browser.download.dir": downloads,
            "browser.helperApps.neverAsk.saveToDisk": "text/csv",
            "browser.download.always_ask_before_handling_new_types": false,
            ...(settings.prefs ?? {}),
        },
    });
    return {
        name, browser, downloads,
        async close() {
            await browser.close();
            rmSync(profile, { recursive: true, force: true });
        },
    };
}
