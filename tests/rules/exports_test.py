"""The shared library shows the functions and constants of its header, and no symbol beside them."""

import re
import subprocess
import sys

library, header = sys.argv[1:]
text = open(header, encoding="utf-8").read()
declared = set(re.findall(r"^nalvo::HRESULT (\w+)\(", text, re.MULTILINE))
declared |= set(re.findall(r"^extern const nalvo::DWORD (\w+);", text, re.MULTILINE))
listed = subprocess.run(["nm", "-D", "--defined-only", library], check=True, capture_output=True, text=True).stdout
shown = {line.split()[-1].split("@")[0] for line in listed.splitlines()}
# What a sanitizer's or the compiler's run time puts beside them is not ours.
extra = {name for name in shown - declared if not re.match(r"_|\.|asan|tsan|ubsan", name)}
print("missing:", sorted(declared - shown), "extra:", sorted(extra))
sys.exit(1 if declared - shown or extra or len(declared) != 23 else 0)
