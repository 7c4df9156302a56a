"""Runs the commands that the documents show and compares what they print; checks that files they name exist, and that the
annotations they show are written."""

import base64
import email
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile

TOOL, ROOT = sys.argv[1], pathlib.Path(sys.argv[2])
problems, ran = [], 0


def mail_of(source, folder, form):
    """The mail that a message, or the message that a mail becomes, is written as."""
    message = source
    if source.suffix == ".eml":
        message = folder / "message.msg"
        subprocess.run([TOOL, "to-mapi", "-q", "--force", "-o", message, source], check=True)
    mail = folder / "mail.eml"
    subprocess.run([TOOL, "to-mime", "-q", "--force", "--form", form, "-o", mail, message], check=True, stderr=subprocess.DEVNULL)
    return mail


def annotations(source, folder):
    beside = mail_of(source, folder, "store").with_suffix(".annotations.json")
    return {f"{entry['name']}  {entry['value']}" for entry in json.loads(beside.read_text(encoding="utf-8"))}


def x_mapi(source, folder):
    header = email.message_from_bytes(mail_of(source, folder, "lossless").read_bytes())["X-MAPI"]
    words = re.findall(r'"[^"]*"', base64.b64decode("".join(header.split())).decode())
    return {" ".join(pair) for pair in zip(words[::2], words[1::2])}


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
    for kind, source, block in re.findall(r"```(annotations|x-mapi) ([^\n]*)\n(.*?)```", text, re.DOTALL):
        with tempfile.TemporaryDirectory() as folder:
            written = (annotations if kind == "annotations" else x_mapi)(ROOT / source, pathlib.Path(folder))
        ran += 1
        problems += [f"{document.name}: {source} has no entry {line}" for line in block.splitlines() if line not in written]
if ran == 0:
    problems.append("no command was run")
print("\n".join(problems) or f"{ran} commands print what the documents show")
sys.exit(1 if problems else 0)
