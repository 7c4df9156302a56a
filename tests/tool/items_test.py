"""Usage: items_test.py NALVO FOLDER

The contacts, lists, journal entries and notes among the messages of FOLDER go to mail and back with nothing to explain, in
the default form and bit by bit.
"""

import json
import os
import subprocess
import sys
import tempfile

nalvo, folder = sys.argv[1:]


def run(*words):
    # A birthday is a day where the machine is, and these were made at UTC.
    return subprocess.run([nalvo, *words], capture_output=True, text=True, check=False, env={**os.environ, "TZ": "UTC"})


def expect(condition, *what):
    if not condition:
        sys.exit(" ".join(map(str, what)))


shown = [json.loads(line) for line in run("show", "--json", folder).stdout.splitlines()]
items = {item["file"]: item["messageClass"] for item in shown if item["messageClass"].startswith("IPM.")
         and item["messageClass"] != "IPM.Note"}
expect({"IPM.Contact", "IPM.DistList", "IPM.Activity", "IPM.StickyNote"} <= set(items.values()), "too few:", items)

for line in run("check", "--json", *items).stdout.splitlines():
    result = json.loads(line)
    expect(result["same"] == result["compared"] > 20, result)

with tempfile.TemporaryDirectory() as scratch:
    exact = run("to-mime", "--form", "exact", "-o", scratch + "/", *items)
    expect(exact.returncode == 0, exact.stderr)

print(len(items), "items came back whole")
