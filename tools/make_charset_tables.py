#!/usr/bin/env python3
"""Makes the stored conversion tables from a folder of mapping files in the .ucm format.

    tools/make_charset_tables.py FOLDER [OUTPUT]

FOLDER holds files named windows-NNN-*.ucm, one a code page. Their lines read <Uxxxx> \\xHH\\xHH |f;
the flag f is 0 for a mapping both ways and 1 for one from Unicode only. OUTPUT defaults to
src/charset/tables/stored_tables_data.cpp. Only the standard library is used, and equal input gives equal
output.

A row of a table is (code unit, byte code), where a byte code over 0xFF is a pair of bytes, lead byte
first. The rules below turn the lines of a file into rows; write_payload and pack tell the stored form.
"""

import bz2
import pathlib
import re
import struct
import sys

MULTI_BYTE = [932, 936, 949, 950, 1361, 10001, 51932, 51936, 51949]

SINGLE_BYTE = [
    37, 437, 500, 708, 720, 737, 775, 850, 852, 855, 857, 858, *range(860, 867), 869, 870, 874, 875,
    1026, 1047, *range(1140, 1150), *range(1250, 1259), 10000, 10004, 10005, 10006, 10007, 10010,
    10017, 10021, 10029, 10079, 10081, 10082, *range(20105, 20109), 20127, 20261, 20269, 20273, 20277,
    20278, 20280, 20284, 20285, 20290, 20297, 20420, 20423, 20424, 20838, 20866, 20871, 20880, 20905,
    20924, 21025, 21866, *range(28591, 28600), 28603, 28605, 38598,
]

# Pages in which the bytes under 0x80 are not ASCII: they have rows for all bytes but 0.
NOT_ASCII = {
    37, 500, 870, 875, 1026, 1047, *range(1140, 1150), 20273, 20277, 20278, 20280, 20284, 20285, 20290,
    20297, 20420, 20423, 20424, 20838, 20871, 20880, 20905, 20924, 21025, *range(20105, 20109), 10021,
}

# Pages that use the table of another one. 28591 carries the characters of 1252 in 0x80 to 0x9F, as mail
# labelled with it does.
SAME_AS = {28591: 1252, 51936: 936, 51949: 949, 20269: 20261}

WINDOWS_SINGLE_BYTE = {874, *range(1250, 1259)}
ISO = {*range(28592, 28600), 28603, 28605, 38598}
EURO_AT_80 = {28592, 28593, 28594, 28595, 28596, 28598, 28599}
# ISO 8859-7 as of 2003.
TODAYS_GREEK = {0xA1: 0x2018, 0xA2: 0x2019, 0xA4: 0x20AC, 0xA5: 0x20AF, 0xAA: 0x037A}

NO_BREAK_SPACE_TO_SPACE = {932, 936, 949, 950, 1361, 51932, 51936, 51949}
YEN_TO_BACKSLASH = {932, 51932}

MAC_JAPANESE = 10001
SHIFT_JIS = 932
EUC_JP = 51932
US_ASCII = 20127

ROUND_TRIP = "0"
FROM_UNICODE = "1"


def is_private(unit):
    return 0xE000 <= unit <= 0xF8FF


class Source:
    """The mapping files of a folder."""

    LINE = re.compile(r"<U([0-9A-F]{4})>\s+((?:\\x[0-9A-F]{2})+)\s+\|(\d)")

    def __init__(self, folder):
        self.folder = pathlib.Path(folder)

    def mappings(self, page, flag):
        """{code unit: byte code} of the one- and two-byte lines with the flag."""
        files = sorted(self.folder.glob(f"windows-{page}-*.ucm"))
        if len(files) != 1:
            sys.exit(f"{self.folder}: want one file windows-{page}-*.ucm, found {len(files)}")
        found = {}
        for match in self.LINE.finditer(files[0].read_text(encoding="ascii", errors="replace")):
            code = bytes.fromhex(match[2].replace("\\x", ""))
            if match[3] == flag and len(code) <= 2:
                found[int(match[1], 16)] = int.from_bytes(code, "big")
        return found


def rows_of(source, page):
    """{code unit: byte code} of a page, by the rules above."""
    page = SAME_AS.get(page, page)
    if page == US_ASCII:
        return {0xA0: 0x20}
    if page == EUC_JP:
        return euc_jp_rows(source)
    rows = source.mappings(page, ROUND_TRIP)
    rows.pop(0, None)
    if page not in NOT_ASCII:
        rows = {unit: code for unit, code in rows.items() if unit >= 0x80}
    if page not in MULTI_BYTE:
        rows = {unit: code for unit, code in rows.items() if code <= 0xFF}
    if page in WINDOWS_SINGLE_BYTE:
        rows = {u: c for u, c in rows.items() if not (0x80 <= u <= 0x9F or is_private(u))}
    if page in ISO:
        rows = {u: c for u, c in rows.items() if not is_private(u)}
    if page in EURO_AT_80:
        rows = replace_bytes(rows, {0x80: 0x20AC})
    if page == 28597:
        rows = replace_bytes(rows, TODAYS_GREEK)
    if page in NO_BREAK_SPACE_TO_SPACE:
        rows[0xA0] = 0x20
    if page in YEN_TO_BACKSLASH:
        rows[0xA5] = 0x5C
    return rows


