#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Turns the GEDCOM grammars kept here as tables into compiled C++ tables (GrammarTables.inc).

gedcom7/ holds FamilySearch's machine-readable GEDCOM 7.0 tables as published (Apache-2.0, see
gedcom7/LICENSE and gedcom7/NOTICE); gedcom551/ holds the GEDCOM 5.5.1 lineage-linked grammar
written from the 5.5.1 standard in the same columns (see gedcom551/NOTICE). Each folder has:

  substructures.tsv   superstructure, tag, structure (an empty superstructure: a record)
  cardinalities.tsv   superstructure, structure, {min:max}
  payloads.tsv        structure, payload type
  enumerations.tsv    structure, enumeration set
  enumerationsets.tsv enumeration set, value

The generated file is checked in, so the build needs no Python: run this script after changing a
table (`python3 generate-grammar.py` in this folder) and commit both. A test compares the compiled
tables' row counts with the tables here, so a table changed without regenerating, or a
regeneration that loses rows, fails.

Standard library only.
"""

import csv
import os
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
PREFIX = "https://gedcom.io/terms/v7/"
MANY = 255


def read(folder, name):
    with open(os.path.join(HERE, folder, name), newline="", encoding="utf-8") as f:
        rows = list(csv.reader(f, delimiter="\t"))
    return [[cell.replace(PREFIX, "") for cell in row] for row in rows[1:]]


def payload_kind(payload):
    """The payload as the checks see it: (kind, target record structure or None)."""
    if payload == "":
        return "none", None
    if payload == "Y|<NULL>":
        return "flag", None
    if payload.startswith("@<"):
        target, _, rest = payload[2:].partition(">@")
        kind = {"": "pointer", "|<NULL>": "pointerOrNone", "|http://www.w3.org/2001/XMLSchema#string": "pointerOrText"}
        return kind[rest], target
    if payload == "type-Enum":
        return "enumeration", None
    if payload == "type-List#Enum":
        return "enumerationList", None
    # Free text, where blanks and line breaks are content.
    if payload in ("http://www.w3.org/2001/XMLSchema#string", "type-List#Text", "type-Name"):
        return "text", None
    return "typed", None


def tag_key(tag):
    """A tag of up to eight ASCII characters as one number that sorts like the text."""
    assert len(tag) <= 8 and tag.isascii(), tag
    key = 0
    for i in range(8):
        key = (key << 8) | (ord(tag[i]) if i < len(tag) else 0)
    return key


def cardinality(text):
    low, high = text.strip("{}").split(":")
    return int(low), MANY if high == "M" else int(high)


def build(folder, name):
    substructures = read(folder, "substructures.tsv")
    cardinalities = {(sup, sub): cardinality(card) for sup, sub, card in read(folder, "cardinalities.tsv")}
    payloads = dict(read(folder, "payloads.tsv"))
    enum_sets = dict(read(folder, "enumerations.tsv"))
    set_values = {}
    for set_name, value in read(folder, "enumerationsets.tsv"):
        # An enumeration value is named by its tag: "enum-ADOP-HUSB" and "INDI-RELI" are HUSB and RELI.
        set_values.setdefault(set_name, []).append(value.removeprefix("enum-").rsplit("-", 1)[-1]
                                                   if value.startswith(("enum-", "INDI-")) else value)

    # Structure 0 is the file itself, whose substructures are the records.
    ids = [""]
    tags = {"": ""}
    for sup, tag, sub in substructures:
        for structure in (sup, sub):
            if structure not in tags:
                ids.append(structure)
            tags.setdefault(structure, tag if structure == sub else None)
        tags[sub] = tag
    index = {structure: i for i, structure in enumerate(ids)}

    children = {structure: [] for structure in ids}
    for sup, tag, sub in substructures:
        if sup == "":
            # Records may repeat; the header and the trailer come once.
            low, high = (1, 1) if tag in ("HEAD", "TRLR") else (0, MANY)
        else:
            low, high = cardinalities[(sup, sub)]
        children[sup].append((tag_key(tag), index[sub], low, high, tag))

    # Each set's values once, in the order of the table; structures sharing a set share its values.
    enum_values, set_start = [], {}
    for set_name, values in set_values.items():
        set_start[set_name] = len(enum_values)
        enum_values.extend(values)

    structures, subs = [], []
    for structure in ids:
        kind, target = payload_kind(payloads.get(structure, ""))
        set_name = enum_sets.get(structure)
        first_sub = len(subs)
        subs.extend(sorted(children[structure]))
        structures.append((structure, tags[structure] or "", kind, index[target] if target else 0, first_sub,
                           len(children[structure]), set_start.get(set_name, 0), len(set_values.get(set_name, []))))
    counts = {"substructures": len(substructures), "cardinalities": len(cardinalities), "payloads": len(payloads),
              "enumerations": len(enum_sets), "enumerationsets": sum(len(v) for v in set_values.values())}
    return name, structures, subs, enum_values, counts, {tag for _, tag, _ in substructures}


def emit(out, grammar):
    name, structures, subs, enum_values, counts, _ = grammar
    out.write(f"inline constexpr Structure {name}Structures[] = {{\n")
    for sid, tag, kind, target, first, count, enum_first, enum_count in structures:
        out.write(f'    {{"{sid}", "{tag}", Payload::{kind}, {target}, {first}, {count}, {enum_first}, {enum_count}}},\n')
    out.write("};\n")
    out.write(f"inline constexpr Substructure {name}Substructures[] = {{\n")
    for key, structure, low, high, tag in subs:
        out.write(f"    {{0x{key:016X}, {structure}, {low}, {high}}}, // {tag}\n")
    out.write("};\n")
    out.write(f"inline constexpr std::string_view {name}EnumValues[] = {{\n")
    for value in enum_values:
        out.write(f'    "{value}",\n')
    out.write("};\n")
    out.write(f"inline constexpr SourceRows {name}SourceRows{{{counts['substructures']}, {counts['cardinalities']}, "
              f"{counts['payloads']}, {counts['enumerations']}, {counts['enumerationsets']}}};\n\n")


def main():
    grammars = [build("gedcom7", "gedcom7"), build("gedcom551", "gedcom551")]
    path = os.path.join(HERE, "GrammarTables.inc")
    with open(path, "w", encoding="utf-8", newline="\n") as out:
        out.write("// Generated by generate-grammar.py from gedcom7/*.tsv and gedcom551/*.tsv: do not edit.\n")
        out.write("// clang-format off\n\n")
        for grammar in grammars:
            emit(out, grammar)
        known = sorted({tag_key(tag) for grammar in grammars for tag in grammar[5]})
        out.write("// Every tag either grammar knows, so that a tag out of place is told from one no standard has.\n")
        out.write("inline constexpr std::uint64_t standardTags[] = {\n")
        for key in known:
            out.write(f"    0x{key:016X},\n")
        out.write("};\n// clang-format on\n")
    print(f"wrote {path}", file=sys.stderr)


if __name__ == "__main__":
    main()
