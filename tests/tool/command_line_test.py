"""The tool as people run it: output, exit codes, one line for each failure."""

import hashlib
import json
import os
import pathlib
import pty
import re
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

TOOL = sys.argv.pop(1)
EXAMPLES = pathlib.Path(__file__).parents[2] / "examples"
MESSAGES = pathlib.Path(__file__).parents[1] / "data" / "msg"


def run(*arguments, stdin=b""):
    environment = dict(os.environ, TZ="Asia/Kolkata")
    return subprocess.run([TOOL, *map(str, arguments)], input=stdin, capture_output=True, env=environment, check=False)


class CommandLine(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.path = pathlib.Path(self.folder.name)
        self.addCleanup(self.folder.cleanup)

    def given(self, name, text):
        file = self.path / name
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_bytes(text.encode())
        return file

    def test_show_json_has_the_promised_shape(self):
        done = run("show", "--json", EXAMPLES / "lunch.eml")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(done.stdout.count(b"\n"), 1)
        message = json.loads(done.stdout)
        self.assertEqual(list(message), ["file", "messageClass", "properties", "recipients", "attachments"])
        self.assertEqual(message["messageClass"], "IPM.Note")
        by_name = {p["name"]: p for p in message["properties"] if "name" in p}
        self.assertEqual(by_name["PR_SUBJECT"],
                         {"tag": "0037001f", "name": "PR_SUBJECT", "type": "PT_UNICODE",
                          "value": "Re: Mittagessen am Donnerstag \U0001F35D"})
        self.assertEqual(by_name["PR_CLIENT_SUBMIT_TIME"]["value"], "2020-03-02T09:00:00.0000000Z")
        self.assertEqual(by_name["PR_MESSAGE_DELIVERY_TIME"]["value"], "2020-03-02T09:00:07.0000000Z")
        self.assertEqual(by_name["PR_IMPORTANCE"]["value"], 2)
        self.assertIn("base64", by_name["PR_HTML"]["value"])
        named = [p["named"] for p in message["properties"] if "named" in p]
        self.assertIn('0000001f {00020386-0000-0000-C000-000000000046} [UN] "Content-Class"', named)
        names = [p["value"] for r in message["recipients"] for p in r["properties"] if p.get("name") == "PR_EMAIL_ADDRESS"]
        self.assertEqual(names, ["ann@example.com", "bob@example.com", "carol@example.com", "dave@example.com"])

    def test_long_values_are_told_by_digest(self):
        file = self.given("long.eml", "Content-Type: text/html\n\n" + "<p>x</p>\n" * 1000)
        value = lambda *more: next(p["value"] for p in json.loads(run("show", "--json", *more, file).stdout)["properties"]
                                   if p.get("name") == "PR_HTML")
        self.assertEqual(value()["size"], 10000)
        self.assertEqual(len(value()["sha256"]), 64)
        self.assertIn("base64", value("--full"))

    def test_show_text_keeps_the_terminal_safe(self):
        file = self.given("odd.eml", "Subject: =?utf-8?Q?a=1B[31mb?=\n\ntext\n")
        done = run("show", file)
        self.assertEqual(done.returncode, 0)
        self.assertNotIn(b"\x1b", done.stdout)
        self.assertRegex(done.stdout, rb"PR_SUBJECT +a\[31mb\n")

    def test_show_is_written_for_people(self):
        mail = self.given("pleasant.eml", "From: Ann <ann@example.org>\nTo: Bob <bob@example.com>\nSubject: Plan\n"
                                          "Date: Mon, 2 Mar 2020 10:00:00 +0000\nImportance: high\nMIME-Version: 1.0\n"
                                          "Content-Type: multipart/mixed; boundary=b\n\n--b\n\nHello\n--b\n"
                                          "Content-Type: image/png; name=a.png\n\n" + 1234 * "x" + "\n--b--\n")
        for zone, sent in (("Asia/Tokyo", "Mon 2 Mar 2020 19:00:00 JST"), ("America/New_York", "Mon 2 Mar 2020 05:00:00 EST")):
            done = subprocess.run([TOOL, "show", mail], capture_output=True, text=True, check=True, env={**os.environ, "TZ": zone})
            lines = [re.sub(" +", " ", line.strip()) for line in done.stdout.splitlines()]
            self.assertEqual(lines[:8], [str(mail), "Plan", "From Ann <ann@example.org>", "To Bob <bob@example.com>", f"Sent {sent}",
                                         f"Received {sent}", "Kind mail (IPM.Note)", "Attachments a.png, 1.2 kB"])
            for line in ("PR_IMPORTANCE 2 (high)", f"PR_CLIENT_SUBMIT_TIME {sent}", "To: Bob <bob@example.com>",
                         "PR_RECIPIENT_TYPE 1 (To)", "Attachment: a.png, 1.2 kB", "PR_ATTACH_METHOD 1 (a file)"):
                self.assertIn(line, lines)
            self.assertNotIn("\033", done.stdout)
        leader, follower = pty.openpty()
        subprocess.run([TOOL, "show", mail], stdout=follower, check=True, env={**os.environ, "TERM": "xterm"})
        self.assertIn(b"\033[1mPlan\033[0m", os.read(leader, 4096))
        os.close(follower)
        os.close(leader)

    def test_folders_and_standard_input(self):
        self.given("b/two.eml", "Subject: two\n\nx\n")
        self.given("a/one.EML", "Subject: one\n\nx\n")
        self.given("a/note.txt", "no mail")
        done = run("show", "--json", self.path, "-", stdin=b"Subject: three\n\nx\n")
        subjects = [next(p["value"] for p in json.loads(line)["properties"] if p.get("name") == "PR_SUBJECT")
                    for line in done.stdout.splitlines()]
        self.assertEqual(subjects, ["one", "two", "three"])

    def test_check_tells_what_came_back(self):
        done = run("check", "--json", "-j", "2", EXAMPLES / "lunch.eml", EXAMPLES / "lunch.eml")
        self.assertEqual(done.returncode, 0, done.stdout)
        for line in done.stdout.splitlines():
            result = json.loads(line)
            self.assertEqual(list(result), ["file", "compared", "same", "explained", "lost", "changed", "added"])
            self.assertGreater(result["same"], 10)
            self.assertEqual(result["lost"] + result["changed"] + result["added"], [])
            self.assertTrue(all(e["rule"] for e in result["explained"]))

    def test_check_warns_of_both_journeys(self):
        report = self.given("report.eml", "Content-Type: multipart/report; report-type=disposition-notification; boundary=b\n\n"
                                          "--b\n\ntext\n--b--\n")
        mail = self.given("page.eml", "Content-Type: text/plain; charset=windows-1251\n\nx\n")
        self.assertEqual(run("to-mapi", mail).returncode, 0)
        item = self.given("item.eml", "Subject: When?\nContent-Type: text/calendar; method=REPLY\n\nBEGIN:VCALENDAR\n"
                                      "BEGIN:VEVENT\nUID:1\nEND:VEVENT\nEND:VCALENDAR\n")
        event = "BEGIN:VEVENT\nUID:{}\nDTSTART:20240506T090000Z\nEND:VEVENT\n"
        some = self.given("some.eml", "Content-Type: text/calendar\n\nBEGIN:VCALENDAR\n" + event.format(1) + event.format(2) +
                          "END:VCALENDAR\n")
        page = self.path / "page.msg"
        entry = re.compile(rb"(\x03\x00\xde\x3f....)" + re.escape((1251).to_bytes(4, "little")), re.DOTALL)
        changed, count = entry.subn(lambda found: found[1] + (4711).to_bytes(4, "little"), page.read_bytes())
        self.assertEqual(count, 1)
        page.write_bytes(changed)
        done = run("check", "-q", report, item, some, page)
        self.assertEqual(done.returncode, 0)
        self.assertEqual(done.stderr.decode().splitlines(),
                         [f"nalvo: {report}: warning: message: the report is damaged and was read as a mail",
                          f"nalvo: {item}: warning: message: the item is damaged and was read as a mail; its text is an "
                          "attachment",
                          f"nalvo: {some}: warning: message: it holds several items and was read as a mail; their text is an "
                          "attachment",
                          f"nalvo: {page}: warning: the code page 4711 is unknown and counts as absent"])

    def test_one_bad_input_fails_alone(self):
        good = self.given("good.eml", "Subject: x\n\nx\n")
        done = run("show", self.path / "missing.eml", good)
        self.assertEqual(done.returncode, 1)
        self.assertRegex(done.stdout, rb"PR_SUBJECT +x\n")
        self.assertEqual(done.stderr.decode().splitlines(),
                         [f"nalvo: {self.path}/missing.eml: no such file or folder (0x80070003 ERROR_PATH_NOT_FOUND)"])

    def test_mime_in_three_forms(self):
        note = MESSAGES / "unicode_note.msg"
        for form, xmapi, beside in (("lossless", True, False), ("wire", False, False), ("store", False, True)):
            folder = self.path / form
            folder.mkdir()
            done = run("to-mime", "--form", form, "-o", folder, note)
            self.assertEqual((done.returncode, done.stderr), (0, b""), form)
            mail = (folder / "unicode_note.eml").read_bytes()
            header = mail.split(b"\r\n\r\n")[0]  # parts keep theirs beside a store's annotations
            self.assertEqual(b"\nX-MAPI:" in header, xmapi, form)
            self.assertIn(b"\nSubject:", b"\n" + mail)
            self.assertEqual((folder / "unicode_note.annotations.json").exists(), beside, form)
            self.assertEqual((folder / "unicode_note.flags.json").exists(), beside, form)
        entries = json.loads((self.path / "store" / "unicode_note.annotations.json").read_text())
        self.assertEqual({tuple(sorted(e)) for e in entries}, {("name", "value")})

    def test_wire_form_keeps_x_mapi_out_of_embedded_messages(self):
        lossless = run("to-mime", "-o", "-", MESSAGES / "embedded_and_ole.msg").stdout
        wire = run("to-mime", "--form", "wire", "-o", "-", MESSAGES / "embedded_and_ole.msg").stdout
        self.assertGreater(lossless.count(b"\nX-MAPI:"), 1)
        self.assertIn(b"message/rfc822", wire)
        self.assertNotIn(b"\nX-MAPI:", b"\n" + wire)

    def test_there_and_back_through_files(self):
        mail = (b"From: A <a@example.com>\r\nTo: b@example.com\r\nSubject: =?utf-8?Q?Gr=C3=BC=C3=9Fe?=\r\n"
                b"Message-ID: <1@example.com>\r\nX-Odd: kept\r\n\r\ntext\r\n")
        (self.path / "m.eml").write_bytes(mail)
        self.assertEqual(run("to-mapi", self.path / "m.eml").returncode, 0)
        self.assertEqual(run("to-mime", "-o", self.path / "back.eml", self.path / "m.msg").returncode, 0)
        back = (self.path / "back.eml").read_bytes()
        for line in mail.split(b"\r\n\r\n")[0].split(b"\r\n") + [b"text"]:
            self.assertIn(line, back.split(b"\r\n"))
        self.assertEqual(run("to-mapi", "-o", "-", self.path / "m.eml").stdout[:4], b"\xd0\xcf\x11\xe0")

    def test_sidecars_win_over_x_mapi_and_x_mapi_can_be_refused(self):
        def names_of(*more):
            done = run("to-mapi", "--force", "-o", self.path / "back.msg", *more, self.path / "n.eml")
            self.assertEqual(done.returncode, 0, done.stderr)
            properties = json.loads(run("show", "--json", self.path / "back.msg").stdout)["properties"]
            return {p.get("named", p["tag"]) for p in properties}
        self.assertEqual(run("to-mime", "-o", self.path / "n.eml", MESSAGES / "many_types.msg").returncode, 0)
        trusted, refused = names_of(), names_of("--no-x-mapi")
        self.assertTrue(trusted - refused)
        run("to-mime", "--form", "store", "--force", "-o", self.path / "n.eml", MESSAGES / "many_types.msg")
        self.assertNotIn(b"X-MAPI", (self.path / "n.eml").read_bytes().split(b"\r\n\r\n")[0])
        self.assertEqual(trusted - names_of(), set())
        (self.path / "n.annotations.json").write_text("[{")
        done = run("to-mapi", "--force", "-o", self.path / "back.msg", self.path / "n.eml")
        self.assertEqual((done.returncode, done.stderr.count(b"\n")), (1, 1))

    def test_an_existing_output_is_left_alone(self):
        there = self.given("note.eml", "mine")
        done = run("to-mime", "-o", there, MESSAGES / "unicode_note.msg")
        self.assertEqual((done.returncode, done.stderr.count(b"\n")), (1, 1))
        self.assertEqual(there.read_text(), "mine")
        self.assertEqual(run("to-mime", "--force", "-o", there, MESSAGES / "unicode_note.msg").returncode, 0)
        self.assertIn(b"Subject", there.read_bytes())
        self.assertEqual([f.name for f in self.path.iterdir()], ["note.eml"])

    def test_a_damaged_message_is_one_clear_line(self):
        bad = self.given("bad.msg", "no compound file")
        done = run("to-mime", "-o", self.path, bad)
        self.assertEqual((done.returncode, done.stdout), (1, b""))
        self.assertRegex(done.stderr.decode(), r"\Analvo: .*bad\.msg: [^\n]+\n\Z")
        self.assertEqual([f.name for f in self.path.iterdir()], ["bad.msg"])

    def test_a_full_disk_leaves_nothing(self):
        big = self.given("big.eml", "Subject: x\n\n" + "x" * 70 + "\n" + "y" * 300000 + "\n")

        def small_disk():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (65536, 65536))
        target = self.path / "out.msg"
        done = subprocess.run([TOOL, "to-mapi", "-o", str(target), str(big)], capture_output=True, check=False,
                              preexec_fn=small_disk)
        self.assertEqual((done.returncode, done.stderr.count(b"\n")), (1, 1), done.stderr)
        self.assertEqual([f.name for f in self.path.iterdir()], ["big.eml"])

    def test_a_folder_that_can_not_be_written(self):
        done = run("to-mime", "-o", "/proc/x.eml", MESSAGES / "unicode_note.msg")
        self.assertEqual((done.returncode, done.stderr.count(b"\n")), (1, 1), done.stderr)

    def test_exact_form_brings_back_the_same_file(self):
        def listed(file):
            value = json.loads(run("show", "--json", "--full", file).stdout)
            del value["file"]
            names = lambda o: sorted((p.get("named", p["tag"]), json.dumps(p["value"])) for p in o["properties"])
            # Texts that were wide say so in a file that is written.
            strip = lambda o: [p for p in names(o) if p[0] != "340d0003"]
            tell = lambda o: [strip(o), [strip(r) for r in o["recipients"]],
                              [[strip(a), tell(a["message"]) if "message" in a else None] for a in o["attachments"]]]
            return tell(value)
        for name in ("embedded_and_ole", "many_types", "narrow_1251", "unicode_note"):
            mail, back = self.path / f"{name}.eml", self.path / f"{name}.msg"
            done = run("to-mime", "--form", "exact", "-o", mail, MESSAGES / f"{name}.msg")
            self.assertEqual(done.returncode, 0, done.stderr)
            self.assertEqual(run("to-mapi", "-o", back, mail).returncode, 0)
            self.assertEqual(listed(back), listed(MESSAGES / f"{name}.msg"), name)

    def test_a_full_disk_leaves_no_sidecar_alone(self):
        def small_disk():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (64, 64))
        done = subprocess.run([TOOL, "to-mime", "--form", "store", "-o", str(self.path / "out.eml"),
                               str(MESSAGES / "unicode_note.msg")], capture_output=True, check=False,
                              preexec_fn=small_disk)
        self.assertEqual((done.returncode, done.stderr.count(b"\n")), (1, 1), done.stderr)
        self.assertEqual(list(self.path.iterdir()), [])

    def test_an_unwritable_folder_is_one_line(self):
        for verb, source in (("to-mime", MESSAGES / "unicode_note.msg"), ("to-mapi", EXAMPLES / "lunch.eml")):
            done = run(verb, "-o", "/proc/self/out", source)
            self.assertEqual((done.returncode, done.stderr.count(b"\n")), (1, 1), done.stderr)

    def test_warnings_go_to_standard_error(self):
        damaged = self.path / "damaged.msg"
        bytes_ = (MESSAGES / "unicode_note.msg").read_bytes()
        # The header of the list of properties counts one recipient more than there are.
        shown = json.loads(run("show", "--json", MESSAGES / "unicode_note.msg").stdout)
        count = len(shown["recipients"])
        at = bytes_.find(bytes(8) + count.to_bytes(4, "little"))
        self.assertGreaterEqual(at, 0)
        patched = bytearray(bytes_)
        patched[at + 16:at + 20] = (count + 1).to_bytes(4, "little")
        damaged.write_bytes(patched)
        done = run("show", "--json", damaged)
        self.assertEqual(done.returncode, 0)
        self.assertRegex(done.stderr.decode(), r"\Analvo: .*damaged\.msg: warning: [^\n]*recipients[^\n]*\n\Z")
        self.assertEqual(len(json.loads(done.stdout)["recipients"]), count)

    def test_progress_shows_on_a_terminal_alone(self):
        for i in range(3000):
            self.given(f"in/{i:04}.eml", f"Subject: {i}\n\n" + "line\n" * 500)
        arguments = [TOOL, "to-mapi", "-q", "-o", str(self.path / "out"), str(self.path / "in")]
        terminal, end = pty.openpty()
        batch = subprocess.Popen(arguments, stderr=end)
        os.close(end)
        told = b""
        while True:
            try:
                piece = os.read(terminal, 4096)
            except OSError:  # the other end is closed
                break
            if not piece:
                break
            told += piece
        os.close(terminal)
        self.assertEqual(batch.wait(), 0)
        self.assertRegex(told, rb"\[#+\.*\] \d+/3000  \d+/s  \d+ s left")
        self.assertTrue(told.endswith(b"\r\x1b[K"), "the bar makes way at the end")
        self.assertEqual(run(*arguments[1:], "--force").stderr, b"")

    @unittest.skipUnless(shutil.which("cc"), "no compiler for the stand-in")
    def test_without_nameless_files_a_hidden_name_stands_in(self):
        source = self.given("shim.c", "#define _GNU_SOURCE\n#include <dlfcn.h>\n#include <errno.h>\n#include <fcntl.h>\n"
                            "#include <stdarg.h>\n#include <unistd.h>\n#undef open\n#undef open64\n"
                            "int open(const char* path, int flags, ...) {\n"
                            "  va_list more; va_start(more, flags); int mode = va_arg(more, int); va_end(more);\n"
                            "  if ((flags & O_TMPFILE) == O_TMPFILE) { write(2, \"refused\", 7); errno = EOPNOTSUPP; return -1; }\n"
                            "  return ((int (*)(const char*, int, ...))dlsym(RTLD_NEXT, \"open\"))(path, flags, mode);\n"
                            "}\nint open64(const char* path, int flags, ...) {\n"
                            "  va_list more; va_start(more, flags); int mode = va_arg(more, int); va_end(more);\n"
                            "  return open(path, flags, mode);\n}\n")
        shim = self.path / "shim.so"
        subprocess.run(["cc", "-shared", "-fPIC", "-o", str(shim), str(source), "-ldl"], check=True)
        out = self.path / "out"
        out.mkdir()

        def convert(*more, limit=None):
            def prepare():
                signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
                if limit:
                    resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit))
            return subprocess.run([TOOL, "to-mime", "-o", str(out / "n.eml"), str(MESSAGES / "unicode_note.msg"), *more],
                                  env=dict(os.environ, LD_PRELOAD=str(shim)), capture_output=True, check=False,
                                  preexec_fn=prepare)
        self.assertEqual(convert(limit=64).returncode, 1)
        self.assertEqual(list(out.iterdir()), [])
        done = convert()
        self.assertEqual((done.returncode, done.stderr), (0, b"refused"))
        first = (out / "n.eml").read_bytes()
        self.assertIn(b"Subject", first)
        self.assertEqual(convert().returncode, 1)
        self.assertEqual(convert("--force").returncode, 0)
        self.assertEqual([f.name for f in out.iterdir()], ["n.eml"])
        self.assertEqual((out / "n.eml").stat().st_mode & 0o111, 0)

    def test_a_killed_batch_leaves_no_half_file(self):
        source = self.path / "in"
        for i in range(2000):
            self.given(f"in/{i:04}.eml", f"Subject: {i}\n\n" + "line\n" * 2000)
        target = self.path / "out"
        batch = subprocess.Popen([TOOL, "to-mapi", "-j", "2", "-o", str(target), str(source)], stderr=subprocess.DEVNULL)
        deadline = time.monotonic() + 60
        while time.monotonic() < deadline and (not target.exists() or len(list(target.iterdir())) < 20):
            time.sleep(0.005)
        batch.kill()
        batch.wait()
        left = sorted(target.iterdir())
        self.assertGreaterEqual(len(left), 20)
        self.assertLess(len(left), 2000, "the batch ended before it was killed")
        self.assertEqual({f.suffix for f in left}, {".msg"})
        shown = run("show", "--json", *left)
        self.assertEqual((shown.returncode, shown.stderr), (0, b""))
        self.assertEqual(shown.stdout.count(b"\n"), len(left))

    def test_a_folder_of_both_kinds(self):
        self.given("both/a.eml", "Subject: a\n\nx\n")
        (self.path / "both" / "b.msg").write_bytes((MESSAGES / "unicode_note.msg").read_bytes())
        for verb, made in (("to-mime", "b.eml"), ("to-mapi", "a.msg")):
            self.assertEqual(run(verb, "-o", f"{self.path}/{verb}/", "-j", "2", self.path / "both").returncode, 0)
            self.assertEqual([f.name for f in (self.path / verb).iterdir()], [made])
        self.assertEqual(len(run("check", "--json", self.path / "both").stdout.splitlines()), 2)

    def test_items_are_written_as_other_programs_read_them(self):
        event = self.given("event.ics", "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nBEGIN:VEVENT\r\nUID:1\r\nSUMMARY:Grüße\r\n"
                                        "DTSTART:20240101T080000Z\r\nDTEND:20240101T090000Z\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n")
        card = self.given("card.vcf", "BEGIN:VCARD\r\nVERSION:3.0\r\nFN:Ann Lee\r\nN:Lee;Ann\r\n"
                                      "PHOTO;ENCODING=b:/9j/AHBpY3R1cmU=\r\nEND:VCARD\r\n")
        note = self.given("note.eml", "Content-Type: text/x-stickynote\n\nBEGIN:STICKYNOTE\nTEXT:buy milk\nEND:STICKYNOTE\n")
        mail = self.given("mail.eml", "Subject: plain\n\nx\n")
        messages = self.path / "messages"
        self.assertEqual(run("to-mapi", "-q", "-o", messages, event, card, note, mail).returncode, 0)
        for how, expected in (("only", ["card.vcf", "event.ics", "mail.eml", "note.txt"]),
                              ("beside", ["card.eml", "card.vcf", "event.eml", "event.ics", "mail.eml", "note.eml", "note.txt"])):
            out = self.path / how
            done = run("to-mime", "-q", "--object", how, "-o", out, messages)
            self.assertEqual((done.returncode, done.stderr), (0, b""))
            self.assertEqual(sorted(file.name for file in out.iterdir()), expected)
            self.assertIn("SUMMARY:Grüße\r\n".encode(), (out / "event.ics").read_bytes())
            self.assertIn(b"N:Lee;Ann", (out / "card.vcf").read_bytes())
            self.assertIn(b"PHOTO;ENCODING=b;TYPE=JPEG:\r\n /9j/AHBpY3R1cmU=\r\n", (out / "card.vcf").read_bytes())
            self.assertIn(b"buy milk", (out / "note.txt").read_bytes())
            self.assertNotIn(b"STICKYNOTE", (out / "note.txt").read_bytes())
            self.assertEqual(run("to-mime", "-q", "--object", how, "-o", out, messages).returncode, 1)
            again = run("to-mime", "--resume", "--object", how, "-o", out, messages)
            self.assertIn(b"4 skipped", again.stderr)
        self.assertEqual(run("to-mime", "--object", "beside", "-o", "-", messages / "card.msg").returncode, 2)

    def test_a_reproducible_run_gives_the_same_bytes(self):
        inputs = [self.given("event.ics", "BEGIN:VCALENDAR\nBEGIN:VEVENT\nSUMMARY:x\nDTSTART:20240101T080000Z\nEND:VEVENT\n"
                                          "END:VCALENDAR\n"), EXAMPLES / "lunch.eml"]
        messages = sorted(MESSAGES.glob("[emnu]*.msg"))
        made = {}
        for name, options in (("one", ["--reproducible"]), ("two", ["--reproducible", "-j", "1"]), ("free", [])):
            out = self.path / name
            self.assertEqual(run("to-mapi", "-q", *options, "-o", out, *inputs).returncode, 0)
            self.assertEqual(run("to-mime", "-q", *options, "-o", out, *messages).returncode, 0)
            made[name] = {file.name: hashlib.sha256(file.read_bytes()).hexdigest() for file in out.iterdir()}
        self.assertEqual(made["one"], made["two"])
        self.assertNotEqual(made["one"], made["free"])
        done = subprocess.run([TOOL, "to-mapi", "--reproducible", "-o", "-", "-"], input=b"Subject: x\n\n", capture_output=True, check=True,
                              env={**os.environ, "SOURCE_DATE_EPOCH": "86400"})
        (self.path / "fixed.msg").write_bytes(done.stdout)
        self.assertIn(b"1970-01-02T00:00:00", run("show", "--json", self.path / "fixed.msg").stdout)

    def test_wrong_usage(self):
        for arguments in ((), ("show",), ("frobnicate", "x"), ("check", "-j", "0", "x"), ("show", "--what", "x")):
            self.assertEqual(run(*arguments).returncode, 2, arguments)
        self.assertEqual(run("--help").returncode, 0)
        self.assertRegex(run("--version").stdout, rb"^nalvo \d+\.\d+\.\d+")

    def test_a_closed_output_is_a_failure(self):
        with open("/dev/full", "wb") as full:
            done = subprocess.run([TOOL, "show", EXAMPLES / "lunch.eml"], stdout=full, stderr=subprocess.PIPE, check=False)
        self.assertEqual(done.returncode, 1)


if __name__ == "__main__":
    unittest.main()
