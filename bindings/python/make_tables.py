"""Makes two files of the Python package from the public headers, so that what stands there isn't
written twice: _tables.py with the operations of the interfaces, their texts and the identifiers, and
_constants.py with the named values.

    make_tables.py INCLUDE_FOLDER OUTPUT_FOLDER"""

import html
import pathlib
import re
import sys

HEADERS = ("interfaces.h", "message_data.h", "transfer.h")
#: How each C++ type of a parameter is passed, as a letter; what has a "*" is a pointer.
LETTERS = {
    "TextArgument": "T",
    "LONG": "L",
    "VARIANT_BOOL": "B",
    "size_t": "Z",
    "int64_t": "Q",
    "TransferObserver": "P",
    "void*": "P",
}
#: How many operations an interface inherits.
SLOTS = {"IUnknown": 3, "IDispatch": 7}
#: The enumerations: header, prefix of the names there, name here and what it is.
ENUMERATIONS = (
    ("email_constants.h", "EMAIL_MESSAGE_PRIORITY_", "Priority", "How urgent a message is."),
    ("email_constants.h", "EMAIL_MESSAGE_ENCODING_", "Encoding",
     "The code page that a message is written in."),
    ("email_constants.h", "SMTP_AUTH_", "SmtpAuth", "How to log in to an SMTP server."),
    ("email_constants.h", "POP3_AUTH_", "Pop3Auth", "How to log in to a POP3 server."),
    ("error_numbers.h", "TESSOLT_ERROR_", "ErrorNumber", "What `MailError.number` may hold."),
    ("advice.h", "TESSOLT_CAUSE_", "Cause", "Why an operation failed, where that is known."),
)


def letter(parameter):
    """The letter of one parameter as it is declared."""
    words = parameter.split("=")[0].replace("const ", "").split()
    kind = words[0] if "*" not in parameter else "void*"
    return LETTERS[kind]


def interfaces(header):
    """Name, base, text and operations (name, letters, text) of each interface in a header."""
    for match in re.finditer(
            r"((?:^///[^\n]*\n)*)^struct (I\w+) : (\w+) \{\n(.*?)^protected:", header, re.M | re.S):
        operations = [
            (name, "".join(letter(p) for p in parameters.split(",") if p.strip()), plain(comment))
            for comment, name, parameters in re.findall(
                r"((?:^ *///[^\n]*\n)*)^ *virtual HRESULT (\w+)\(([^)]*)\) = 0;", match[4], re.M)
        ]
        yield match[2], match[3], plain(match[1]), operations


def plain(comment):
    """The text of a comment, a line for each paragraph."""
    lines = [re.sub(r"^ *///? ?", "", line) for line in comment.splitlines()]
    paragraphs = "\n".join(lines).split("\n\n")
    return "\n\n".join(" ".join(paragraph.split()) for paragraph in paragraphs)


def identifiers(header):
    """Name and numbers of each identifier in guids.h."""
    for name, numbers in re.findall(r"CONSTANT (\w+) = \{([^;]*)\};", header):
        yield name, tuple(int(n, 16) for n in re.findall(r"0x[0-9A-F]+", numbers))


def table_lines(folder):
    """The lines of _tables.py."""
    found = [entry for name in HEADERS
             for entry in interfaces((folder / name).read_text(encoding="utf-8"))]
    yield '"""The operations of the interfaces. Made from the public headers by make_tables.py."""'
    yield "from __future__ import annotations\n"
    yield "#: By interface: the number of the operations that it inherits."
    yield "INHERITED: dict[str, int] = {"
    yield from (f"    {name!r}: {SLOTS[base]}," for name, base, _, _ in found)
    yield "}\n"
    yield "#: By interface: each operation in the order of the virtual table, and how it is called."
    yield "OPERATIONS: dict[str, dict[str, str]] = {"
    for interface, _, _, operations in found:
        yield f"    {interface!r}: {{"
        yield from (f"        {name!r}: {letters!r}," for name, letters, _ in operations)
        yield "    },"
    yield "}\n"
    yield "#: By interface: what the headers say of it, under \"\", and of its operations."
    yield "TEXTS: dict[str, dict[str, str]] = {"
    for interface, _, text, operations in found:
        yield f"    {interface!r}: {{"
        yield f"        '': {text!r},"
        yield from (f"        {name!r}: {said!r}," for name, _, said in operations if said)
        yield "    },"
    yield "}\n"
    yield "#: The numbers of each identifier."
    yield "IDENTIFIERS: dict[str, tuple[int, ...]] = {"
    for name, numbers in identifiers((folder / "guids.h").read_text(encoding="utf-8")):
        yield f"    {name!r}: {numbers!r},"
    yield "}"


def constant_lines(folder):
    """The lines of _constants.py."""
    yield '"""The named values. Made from the public headers by make_tables.py."""\n'
    yield "from enum import IntEnum"
    for header, prefix, name, text in ENUMERATIONS:
        yield f'\n\nclass {name}(IntEnum):\n    """{text}"""\n'
        source = (folder / header).read_text(encoding="utf-8")
        rows = re.findall(
            rf"((?:^ *///[^\n]*\n)*)^.*?\b{prefix}(\w+)(?:, \d+,| =) \(?(-?\d+)", source, re.M)
        for comment, constant, value in rows:
            for paragraph in plain(html.unescape(comment)).splitlines():
                yield f"    #: {paragraph}"
            yield f"    {constant} = {value}"


def main():
    include, output = (pathlib.Path(argument) for argument in sys.argv[1:])
    folder = include / "tessolt"
    output.mkdir(parents=True, exist_ok=True)
    for name, lines in (("_tables.py", table_lines), ("_constants.py", constant_lines)):
        text = "\n".join(lines(folder)) + "\n"
        (output / name).write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main()
