// Usage: node event_readers.mjs FOLDER
//
// Reads each calendar below the folder and steps through the first dates of its events. Prints what goes wrong, and how much
// was read; fails if anything went wrong or nothing was there. A whole day that was moved is a period of days, which this
// reader doesn't take.
import { readdirSync, readFileSync } from "node:fs";
import { join } from "node:path";
import ICAL from "ical.js";

const kDates = 50;
const kPeriodOfDays = /invalid date-time value: "\d{4}-\d\d-\d\dT::"/;
let events = 0;
let dates = 0;
let moved = 0;
let problems = 0;
for (const file of readdirSync(process.argv[2], { recursive: true }).filter((name) => name.endsWith(".ics"))) {
  try {
    const calendar = new ICAL.Component(ICAL.parse(readFileSync(join(process.argv[2], file), "utf8")));
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
