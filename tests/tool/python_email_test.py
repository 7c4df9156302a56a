"""A second opinion: subject, people and plain text of real mail as Python's email package reads them.

Each difference belongs to a class that is told here, or counts against the tool; those may be one in a hundred.
"""

import collections
import csv
import email
import email.policy
import email.utils
import json
import os
import pathlib
import re
import subprocess
import sys

TOOL = sys.argv[1]
MOST_UNEXPLAINED = 0.01
RECIPIENT_KINDS = {1: "to", 2: "cc"}


def squeeze(text):
    """Runs of white space as one blank; NUL, which ends a text property, ends it here."""
    return re.sub(r"\s+", " ", (text or "").split("\0")[0]).strip()


def ours(message):
    named = {p["name"]: p["value"] for p in message["properties"] if "name" in p}
    people = {"to": [], "cc": []}
    for recipient in message["recipients"]:
        of = {p["name"]: p["value"] for p in recipient["properties"] if "name" in p}
        kind = RECIPIENT_KINDS.get(of["PR_RECIPIENT_TYPE"])
        if kind:
            people[kind].append((squeeze(of.get("PR_DISPLAY_NAME")), of.get("PR_EMAIL_ADDRESS", "")))
    sender = (squeeze(named.get("PR_SENT_REPRESENTING_NAME")), named.get("PR_SENT_REPRESENTING_EMAIL_ADDRESS", ""))
    return {"subject": squeeze(named.get("PR_SUBJECT")), "from": [sender] if any(sender) else [], **people,
            "plain": squeeze(named.get("PR_BODY"))}


def addresses(mail, header):
    found = []
    for value in mail.get_all(header, []):
        found += [(squeeze(a.display_name), a.addr_spec) for a in value.addresses]
    return [a for a in found if a[0] or a[1] not in ("", "<>")]


def attempt(read):
    """What Python reads, or None where it raises."""
    try:
        return read()
    except Exception:  # noqa: BLE001: the package raises many kinds over broken mail
        return None


def theirs(mail):
    body = attempt(lambda: mail.get_body(preferencelist=("plain",)))
    return {
        "subject": attempt(lambda: squeeze(str(mail["subject"] or ""))),
        # Of several originators the last one stays.
        "from": attempt(lambda: addresses(mail, "from")[-1:]),
        "to": attempt(lambda: addresses(mail, "to")),
        "cc": attempt(lambda: addresses(mail, "cc")),
        "plain": attempt(lambda: squeeze(body.get_content() if body else "")),
    }


def explained(field, own, other, raw, mail):
    """The class of a difference that is no fault of the tool's; None if it is in none."""
    if other is None:
        return "the package raises"
    if "\\ufffd" in ascii(other) or "\\udc" in ascii(other):
        return "bytes without a charset stay undecoded in the package"
    if field in ("from", "to", "cc"):
        legacy = [(squeeze(n), a) for n, a in email.utils.getaddresses([str(v) for v in mail.get_all(field, [])]) if n or a]
        if [a for _, a in own] == [a for _, a in legacy] or [a for _, a in own] == [a for _, a in legacy[-1:]]:
            return "a comment names the address"
        if not any("@" in a for _, a in other):
            return "what the package gives is no address"
    if field == "plain" and own and not other:
        return "a text of another kind, or of a broken tree, that the package passes over"
    if field == "plain" and not own and "text/html" in raw.decode("latin-1").lower():
        return "the HTML body comes first, and a later plain part is a file"
    if raw.lower().count(b"boundary=") > 90:
        return "deeper than the limit"
    return None


def main():
    corpus = os.environ.get("NALVO_CORPUS")
    if not corpus:
        print("passed over: NALVO_CORPUS is not set")
        return 0
    folder = pathlib.Path(corpus) / "eml"
    with open(folder / "MANIFEST.tsv", encoding="utf-8") as rows:
        ordinary = [r["file"] for r in csv.DictReader(rows, delimiter="\t") if "ordinary" in r["tags"].split(",")]
    ordinary = [name for name in ordinary if name.endswith(".eml")]
    shown = subprocess.run([TOOL, "show", "--json", *(folder / name for name in ordinary)], capture_output=True, check=True)
    lines = shown.stdout.splitlines()
    assert len(lines) == len(ordinary) > 100, (len(lines), len(ordinary))
    classes, faults, equal, fields = collections.Counter(), [], 0, 0
    items = 0
    for name, line in zip(ordinary, lines):
        message = json.loads(line)
        if not message["messageClass"].startswith(("IPM.Note", "REPORT.")):
            items += 1  # its subject, people and text come from its calendar or card
            continue
        raw = (folder / name).read_bytes()
        mail = email.message_from_bytes(raw, policy=email.policy.default)
        own, other = ours(message), theirs(mail)
        for field, value in own.items():
            fields += 1
            if value == other[field]:
                equal += 1
                continue
            kind = explained(field, value, other[field], raw, mail)
            if kind:
                classes[f"{field}: {kind}"] += 1
            else:
                faults.append((name, field, str(value)[:120], str(other[field])[:120]))
    print(f"{len(ordinary) - items} messages, {items} items passed over, {fields} fields, {equal} equal ({100 * equal / fields:.2f} %)")
    for kind, count in classes.most_common():
        print(f"  {count:3} {kind}")
    for fault in faults:
        print("  unexplained:", ascii(fault))
    messages = len({fault[0] for fault in faults})
    print(f"{messages} messages with an unexplained difference")
    return 0 if messages <= MOST_UNEXPLAINED * len(ordinary) else 1


sys.exit(main())
