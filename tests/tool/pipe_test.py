"""Conversion as a filter over records."""

import base64
import json
import pathlib
import struct
import subprocess
import sys
import unittest

TOOL = sys.argv.pop(1)
NOTE = (pathlib.Path(__file__).parents[1] / "data" / "msg" / "unicode_note.msg").read_bytes()


def pipe(records, *arguments):
    return subprocess.run([TOOL, "pipe", *arguments], input=records, capture_output=True, check=False)


def line(identity, data):
    return json.dumps({"id": identity, "base64": base64.b64encode(data).decode()}).encode() + b"\n"


class Pipe(unittest.TestCase):
    def test_each_line_has_its_answer_in_order(self):
        mails = [b"Subject: %d\r\n\r\n" % i + b"x\r\n" * (3000 * (i % 3)) for i in range(60)]
        records = b"".join(line([i, "a"], mail) for i, mail in enumerate(mails))
        done = pipe(records, "to-mapi", "-j", "4")
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        answers = [json.loads(answer) for answer in done.stdout.splitlines()]
        self.assertEqual([answer["id"] for answer in answers], [[i, "a"] for i in range(60)])
        back = pipe(b"".join(line(i, base64.b64decode(answer["base64"])) for i, answer in enumerate(answers)), "to-mime",
                    "--form", "wire")
        for i, answer in enumerate(back.stdout.splitlines()):
            self.assertIn(b"Subject: %d\r\n" % i, base64.b64decode(json.loads(answer)["base64"]))

    def test_a_bad_record_stops_nothing(self):
        records = [b"no record\n", b"\n", b'{"id": 1}\n', b'{"id": 2, "base64": "!"}\n', b'{"base64": "AAAA", "id": 3}\n',
                   b"\0\xff\n", line("last", NOTE)]
        done = pipe(b"".join(records)[:-1], "to-mime")
        self.assertEqual(done.returncode, 1)
        answers = [json.loads(answer) for answer in done.stdout.splitlines()]
        self.assertEqual([(answer.get("id"), answer.get("line"), "error" in answer) for answer in answers],
                         [(None, 1, True), (None, 2, True), (1, 3, True), (2, None, True), (3, None, True), (None, 6, True),
                          ("last", None, False)])

    def test_blocks_with_lengths(self):
        block = lambda data: struct.pack(">I", len(data)) + data
        done = pipe(block(NOTE) + block(b"none") + block(NOTE) + b"\0\0\1\0cut", "to-mime", "--framing", "lengths")
        self.assertEqual(done.returncode, 1)
        self.assertEqual(done.stderr, b"nalvo: standard input: the last record is cut\n")
        answers, rest = [], done.stdout
        while rest:
            size = struct.unpack(">I", rest[1:5])[0]
            answers.append((rest[0], rest[5:5 + size]))
            rest = rest[5 + size:]
        self.assertEqual([status for status, _ in answers], [0, 1, 0])
        self.assertIn(b"Subject: ", answers[2][1])

    def test_a_form_of_several_files_is_refused(self):
        self.assertEqual(pipe(b"", "to-mime", "--form", "store").returncode, 2)


if __name__ == "__main__":
    unittest.main()
