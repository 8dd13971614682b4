// Bundles the viewer into one HTML file that loads nothing.
//
//   node build.mjs FOLDER      writes FOLDER/rapport.html, and FOLDER/licences: those of the
//                              packages that are in it, and CONTENTS.txt, their names and versions
//
// The policy names the one script and the one style sheet by their hashes, and allows workers from
// blobs and nothing else: no request leaves the page.
import { createHash } from "node:crypto";
import { mkdirSync, readdirSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { fileURLToPath } from "node:url";
import { build } from "esbuild";

const MOST_BYTES = 200 * 1024;
const here = fileURLToPath(new URL(".", import.meta.url));
const [folder] = process.argv.slice(2);
if (folder === undefined) {
    console.error("usage: node build.mjs FOLDER");
    process.exit(2);
}

const common = {
    absWorkingDir: here, bundle: true, minify: true, write: false, metafile: true, charset: "utf8",
    format: "iife", target: ["es2022"], legalComments: "none", logLevel: "warning",
};

async function bundle(entry, plugins = []) {
    const result = await build({ ...common, entryPoints: [entry], plugins });
    return { text: result.outputFiles[0].text, inputs: Object.keys(result.metafile.inputs) };
}

const worker = await bundle("src/worker/worker.ts");
const script = await bundle("src/view/main.ts", [{
    name: "worker_source",
    setup(building) {
        building.onResolve({ filter: /^worker_source$/ },
                           () => ({ path: "worker_source", namespace: "worker" }));
        building.onLoad({ filter: /.*/, namespace: "worker" },
                        () => ({ contents: worker.text, loader: "text" }));
    },
}]);
const style = await bundle("src/view/style.css");

const hashed = (text) => `'sha256-${createHash("sha256").update(text).digest("base64")}'`;
const scriptText = script.text.replaceAll("</script", "<\\/script").trim();
const styleText = style.text.trim();
const policy = [
    "default-src 'none'", `script-src ${hashed(scriptText)}`, `style-src ${hashed(styleText)}`,
    "worker-src blob:", "base-uri 'none'", "form-action 'none'",
].join("; ");
const html = readFileSync(here + "src/view/page.html", "utf8")
    .replace("{{policy}}", () => policy)
    .replace("{{style}}", () => styleText)
    .replace("{{script}}", () => scriptText);

const bytes = Buffer.byteLength(html);
if (bytes > MOST_BYTES) {
    console.error(`build.mjs: ${bytes} bytes, more than ${MOST_BYTES}`);
    process.exit(1);
}
mkdirSync(folder, { recursive: true });
writeFileSync(join(folder, "rapport.html"), html);

// The bundler knows which files it took, so no package is forgotten.
const licences = join(folder, "licences");
rmSync(licences, { recursive: true, force: true });
mkdirSync(licences);
const packages = new Set([...worker.inputs, ...script.inputs]
    .map((input) => /^node_modules\/((?:@[^/]+\/)?[^/]+)\//.exec(input)?.[1])
    .filter((name) => name !== undefined));
const contents = [...packages].sort().map((name) => {
    const from = join(here, "node_modules", name);
    const licence = readdirSync(from).find((file) => /^licen[cs]e/i.test(file));
    if (licence === undefined) throw new Error(`${name} has no licence`);
    writeFileSync(join(licences, `${name.replace("/", "-")}.txt`), readFileSync(join(from, licence)));
    return `${name} ${JSON.parse(readFileSync(join(from, "package.json"), "utf8")).version}\n`;
});
writeFileSync(join(licences, "CONTENTS.txt"), contents.join(""));