def replace_bytes(rows, unit_of_byte):
    kept = {u: c for u, c in rows.items() if c not in unit_of_byte and u not in unit_of_byte.values()}
    return kept | {unit: byte for byte, unit in unit_of_byte.items()}


def euc_jp_rows(source):
    """The units of Shift_JIS, each with its bytes in EUC-JP; one-way lines fill the gaps."""
    codes = source.mappings(EUC_JP, FROM_UNICODE) | source.mappings(EUC_JP, ROUND_TRIP)
    rows = {unit: codes[unit] for unit in rows_of(source, SHIFT_JIS) if unit in codes}
    rows[0xA0] = 0x20
    rows[0xA5] = 0x5C
    return rows


def write_payload(rows, ascii_compatible):
    """Both flag bytes and the rows, delta-coded in the order of the code units."""
    out = bytearray(b"au" if ascii_compatible else b"xu")
    for limit, form, bits in ((0x100, "<BH", 8), (0x10000, "<HH", 16)):
        code = unit = 0
        for next_unit, next_code in sorted(rows.items()):
            if (next_code < 0x100) != (limit == 0x100):
                continue
            step = (next_code - code) % (1 << bits)
            if step == 0:
                sys.exit(f"U+{next_unit:04X}: two neighbouring rows have one byte code")
            out += struct.pack(form, step, (next_unit - unit) & 0xFFFF)
            code, unit = next_code, next_unit
        out += bytes(bits // 8)
    return bytes(out)


def write_patch(old, new):
    """What turns the rows `old` into `new`: units to remove, single-byte and double-byte changes."""
    out = bytearray(b"ad")
    for unit in sorted(old.keys() - new.keys()):
        out += struct.pack("<H", unit)
    out += bytes(2)
    changed = sorted((u, c) for u, c in new.items() if old.get(u) != c)
    for unit, code in changed:
        if code < 0x100:
            out += struct.pack("<BH", code, unit)
    out += bytes(1)
    for unit, code in changed:
        if code >= 0x100:
            out += struct.pack(">H", code) + struct.pack("<H", unit)
    return bytes(out + bytes(2))


MAGIC = bytes([0xE1, 0xA7, 0x94, 0xB3])
BZIP2_BLOCK_SIZE = 3


def pack(payload, page):
    """The stored bytes: packing flag and payload. The tiny table of US-ASCII is not worth packing."""
    if page == US_ASCII:
        return b"x" + payload
    return b"c" + MAGIC + struct.pack("<I", len(payload)) + bz2.compress(payload, BZIP2_BLOCK_SIZE)


def stored_bytes(source, page):
    if page == MAC_JAPANESE:
        old = rows_of(source, SHIFT_JIS)
        return pack(write_patch(old, rows_of(source, MAC_JAPANESE)), page)
    return pack(write_payload(rows_of(source, page), page not in NOT_ASCII), page)


HEADER = """// Made by tools/make_charset_tables.py. Do not edit: change the rules there and run it again.

#include "charset/tables/stored_tables.h"

// clang-format off
namespace borvik {
namespace {

"""

FOOTER = """};

}  // namespace

std::span<const StoredTable> storedTables() {
    return kTables;
}

}  // namespace borvik
"""

COLUMNS = 108


def literals(stored):
    """The bytes as string literals that a compiler joins. An octal escape has three digits at most, so that none
    swallows what follows it."""
    line = ""
    for byte in stored:
        character = chr(byte)
        plain = 0x20 <= byte < 0x7F and character not in '"\\?'
        line += character if plain else f"\\{byte:03o}"
        if len(line) > COLUMNS - 4:
            yield f'"{line}"'
            line = ""
    if line:
        yield f'"{line}"'


def write_source(source, out):
    out.write(HEADER)
    for page in sorted(SINGLE_BYTE + MULTI_BYTE):
        if page in SAME_AS:
            continue
        out.write(f"constexpr char kTable{page}[] =\n")
        out.write("\n".join(literals(stored_bytes(source, page))) + ";\n")
    out.write("\nconstexpr StoredTable kTables[] = {\n")
    for page in sorted(SINGLE_BYTE + MULTI_BYTE):
        multi = "true" if page in MULTI_BYTE else "false"
        table = f"kTable{SAME_AS.get(page, page)}"
        out.write(f"    {{{page}, {multi}, {{{table}, sizeof {table} - 1}}}},\n")
    out.write(FOOTER)


def main():
    if len(sys.argv) not in (2, 3):
        sys.exit(__doc__)
    default = pathlib.Path(__file__).resolve().parent.parent / "src/charset/tables/stored_tables_data.cpp"
    output = pathlib.Path(sys.argv[2]) if len(sys.argv) == 3 else default
    source = Source(sys.argv[1])
    with output.open("w", encoding="ascii", newline="\n") as out:
        write_source(source, out)


if __name__ == "__main__":
    main()
