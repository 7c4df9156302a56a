"""Calendars, cards and notes through the tool: their exact form, and the dates on which they occur."""

import os
import subprocess
import sys
import unittest

TOOL = sys.argv.pop(1)


def run(text, *options):
    done = subprocess.run([TOOL, "object", *options, "-"], input=text.encode(), capture_output=True, check=False,
                          env=dict(os.environ, TZ="Asia/Kolkata"))
    return done.returncode, done.stdout.decode().replace("\r\n", "\n"), done.stderr.decode()


def calendar(*lines):
    return "\n".join(["BEGIN:VCALENDAR", *lines, "END:VCALENDAR", ""])


class Object(unittest.TestCase):
    def test_prints_the_object_that_comes_first_with_what_is_not_known(self):
        text = calendar("X-OWN:1", "BEGIN:VTODO", "DTSTAMP:20070101T120000Z", "SUMMARY:  a", "SUMMARY;X-P=\"b c\":d", "END:VTODO",
                        "BEGIN:VEVENT", "UID:2", "END:VEVENT")
        code, out, _ = run(text)
        self.assertEqual(code, 0)
        self.assertEqual(out, text.replace("SUMMARY:  a", "SUMMARY:a"))
        self.assertEqual(run(out)[1], out)

    def test_prints_a_tree_without_an_object_as_it_is(self):
        text = calendar("BEGIN:VFREEBUSY", "UID:1", "END:VFREEBUSY")
        self.assertEqual(run(text)[1], text)

    def test_prints_all_cards_of_a_file(self):
        text = "BEGIN:VCARD\nN:a;b\nEND:VCARD\nBEGIN:VCARD\nTEL;TYPE=HOME:1\nEND:VCARD\n"
        self.assertEqual(run(text)[1], text)

    def test_lists_dates_in_the_zone_of_the_rule(self):
        text = calendar("BEGIN:VEVENT", "UID:1", "DTSTART;TZID=America/New_York:20070308T090000", "RRULE:FREQ=DAILY",
                        "EXDATE;TZID=America/New_York:20070309T090000", "RDATE;TZID=America/New_York:20070308T120000", "END:VEVENT",
                        "BEGIN:VEVENT", "UID:1", "RECURRENCE-ID;TZID=America/New_York:20070310T090000",
                        "DTSTART;TZID=America/New_York:20070310T110000", "END:VEVENT")
        self.assertEqual(run(text, "--occurrences", "4")[1].splitlines(),
                         [f"2007-03-{day}:00:00 America/New_York" for day in ("08T09", "08T12", "10T11", "11T09")])
        self.assertEqual(run(calendar("BEGIN:VEVENT", "DTSTART;VALUE=DATE:20070228", "RRULE:FREQ=DAILY;COUNT=2", "END:VEVENT"),
                             "--occurrences", "9")[1], "2007-02-28\n2007-03-01\n")
        self.assertEqual(run(calendar("BEGIN:VEVENT", "DTSTART:20070228T120000Z", "RRULE:FREQ=DAILY;COUNT=2",
                                      "EXDATE;VALUE=DATE:20070228", "END:VEVENT"), "--occurrences", "9")[1],
                         "2007-03-01T12:00:00Z\n")

    def test_says_when_there_is_nothing(self):
        code, out, err = run("Subject: a mail\n\ntext\n")
        self.assertEqual((code, out), (1, ""))
        self.assertIn("no calendar, card or note in it", err)


if __name__ == "__main__":
    unittest.main()
