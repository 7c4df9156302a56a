// Usage: node msgreader_check.mjs NALVO FOLDER
//
// For each .msg file below FOLDER that the other reader opens: the tool opens it, and both agree on subject, class, sender,
// recipients, body and the sizes of attachments.
import { execFileSync } from "node:child_process";
import { readdirSync, readFileSync } from "node:fs";
import { createRequire } from "node:module";
import { join } from "node:path";

const require = createRequire(import.meta.url);
const MsgReader = require("@kenjiuno/msgreader").default;
const iconv = require("iconv-lite");
const [nalvo, folder] = process.argv.slice(2);

const property = (object, id) => object.properties.find((p) => p.tag.startsWith(id))?.value;
const typed = (object, tag) => object.properties.find((p) => p.tag === tag)?.value;
const sizeOf = (value) =>
  value === undefined ? undefined : value.size ?? Buffer.from(value.base64, "base64").length;

// The other reader is told the code page of narrow texts: that of the message, of its language, of its Internet form.
const pagesOfLanguages = { 0x404: 950, 0x411: 932, 0x412: 949, 0x419: 1251, 0x804: 936 };
function encodingOf(shown) {
  const locale = property(shown, "3ff1");
  const page = property(shown, "3ffd") ?? (locale > 0x400 ? pagesOfLanguages[locale] ?? 1252 : property(shown, "3fde")) ?? 1252;
  const name = page === 65001 ? "utf8" : `cp${page}`;
  return iconv.encodingExists(name) ? name : "cp1252";
}

const text = (value) => (value ?? "").replace(/\0+$/, "").replace(/[\uD800-\uDFFF](?![\uDC00-\uDFFF])/g, "\uFFFD");

let files = 0;
let refused = 0;
let differences = 0;
function differ(file, what, theirs, ours) {
  ++differences;
  console.log(`${file}: ${what}: ${JSON.stringify(theirs)?.slice(0, 200)} there, ${JSON.stringify(ours)?.slice(0, 200)} here`);
}
function compare(file, what, theirs, ours) {
  if (text(theirs) !== text(ours)) {
    differ(file, what, text(theirs), text(ours));
  }
}

for (const name of readdirSync(folder, { recursive: true }).sort()) {
  if (!name.toLowerCase().endsWith(".msg")) {
    continue;
  }
  const bytes = readFileSync(join(folder, name));
  const open = (ansiEncoding) => {
    const reader = new MsgReader(new DataView(bytes.buffer, bytes.byteOffset, bytes.byteLength));
    reader.parserConfig = { ansiEncoding };
    const data = reader.getFileData();
    if (data.error) {
      throw new Error(data.error);
    }
    return { reader, data };
  };
  try {
    open("cp1252");
  } catch {
    ++refused;
    continue;
  }
  ++files;
  let shown;
  try {
    shown = JSON.parse(execFileSync(nalvo, ["show", "--json", "--full", join(folder, name)], { maxBuffer: 1 << 30, stdio: ["ignore", "pipe", "ignore"] }));
  } catch (e) {
    differ(name, "opening", "opens", String(e.message));
    continue;
  }
  const { reader, data } = open(encodingOf(shown));
  compare(name, "subject", data.subject, property(shown, "0037"));
  compare(name, "class", data.messageClass, property(shown, "001a"));
  compare(name, "sender", data.senderName, property(shown, "0c1a"));
  compare(name, "sender address", data.senderEmail, property(shown, "0c1f"));
  compare(name, "body", data.body, property(shown, "1000"));
  if ((data.recipients ?? []).length !== shown.recipients.length) {
    differ(name, "number of recipients", data.recipients?.length, shown.recipients.length);
  }
  const key = (r) => `${r.name ?? ""} <${r.email ?? ""}>`;
  const theirs = (data.recipients ?? []).map((r) => key({ name: text(r.name), email: text(r.email) })).sort();
  const ours = shown.recipients.map((r) => key({ name: text(property(r, "3001")), email: text(property(r, "3003")) })).sort();
  theirs.forEach((one, i) => compare(name, `recipient ${i}`, one, ours[i]));
  const attachments = data.attachments ?? [];
  if (attachments.length !== shown.attachments.length) {
    differ(name, "number of attachments", attachments.length, shown.attachments.length);
  }
  attachments.forEach((one, i) => {
    const mine = shown.attachments[i];
    if (one.innerMsgContent || !mine || mine.message) {
      return;
    }
    const size = sizeOf(typed(mine, "37010102"));
    if ((one.contentLength ?? undefined) !== size && size !== undefined) {
      differ(name, `size of attachment ${i}`, one.contentLength, size);
    }
    if (size === undefined && one.contentLength) {
      differ(name, `attachment ${i}`, one.contentLength, size);
    }
  });
}
console.log(`${files} files compared, ${refused} that the other reader refuses, ${differences} differences`);
process.exit(files === 0 || differences !== 0 ? 1 : 0);
