"""The tool over many inputs: folders, mailboxes, calendars and cards, and runs that are stopped."""

import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

TOOL = sys.argv.pop(1)
MESSAGES = pathlib.Path(__file__).parents[1] / "data" / "msg"


def run(*arguments, stdin=b""):
    return subprocess.run([TOOL, *map(str, arguments)], input=stdin, capture_output=True, check=False)


def properties(*files):
    shown = run("show", "--json", *files)
    assert shown.returncode == 0, shown.stderr
    return [{p["name"]: p["value"] for p in json.loads(line)["properties"] if "name" in p} for line in shown.stdout.splitlines()]


class Batch(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.path = pathlib.Path(self.folder.name)
        self.addCleanup(self.folder.cleanup)

    def given(self, name, text):
        file = self.path / name
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_bytes(text if isinstance(text, bytes) else text.encode())
        return file

    def made(self, folder="out"):
        return sorted(str(f.relative_to(self.path / folder)) for f in (self.path / folder).rglob("*") if f.is_file())

    def test_the_tree_is_mirrored_and_names_never_collide(self):
        self.given("in/a.eml", "Subject: 1\n\n")
        self.given("in/a.EML", "Subject: 2\n\n")
        self.given("in/deep/b.eml", "Subject: 3\n\n")
        self.given("more/a.eml", "Subject: 4\n\n")
        done = run("to-mapi", "-o", self.path / "out", self.path / "in", self.path / "more")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertRegex(done.stderr.decode(), r"\Analvo: 4 converted in \d+\.\d s, \d+\.\d MB/s\n\Z")
        self.assertEqual(self.made(), ["a-2.msg", "a-3.msg", "a.msg", "deep/b.msg"])
        self.assertEqual([p["PR_SUBJECT"] for p in properties(*[self.path / "out" / f for f in self.made()])],
                         ["1", "4", "2", "3"])
        self.assertEqual(run("to-mapi", "-q", "--force", "-o", self.path / "out", self.path / "in").stderr, b"")

    def test_a_mailbox_in_one_file_is_taken_apart(self):
        box = self.given("old.mbox", "From ann@example.org Mon Mar  2 10:00:00 2020\r\nSubject: one\r\n\r\nhello\r\n>From here\r\n"
                                     ">>From there\r\n\r\nFrom me to you\r\n\r\n"
                                     "From - Mon Mar  2 10:00:00 2020\nSubject: two\n\nlast\n")
        self.given("mail/Inbox", box.read_bytes())
        self.assertEqual(run("to-mapi", "-o", self.path / "out", box, self.path / "mail").returncode, 0)
        self.assertEqual(self.made(), ["Inbox.messages/000001.msg", "Inbox.messages/000002.msg", "old/000001.msg",
                                       "old/000002.msg"])
        first, second = properties(self.path / "out/old/000001.msg", self.path / "out/old/000002.msg")
        self.assertEqual((first["PR_SUBJECT"], second["PR_SUBJECT"]), ("one", "two"))
        self.assertEqual(first["PR_BODY"], "hello\r\nFrom here\r\n>From there\r\n\r\nFrom me to you\r\n")
        self.assertEqual(second["PR_BODY"], "last\r\n")

    def test_a_maildir_brings_its_flags(self):
        self.given("box/cur/12.M1.host:2,FS", "Subject: a\n\n")
        self.given("box/cur/13.M1.host:2,", "Subject: b\n\n")
        self.given("box/new/14.M1.host", "Subject: c\n\n")
        self.given("box/tmp/15", "Subject: half\n\n")
        self.given("box/.Sent/cur/16:2,S", "Subject: d\n\n")
        (self.path / "box/.Sent/new").mkdir()
        self.assertEqual(run("to-mapi", "-o", self.path / "out", self.path / "box").returncode, 0)
        self.assertEqual(self.made(), [".Sent/16.msg", "12.M1.host.msg", "13.M1.host.msg", "14.M1.host.msg"])
        found = properties(*[self.path / "out" / f for f in self.made()])
        self.assertEqual([p["PR_MESSAGE_FLAGS"] & 1 for p in found], [1, 1, 0, 0])
        self.assertEqual([p.get("PR_FLAG_STATUS", 0) for p in found], [0, 2, 0, 0])

    def test_calendars_and_cards_become_items(self):
        self.given("in/two.vcf", "BEGIN:VCARD\nVERSION:3.0\nFN:Ann\nitem1.EMAIL:ann@example.org\nitem1.X-ABLabel:_$!<Work>!$_\n"
                                 "END:VCARD\nBEGIN:VCARD\nVERSION:3.0\nFN:Bob\nEND:VCARD\n")
        event = "BEGIN:VEVENT\r\nUID:{}\r\nSUMMARY:{}\r\nDTSTART:20200302T100000Z\r\nEND:VEVENT\r\n"
        moved = "BEGIN:VEVENT\r\nUID:{}\r\nRECURRENCE-ID:20200301T100000Z\r\nDTSTART:20200302T100000Z\r\nEND:VEVENT\r\n"
        self.given("in/cal.ics", "\ufeffBEGIN:VCALENDAR\r\nVERSION:2.0\r\n" + event.format(1, "one") + event.format(2, "two") +
                   event.format(1, "again") + moved.format(1) + moved.format(9) + moved.format(9) +
                   "END:VCALENDAR\r\n")
        for name, coding in (("marked", "utf-16"), ("big", "utf-16-be"), ("little", "utf-16-le")):
            self.given(f"wide/{name}.vcf", "BEGIN:VCARD\r\nFN:Zoë\r\nEND:VCARD\r\n".encode(coding))
        self.assertEqual(run("to-mapi", "-o", self.path / "out/wide", self.path / "wide").returncode, 0)
        found = properties(*[self.path / "out/wide" / f for f in self.made("out/wide")])
        self.assertEqual([p["PR_DISPLAY_NAME"] for p in found], 3 * ["Zoë"])
        shutil.rmtree(self.path / "out")
        self.given("in/bare.ics", event.format(3, "bare") + event.format(4, "more") + event.format(3, "again"))
        self.given("in/empty.ics", "BEGIN:VCALENDAR\nVERSION:2.0\nEND:VCALENDAR\n")
        done = run("to-mapi", "-o", self.path / "out", self.path / "in")
        self.assertEqual(done.returncode, 1)
        self.assertIn(b"empty.ics: no event, task, journal entry or card in it\n", done.stderr)
        self.assertEqual(self.made(), [f"bare-{i}.msg" for i in (1, 2, 3)] + [f"cal-{i}.msg" for i in (1, 2, 3, 4, 5)] +
                         ["two-1.msg", "two-2.msg"])
        self.assertEqual([p["PR_MESSAGE_CLASS"] for p in properties(*[self.path / "out" / f for f in self.made()])],
                         8 * ["IPM.Appointment"] + 2 * ["IPM.Contact"])

    def test_dates_that_no_pattern_holds_are_told(self):
        series = "BEGIN:VEVENT\nUID:1\nDTSTART:20240506T090000Z\nDTEND:20240506T100000Z\nRRULE:{}\nEND:VEVENT\n"
        self.given("in/odd.ics", series.format("FREQ=MONTHLY;BYDAY=1MO,3MO"))
        self.given("in/plain.ics", series.format("FREQ=MONTHLY;BYDAY=1MO"))
        for verb in (["to-mapi", "-o", self.path / "out"], ["show"]):
            done = run(*verb, self.path / "in")
            self.assertEqual(done.returncode, 0)
            self.assertEqual(done.stderr.count(b": warning: "), 1, done.stderr)
            self.assertIn(b"odd.ics: warning: message: its series has dates that a recurrence pattern can't hold; "
                          b"2024-05-20T09:00:00Z is left out\n", done.stderr)

    def test_what_can_not_be_read_fails_alone(self):
        self.given("in/good.eml", "Subject: x\n\n")
        self.given("in/empty.eml", "")
        (self.path / "in/loop").symlink_to(self.path / "in")
        shut = self.given("in/shut.eml", "Subject: y\n\n")
        closed = self.given("in/closed/z.eml", "Subject: z\n\n").parent
        shut.chmod(0)
        closed.chmod(0)
        self.addCleanup(closed.chmod, 0o700)
        done = run("to-mapi", "-o", self.path / "out", self.path / "in")
        if os.geteuid() != 0:
            self.assertEqual(done.returncode, 1)
            self.assertRegex(done.stderr.decode(), r"closed: Permission denied\n")
            self.assertRegex(done.stderr.decode(), r"shut\.eml: 0x80070005")
            self.assertEqual(self.made(), ["empty.msg", "good.msg"])
        else:  # who reads all
            self.assertEqual(self.made(), ["closed/z.msg", "empty.msg", "good.msg", "shut.msg"])

    def test_a_report_has_a_row_for_each_input(self):
        self.given("in/a.msg", (MESSAGES / "unicode_note.msg").read_bytes())
        self.given("in/b.msg", "no message")
        file = self.path / "report.json"
        self.assertEqual(run("to-mime", "--report", file, "-o", self.path / "out", self.path / "in").returncode, 1)
        report = json.loads(file.read_text())
        self.assertEqual([(pathlib.Path(row["file"]).name, row["class"], row["outcome"]) for row in report["inputs"]],
                         [("a.msg", "IPM.Note", "good"), ("b.msg", "", "failed")])
        self.assertTrue(report["inputs"][1]["error"])
        self.assertEqual(report["inputs"][0]["output"], str(self.path / "out/a.eml"))
        self.assertEqual({k: report["totals"][k] for k in ("good", "failed", "skipped", "left")},
                         {"good": 1, "failed": 1, "skipped": 0, "left": 0})
        self.assertEqual(run("check", "--report", file, self.path / "in/a.msg", self.path / "in/a.msg").returncode, 0)
        self.assertEqual([(row["class"], row["outcome"]) for row in json.loads(file.read_text())["inputs"]], 2 * [("IPM.Note", "good")])

    def batch(self, count):
        for i in range(count):
            self.given(f"in/{i:04}.eml", f"Subject: {i}\n\n" + "line\n" * 2000)

    def started(self, *more):
        """A run that has begun to write."""
        process = subprocess.Popen([TOOL, "to-mapi", "-o", str(self.path / "out"), str(self.path / "in"), *more],
                                   stderr=subprocess.PIPE)
        deadline = time.monotonic() + 60
        while time.monotonic() < deadline and not (self.path / "out").exists():
            time.sleep(0.002)
        return process

    def test_an_interrupt_ends_what_is_begun(self):
        self.batch(1500)
        process = self.started("--report", str(self.path / "report.json"))
        process.send_signal(signal.SIGINT)
        told = process.communicate()[1].decode()
        self.assertEqual(process.returncode, 130, told)
        sums = re.search(r"nalvo: interrupted: (\d+) converted, (\d+) not begun in ", told)
        self.assertTrue(sums, told)
        self.assertEqual(int(sums[1]) + int(sums[2]), 1500)
        self.assertEqual(len(self.made()), int(sums[1]))
        self.assertEqual(json.loads((self.path / "report.json").read_text())["totals"]["left"], int(sums[2]))

    def test_a_killed_run_goes_on_where_it_was(self):
        self.batch(400)
        for moment in range(20):
            process = self.started("--resume")
            time.sleep(0.01 * moment % 0.07)
            process.kill()
            process.communicate()
        resumed = run("to-mapi", "--resume", "-o", self.path / "out", self.path / "in")
        self.assertEqual(resumed.returncode, 0, resumed.stderr)
        self.assertEqual(run("to-mapi", "-q", "-o", self.path / "whole", self.path / "in").returncode, 0)
        self.assertEqual(self.made(), self.made("whole"))
        for name in self.made()[::37]:
            one, other = properties(self.path / "out" / name, self.path / "whole" / name)
            self.assertEqual(one["PR_BODY"], other["PR_BODY"])
        self.assertEqual(run("to-mapi", "--resume", "--force", self.path / "in").returncode, 2)


if __name__ == "__main__":
    unittest.main()
