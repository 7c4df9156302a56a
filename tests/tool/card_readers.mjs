// Usage: node card_readers.mjs < CARD
//
// Prints the name, the addresses of e-mail and the numbers of phones in a card as JSON, or fails.
import { readFileSync } from "node:fs";
import ICAL from "ical.js";

const [, properties] = ICAL.parse(readFileSync(0, "utf8"));
const values = (name) => properties.filter((p) => p[0] === name).map((p) => [p.slice(3).join(",")][0]);
console.log(JSON.stringify({ name: values("fn"), emails: values("email"), phones: values("tel"), days: values("bday") }));
