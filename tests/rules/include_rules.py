"""Holds the arrows between the folders of src: each may include what is named here and nothing else."""

import pathlib
import re
import sys

# From the ground up. include/nalvo is open to all.
MAY_INCLUDE = {
    "platform": set(),
    "diagnostics": {"platform"},
    "streams": {"platform", "diagnostics"},
    "mime": {"platform", "diagnostics", "streams"},
    "properties": {"platform", "diagnostics", "streams"},
    "text": {"platform", "diagnostics", "streams"},
    "mail": {"platform", "diagnostics", "streams", "text"},
    "frame": {"platform", "diagnostics", "streams", "mime", "properties", "text"},
    "convert": {"platform", "diagnostics", "streams", "mime", "properties", "text", "mail", "frame"},
    "host": {"platform", "diagnostics", "streams", "mail", "mime", "properties"},
    "tool": {"platform", "diagnostics", "host", "mail"},
}
# mail/ knows nothing of MAPI.
FORBIDDEN = {"mail": ("nalvo/mapi.h", "nalvo/interfaces.h", "platform/mapi/")}
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)


def offences(root: pathlib.Path):
    count = 0
    for file in sorted((root / "src").rglob("*")):
        if file.suffix not in (".h", ".cc"):
            continue
        count += 1
        own = file.relative_to(root / "src").parts[0]
        for included in INCLUDE.findall(file.read_text(encoding="utf-8")):
            layer = included.split("/")[0]
            if any(included.startswith(prefix) for prefix in FORBIDDEN.get(own, ())):
                yield f"{file.relative_to(root)}: {own} may not include {included}"
            if layer in ("nalvo", own) or included == "nalvo_version.h":
                continue
            if layer not in MAY_INCLUDE[own]:
                yield f"{file.relative_to(root)}: {own} may not include {included}"
    for file in sorted((root / "include").rglob("*.h")):
        count += 1
        for included in INCLUDE.findall(file.read_text(encoding="utf-8")):
            if not included.startswith("nalvo/"):
                yield f"{file.relative_to(root)}: a caller's header may not include {included}"
    if count < 50:
        yield f"only {count} files found below {root}"


if __name__ == "__main__":
    found = list(offences(pathlib.Path(sys.argv[1])))
    print("\n".join(found) or "every include follows the arrows")
    sys.exit(1 if found else 0)
