#!/usr/bin/env python3
"""Makes src/mail/zone_*_table.h from the tables in tools/zone_tables, whose rows stay in their order.

The tables are those of the tz database as it stood at the end of 2007: run this only to mend a row, never to take newer
data over.
"""

import csv
import pathlib

ROOT = pathlib.Path(__file__).parents[1]


def rows_of(name: str):
    with (ROOT / "tools/zone_tables" / f"{name}.tsv").open(encoding="utf-8", newline="") as file:
        return list(csv.reader(file, delimiter="\t", quoting=csv.QUOTE_NONE))[1:]


def text(value: str) -> str:
    assert '"' not in value and "\\" not in value, value
    return f'"{value}"'


def write(name: str, include: str, declaration: str, lines: list[str]):
    target = ROOT / "src/mail" / f"{name}.h"
    target.write_text(
        f"// Made by tools/make_zone_tables.py.\n#pragma once\n\n{include}\n\nnamespace nalvo::mail::detail {{\n\n"
        f"// clang-format off\ninline constexpr {declaration} = {{\n"
        + "".join(f"    {line},\n" for line in lines)
        + "};\n// clang-format on\n\n}  // namespace nalvo::mail::detail\n",
        encoding="utf-8",
    )
    print(f"{target.relative_to(ROOT)}: {len(lines)} rows")


def record(row: list[str]) -> str:
    *texts, ids = row
    assert len(texts) == 7
    # A list of less than four is ended by -1.
    numbers = ([n for n in ids.split(",") if n] + ["-1"] * 4)[:4]
    return "{" + ", ".join(text(value) for value in texts) + ", {" + ", ".join(numbers) + "}}"


TABLES = '#include "mail/zone_tables.h"'
write("zone_abbreviations_table", TABLES, "ZoneAbbreviation kAbbreviations[]",
      [f"{{{text(name)}, {text(offset)}, {str(bool(daylight)).lower()}}}"
       for name, offset, daylight in rows_of("abbreviations")])
write("zone_display_names_table", TABLES, "ZoneRecord kDisplayNames[]", [record(row) for row in rows_of("display_names")])
write("zone_tz_names_table", TABLES, "ZoneRecord kTzNames[]", [record(row) for row in rows_of("tz_names")])
write("zone_preferred_names_table", "#include <string_view>", "std::string_view kPreferredNames[]",
      [text(row[0] if row else "") for row in rows_of("preferred_names")])
