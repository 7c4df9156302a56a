#!/usr/bin/env python3
"""Makes src/platform/text/media_types_table.h from the extensions that Debian's media-types names (/etc/mime.types).

The table is committed, so that every machine answers the same: run this only to take a newer list over.
"""

import pathlib
import sys

source = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else "/etc/mime.types")
target = pathlib.Path(__file__).parents[1] / "src/platform/text/media_types_table.h"
rows = {}
for line in source.read_text(encoding="utf-8").splitlines():
    words = line.split("#")[0].split()
    for extension in words[1:]:
        # The first type that names an extension keeps it.
        rows.setdefault(extension.lower(), words[0].lower())
with target.open("w", encoding="utf-8") as out:
    out.write("// Made by tools/make_media_types.py from Debian's media-types.\n#pragma once\n\n#include <string_view>\n\n")
    out.write("namespace nalvo::detail {\n\nstruct MediaTypeRow {\n  std::string_view extension;  // lower case, without the dot\n")
    out.write("  std::string_view type;\n};\n\n// In ascending order of extensions.\n// clang-format off\n")
    out.write("inline constexpr MediaTypeRow kMediaTypes[] = {\n")
    for extension, kind in sorted(rows.items()):
        out.write(f'    {{"{extension}", "{kind}"}},\n')
    out.write("};\n// clang-format on\n\n}  // namespace nalvo::detail\n")
print(f"{len(rows)} extensions")
