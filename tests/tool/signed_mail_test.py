"""Signatures hold: what openssl verifies before a mail goes to .msg and back, it verifies after, and what it opens it opens.

Mails that the test signs and encrypts itself, and those of the corpus.
"""

import csv
import os
import pathlib
import subprocess
import sys
import tempfile

TOOL = sys.argv[1]
TEXT = ("Content-Type: text/plain; charset=utf-8\r\nContent-Transfer-Encoding: 8bit\r\n\r\n"
        "Gr\u00fc\u00dfe  \r\n.\r\nFrom the start of a line\r\n \r\n").encode()
FAILURES = []


def run(*command, stdin=None):
    return subprocess.run(command, input=stdin, capture_output=True, check=False)


def there_and_back(folder, mail):
    """The mail after a trip to .msg and back; None if the tool refuses it."""
    msg, back = folder / "trip.msg", folder / "trip.eml"
    there = run(TOOL, "to-mapi", "--force", "-o", msg, mail)
    again = run(TOOL, "to-mime", "--force", "-o", back, msg)
    if there.returncode or again.returncode:
        FAILURES.append(f"{mail.name}: {(there.stderr + again.stderr).decode()}")
        return None
    return back


def verified(mail):
    """The signed content if the signature holds, whoever made it."""
    result = run("openssl", "cms", "-verify", "-noverify", "-in", mail)
    return result.stdout if result.returncode == 0 else None


def own_mails(folder):
    key, certificate, text = folder / "key.pem", folder / "certificate.pem", folder / "text"
    made = run("openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=Ann", "-days", "2", "-keyout", key,
               "-out", certificate)
    if made.returncode:
        sys.exit(made.stderr.decode())
    text.write_bytes(TEXT)
    people = ("-from", "ann@example.org", "-to", "bob@example.com", "-subject", "secret")
    signer = ("-signer", certificate, "-inkey", key)
    kinds = {
        "signed": ("-sign", "-binary", *signer, *people),
        "signed with its text inside": ("-sign", "-binary", "-nodetach", *signer, *people),
        "encrypted": ("-encrypt", "-binary", "-aes256", *people, certificate),
    }
    for kind, options in kinds.items():
        mail = folder / (kind.replace(" ", "_") + ".eml")
        made = run("openssl", "cms", "-in", text, "-out", mail, *options)
        if made.returncode:
            sys.exit(made.stderr.decode())
        back = there_and_back(folder, mail)
        if back is None:
            continue
        if kind == "encrypted":
            before, after = (run("openssl", "cms", "-decrypt", "-in", m, "-inkey", key, "-recip", certificate).stdout
                             for m in (mail, back))
        else:
            before, after = verified(mail), verified(back)
        if not before or before != after:
            FAILURES.append(f"{kind}: before {before!r}, after {after!r}")
    return len(kinds)


def corpus_mails(folder):
    root = pathlib.Path(os.environ["NALVO_CORPUS"]) / "eml"
    count = 0
    with open(root / "MANIFEST.tsv", encoding="utf-8") as manifest:
        for row in csv.DictReader(manifest, delimiter="\t"):
            if "smime" not in row["tags"].split(","):
                continue
            mail = root / row["file"]
            before = verified(mail)
            if before is None:
                continue
            count += 1
            back = there_and_back(folder, mail)
            if back is not None and verified(back) != before:
                FAILURES.append(f"{row['file']}: the signature broke")
    return count


with tempfile.TemporaryDirectory() as name:
    print(f"{own_mails(pathlib.Path(name))} mails of our own")
    if os.environ.get("NALVO_CORPUS"):
        verified_count = corpus_mails(pathlib.Path(name))
        print(f"{verified_count} signed mails of the corpus")
        if verified_count == 0:
            FAILURES.append("no signature of the corpus holds")
print("\n".join(FAILURES) or "all hold")
sys.exit(1 if FAILURES else 0)
