"""Usage: card_readers.py NALVO FOLDER SCRATCH

Every card below FOLDER goes to a contact and back, and its new text to vobject and, through SCRATCH/card_readers.mjs, to
ical.js. Both have to read it, and to agree on name, e-mail, phones and birthday. A comma in a name is no mark of ours, but
vobject takes it for one and keeps what stands before it.
"""

import email
import json
import pathlib
import subprocess
import sys

import vobject

nalvo, folder, scratch = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])
cards = refused = problems = 0


def run(*words, text=None):
    return subprocess.run(words, input=text, capture_output=True, check=False)


def by_vobject(text):
    card = vobject.readOne(text)
    values = lambda name: [child.value for child in card.contents.get(name, [])]
    return {"name": values("fn"), "emails": values("email"), "phones": values("tel"),
            "days": [day.replace("-", "") for day in values("bday")]}


for path in sorted(folder.rglob("*.vcf")):
    mail, item, back = scratch / "card.eml", scratch / "card.msg", scratch / "back.eml"
    mail.write_bytes(b"MIME-Version: 1.0\r\nContent-Type: text/x-vcard; charset=utf-8\r\n"
                     b"Content-Transfer-Encoding: 8bit\r\n\r\n" + path.read_bytes())
    if (run(nalvo, "to-mapi", mail, "-o", item, "--force").returncode not in (0, 1)
            or run(nalvo, "to-mime", "--form", "store", item, "-o", back, "--force").returncode not in (0, 1)):
        refused += 1
        continue
    parts = email.message_from_bytes(back.read_bytes()).walk()  # a picture may stand beside the card
    part = next((part for part in parts if part.get_content_type() == "text/x-vcard"
                 and part.get_content_disposition() != "attachment"), None)
    if part is None:
        refused += 1
        continue
    cards += 1
    text = part.get_payload(decode=True).decode("utf-8")
    try:
        one = by_vobject(text)
    except Exception as error:  # vobject raises errors of many kinds
        problems += 1
        print(f"{path.name}: vobject: {error!r}")
        continue
    other = run("node", scratch / "card_readers.mjs", text=text.encode())
    if other.returncode != 0:
        problems += 1
        print(f"{path.name}: ical.js: {other.stderr.decode()[:300]}")
        continue
    two = json.loads(other.stdout)
    two["name"] = [name.split(",")[0] for name in two["name"]]
    two["days"] = [day.replace("-", "") for day in two["days"]]
    if one != two:
        problems += 1
        print(f"{path.name}: {one} by vobject, {two} by ical.js")

print(f"{cards} cards read by both, {refused} that the tool refuses, {problems} problems")
sys.exit(1 if problems or cards == 0 else 0)
