// Usage: node calendar_readers.mjs NALVO FOLDER
//
// Each calendar below FOLDER that ical.js reads has to be one in the tool's own print too, with the same events, tasks and
// journal entries: as many, with the same ids and summaries, on the same dates and by the same rules. Left out: texts that
// aren't UTF-8 or are quoted-printable, blanks around a value, and a backslash before a quotation mark.
import { spawnSync } from "node:child_process";
import { readFileSync, readdirSync } from "node:fs";
import { join } from "node:path";
import ICAL from "ical.js";

const [, , nalvo, folder] = process.argv;
const kinds = ["vevent", "vtodo", "vjournal"];

// Null for bytes that are no calendar to this reader.
function read(bytes) {
  try {
    const text = new TextDecoder("utf-8", { fatal: true }).decode(bytes);
    const parsed = /QUOTED-PRINTABLE/i.test(text) ? [] : ICAL.parse(text);
    return (typeof parsed[0] === "string" ? [parsed] : parsed).filter((root) => root[0] === "vcalendar");
  } catch {
    return null;
  }
}

// The values of a property; those of a rule in one order.
function textOf(property) {
  const told = (value) => (typeof value === "string" ? value : JSON.stringify(Object.entries(value).sort()));
  return property === undefined ? "" : property.slice(3).map(told).join(",").replaceAll('\\"', '"').trim();
}

function itemsOf(calendars) {
  return calendars
    .flatMap(([, , components]) => components)
    .filter(([kind]) => kinds.includes(kind))
    .map(([kind, properties]) => {
      const find = (name) => textOf(properties.find((property) => property[0] === name));
      return { kind, uid: find("uid"), summary: find("summary"), start: find("dtstart"), rule: find("rrule") };
    });
}

let count = 0, skipped = 0, problems = 0;
for (const name of readdirSync(folder).filter((name) => name.endsWith(".ics")).sort()) {
  const before = read(readFileSync(join(folder, name)));
  if (before === null || itemsOf(before).length === 0) {
    ++skipped;
    continue;
  }
  ++count;
  const printed = spawnSync(nalvo, ["object", join(folder, name)], { maxBuffer: 1 << 28 });
  const after = printed.status === 0 ? read(printed.stdout) : null;
  if (after === null) {
    ++problems;
    console.log(`${name}: the print is no calendar to ical.js. ${printed.stderr}`);
    continue;
  }
  const one = itemsOf(before).map((x) => JSON.stringify(x)), two = itemsOf(after).map((x) => JSON.stringify(x));
  const first = one.findIndex((item, i) => item !== two[i]);
  if (one.length !== two.length || first >= 0) {
    ++problems;
    console.log(`${name}: ${one.length} and ${two.length} items. ${one[first]} became ${two[first]}`);
  }
}
console.log(`${count} calendars, ${skipped} left out, ${problems} problems`);
process.exit(problems > 0 || count === 0 ? 1 : 0);
