"""Runs the commands that the README shows and compares what they print; checks that files it names exist."""

import os
import pathlib
import re
import shlex
import subprocess
import sys

TOOL, ROOT = sys.argv[1], pathlib.Path(sys.argv[2])
problems, ran = [], 0
for document in sorted([ROOT / "README.md", ROOT / "CONTRIBUTING.md", *(ROOT / "docs").glob("*.md")]):
    text = document.read_text(encoding="utf-8")
    for target in re.findall(r"\]\(([^)#:]+)\)", text):
        if not (document.parent / target).exists():
            problems.append(f"{document.name}: {target} does not exist")
    for block in re.findall(r"```\n(\$ .*?)```", text, re.DOTALL):
        command, _, expected = block.partition("\n")
        words = shlex.split(command[2:])
        words[0] = TOOL
        done = subprocess.run(words, cwd=ROOT, capture_output=True, text=True, check=False,
                              env=dict(os.environ, TZ="Asia/Kolkata"))
        ran += 1
        if done.stdout != expected:
            problems.append(f"{document.name}: {command} prints\n{done.stdout}instead of\n{expected}")
if ran == 0:
    problems.append("no command was run")
print("\n".join(problems) or f"{ran} commands print what the documents show")
sys.exit(1 if problems else 0)
