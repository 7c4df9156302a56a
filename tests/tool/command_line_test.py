"""The tool as people run it: output, exit codes, one line for each failure."""

import json
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

TOOL = sys.argv.pop(1)
EXAMPLES = pathlib.Path(__file__).parents[2] / "examples"


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
        self.assertIn(b"PR_SUBJECT  a[31mb", done.stdout)

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

    def test_one_bad_input_fails_alone(self):
        good = self.given("good.eml", "Subject: x\n\nx\n")
        done = run("show", self.path / "missing.eml", good)
        self.assertEqual(done.returncode, 1)
        self.assertIn(b"PR_SUBJECT  x", done.stdout)
        self.assertEqual(done.stderr.decode().splitlines(),
                         [f"nalvo: {self.path}/missing.eml: 0x80070003 ERROR_PATH_NOT_FOUND"])

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
