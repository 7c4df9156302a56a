// Called by html_text.sh: CHROMIUM PROGRAM FOLDER SCRATCH.
import { execFileSync } from "node:child_process";
import fs from "node:fs";
import path from "node:path";
import { chromium } from "playwright-core";

const [executablePath, program, folder, scratch] = process.argv.slice(2);
const EXACT = 0.7;
const MODULO_WHITE_SPACE = 0.95;

const files = fs.readdirSync(folder).filter((name) => name.endsWith(".html")).sort();

// The charset that the mail around a body named.
const manifest = path.join(folder, "MANIFEST.tsv");
const charsets = new Map();
if (fs.existsSync(manifest)) {
  for (const line of fs.readFileSync(manifest, "utf8").split("\n")) {
    const [name, , tags] = line.split("\t");
    const match = /part-charset:([^,]*)/.exec(tags ?? "");
    if (match) charsets.set(name, match[1]);
  }
}

const browser = await chromium.launch({ executablePath, args: ["--no-sandbox"] });
const context = await browser.newContext({ javaScriptEnabled: false, viewport: { width: 1280, height: 720 } });
const page = await context.newPage();
let answer;
await page.route("**/*", (route) => (route.request().isNavigationRequest() && route.request().frame() === page.mainFrame()
  ? route.fulfill(answer) : route.abort()));

// A charset of the text itself counts for more with us than that of the mail; a browser is told none then.
async function shown(name) {
  const body = fs.readFileSync(path.join(folder, name));
  const named = /<meta[^>]*charset/i.test(body.subarray(0, 4096).toString("latin1"));
  const charset = charsets.get(name);
  answer = { body, contentType: charset && !named ? `text/html; charset=${charset}` : "text/html" };
  await page.goto(`http://page.invalid/${encodeURIComponent(name)}`, { waitUntil: "domcontentloaded" });
  return page.evaluate(() => document.body.innerText ?? "");
}

const ours = files.map((_, i) => path.join(scratch, `${i}.txt`));
const started = process.hrtime.bigint();
execFileSync(program, files.flatMap((name, i) => [charsets.get(name) ?? "-", path.join(folder, name), ours[i]]));
const seconds = Number(process.hrtime.bigint() - started) / 1e9;

const folded = (text) => text.replace(/\s+/g, " ").trim();
let exact = 0;
let equal = 0;
for (const [i, name] of files.entries()) {
  const theirs = await shown(name);
  const text = fs.readFileSync(ours[i], "utf8");
  if (text === theirs) exact += 1;
  if (folded(text) === folded(theirs)) equal += 1;
  else console.log(`differs: ${name}`);
  if (text !== theirs && folded(text) === folded(theirs)) console.log(`differs in white space: ${name}`);
}
await browser.close();

const share = (count) => `${count} of ${files.length} (${((100 * count) / files.length).toFixed(1)} %)`;
const bytes = files.reduce((sum, name) => sum + fs.statSync(path.join(folder, name)).size, 0);
console.log(`exactly equal: ${share(exact)}`);
console.log(`equal modulo white space: ${share(equal)}`);
console.log(`our time: ${(seconds * 1000).toFixed(0)} ms for ${(bytes / 1e6).toFixed(1)} MB`);
process.exit(files.length > 0 && exact >= EXACT * files.length && equal >= MODULO_WHITE_SPACE * files.length ? 0 : 1);
