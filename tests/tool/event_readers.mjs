// Usage: node event_readers.mjs NALVO FOLDER
//
// The calendars below FOLDER become items and calendars again, beside this program. ical.js reads each and steps through the
// first dates of its events. Prints what goes wrong, and how much was read; fails if anything went wrong or nothing was
// there. A whole day that was moved is a period of days, which this reader doesn't take.
import { spawnSync } from "node:child_process";
import { readdirSync, readFileSync } from "node:fs";
import { dirname, join } from "node:path";
import { fileURLToPath } from "node:url";
import ICAL from "ical.js";

const [, , nalvo, folder] = process.argv;
const scratch = dirname(fileURLToPath(import.meta.url));
const items = join(scratch, "items");
const calendars = join(scratch, "calendars");
for (const words of [["to-mapi", "-o", items, folder], ["to-mime", "--object", "only", "-o", calendars, items]]) {
  const { status } = spawnSync(nalvo, [...words, "-q"]);
  if (status !== 0 && status !== 1) {  // a damaged calendar is told and passed over
    throw new Error(`${words[0]} ended with ${status}`);
  }
}

const kDates = 50;
const kPeriodOfDays = /invalid date-time value: "\d{4}-\d\d-\d\dT::"/;
let events = 0;
let dates = 0;
let moved = 0;
let problems = 0;
for (const file of readdirSync(calendars, { recursive: true }).filter((name) => name.endsWith(".ics"))) {
  try {
    const calendar = new ICAL.Component(ICAL.parse(readFileSync(join(calendars, file), "utf8")));
    for (const component of calendar.getAllSubcomponents("vevent")) {
      ++events;
      const event = new ICAL.Event(component);
      const iterator = event.isRecurring() ? event.iterator() : null;
      for (let i = 0; iterator !== null && i < kDates && iterator.next(); ++i) {
        ++dates;
      }
      component.getAllSubcomponents("valarm").forEach((alarm) => alarm.getFirstPropertyValue("trigger").toString());
    }
  } catch (error) {
    if (kPeriodOfDays.test(error.message)) {
      ++moved;
      continue;
    }
    ++problems;
    console.log(`${file}: ${error}`);
  }
}
console.log(`${events} events, ${dates} dates, ${moved} with whole days that were moved, ${problems} problems`);
process.exit(events === 0 || problems !== 0 ? 1 : 0);
