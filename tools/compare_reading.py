#!/usr/bin/env python3
"""Tells where reading under current rules and other readers part, with the package `tessolt` in PYTHONPATH.

    compare_reading.py FILE...                    on these files, with Python's own reader
    compare_reading.py --generate N [--gmime P]   on N generated messages, and with GMime too by the program P, the
                                                  gmime_reading of bench/; fails where a difference has no reason

The messages are those of tests/python/test_reading_rules.py, where the reasons for parting from Python stand."""

import argparse
import collections
import contextlib
import email
import email.policy
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest.mock

import tessolt

# (what, the row that was drawn): why ours differs from GMime's.
WORDS_BEFORE = "words in front of a bare address are its name"
NO_ADDRESS = "what is no address is kept as the name of none"
UNLABELLED = "text without a charset that is known is read as UTF-8, else as Windows-1252"
WITHIN = "a message within keeps its bytes, line ends included"
NOT_FOUND = "a multipart without its boundary is text"
NAMED_GMIME = {
    ("subject", "subject: tab fold"): "a fold with a tab is shown as a blank",
    ("subject", "subject: cut character"): "the bytes of words that follow each other are joined first",
    ("subject", "subject: gb18030"): "all of GB 18030 is read",
    **{(what, "from: words before"): WORDS_BEFORE for what in ("sender", "from")},
    ("to", "to: words before"): WORDS_BEFORE,
    ("sender", "from: no name"): NO_ADDRESS,
    ("to", "to: no name"): NO_ADDRESS,
    ("to", "list: semicolons"): "semicolons separate as commas do",
    **{(what, row): reason for what in ("plain", "html") for row, reason in (
        ("charset: None", UNLABELLED), ("charset: x-nothing", UNLABELLED), ("charset: us-ascii", UNLABELLED),
        ("charset: gb18030", "all of GB 18030 is read"), ("charset: hz-gb-2312", "HZ is read"),
        ("charset: utf-8", "an ill-formed byte is shown as U+FFFD"), ("shape: not found", NOT_FOUND),
        ("shape: no header", "a text that begins with no field is a body"))},
    ("attachments", "shape: not found"): NOT_FOUND,
    **{("attachments", f"shape: {shape}"): WITHIN for shape in ("rfc822", "nested", "digest")},
    ("attachments", "name: both"): "filename* wins over filename",
}
SETTINGS = '[HKEY_LOCAL_MACHINE\\Software\\Merivane\\Tessolt]\n"Rules"="current"\n'


@contextlib.contextmanager
def current_rules(folder):
    settings = os.path.join(folder, "settings")
    with open(settings, "w", encoding="ascii") as file:
        file.write(SETTINGS)
    with unittest.mock.patch.dict(os.environ, TESSOLT_SETTINGS=settings):
        yield


def unlabelled(data):
    for charset in ("utf-8", "cp1252"):
        try:
            return data.decode(charset)
        except UnicodeDecodeError:
            pass
    return data.decode("latin-1")


def decoded(data, charset):
    try:
        return unlabelled(data) if charset in (None, "us-ascii") else data.decode(charset, "replace")
    except LookupError:
        return unlabelled(data)


def same_lines(text):
    return text.replace("\r\n", "\n").replace("\0", " ")


def letters(part, sorted_parts, depth=0):
    """The record's rule, told over Python's tree: bodies by kind, and the attachments."""
    kind = part.get_content_type()
    if kind.startswith("multipart/") and part.is_multipart():
        for child in part.iter_parts():
            letters(child, sorted_parts, depth + 1)
        return
    shown = kind in ("text/plain", "text/html") and not part.get_filename()
    is_text = kind.startswith("multipart/") or part.get_content_maintype() == "text" and (depth == 0 or shown)
    if is_text and part.get_content_disposition() != "attachment":
        data = part.get_payload(decode=True) or b""
        text = same_lines(decoded(data, part.get_content_charset()))
        key = "html" if kind == "text/html" else "plain"
        before = sorted_parts[key]
        sorted_parts[key] = before + ("\n" if before and text and not before.endswith("\n") else "") + text
    else:
        data = None if part.is_multipart() else part.get_payload(decode=True)
        sorted_parts["attachments"].append((part.get_filename() or "", data))


def read_by_python(raw):
    message = email.message_from_bytes(raw, policy=email.policy.default)
    found = {"plain": "", "html": "", "attachments": []}
    letters(message, found)
    found["subject"] = str(message["Subject"] or "").strip()
    for name in ("From", "To"):
        fields = message.get_all(name, [])
        if name == "From":
            fields = fields[:1]
        found[name.lower()] = [box.addr_spec for field in fields for box in field.addresses]
    found["sender"] = next((box.display_name for box in message["From"].addresses), "") if message["From"] else ""
    return found


def read_by_us(raw, folder):
    path = os.path.join(folder, "message.eml")
    with open(path, "wb") as file:
        file.write(raw)
    record = tessolt.Dispatch("Tessolt.EMailMessage")
    record.LoadMIME(path)
    assert record.LastError == 0
    found = {"plain": same_lines(record.BodyPlainText), "html": same_lines(record.BodyHtml),
             "subject": record.Subject, "sender": record.FromName, "attachments": []}
    found["from"] = [record.FromAddress] if record.FromAddress else []
    found["to"] = record.ToAddress.split(";") if record.ToAddress else []
    for number in range(1, record.CountAttachments() + 1):
        saved = os.path.join(folder, "saved")
        record.SaveAttachment(number, saved)
        assert record.LastError == 0
        with open(saved, "rb") as file:
            found["attachments"].append((record.GetAttachmentName(number), file.read()))
    copy = os.path.join(folder, "copy.eml")
    for again in (record.SaveMIME, lambda file: (record.Encode(), record.SaveMIME(file))):
        again(copy)
        with open(copy, "rb") as file:
            found["unchanged"] = found.get("unchanged", True) and file.read() == raw
    return found


def differences(raw, folder):
    """{what: (ours, theirs)}"""
    ours, theirs = read_by_us(raw, folder), read_by_python(raw)
    theirs["unchanged"] = True
    # A message within the message has no bytes of its own in Python's tree.
    theirs["attachments"] = [(name, data if data is not None else own[1]) for (name, data), own in
                             zip(theirs["attachments"], ours["attachments"] + [("", None)] * 99)]
    return {what: (ours[what], theirs[what]) for what in ours if ours[what] != theirs[what]}


class GMime:
    """The reader of bench/gmime_reading, a process that is asked path by path."""

    def __init__(self, program):
        self.process = subprocess.Popen([program], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)

    def read(self, path):
        self.process.stdin.write(path + "\n")
        self.process.stdin.flush()
        found = {"plain": "", "html": "", "subject": "", "sender": "", "from": [], "to": [], "attachments": []}
        while (line := self.process.stdout.readline().rstrip("\n")) != "end":
            what, *values = line.split(" ")
            data = [bytes.fromhex(value) for value in values]
            text = data[0].decode("utf-8", "replace")
            if what == "attachment":
                found["attachments"].append((text, data[1]))
            elif what in ("from", "to"):
                found[what].append(text)
            elif what in ("plain", "html"):
                text, before = same_lines(text), found[what]
                found[what] += ("\n" if before and text and not before.endswith("\n") else "") + text
            else:
                found[what] = text
        return found

    def differences(self, ours, path):
        theirs = self.read(path)
        return {what: (ours[what], theirs[what]) for what in theirs if ours[what] != theirs[what]}


def generate(count, gmime):
    """True when each difference on that many messages has a reason."""
    sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tests" / "python"))
    from test_reading_rules import NAMED, Drawn
    peers = [("Python", NAMED)] + ([("GMime", NAMED_GMIME)] if gmime else [])
    counts = collections.Counter()
    unnamed = 0
    with tempfile.TemporaryDirectory() as folder, current_rules(folder):
        for seed in range(count):
            message = Drawn(seed)
            found = {"Python": differences(message.raw, folder)}
            if gmime:
                found["GMime"] = gmime.differences(read_by_us(message.raw, folder),
                                                   os.path.join(folder, "message.eml"))
            for peer, named in peers:
                for what, (ours, theirs) in found[peer].items():
                    rows = [(what, row) for row in sorted(message.rows) if (what, row) in named]
                    counts.update((peer, *row, named[row]) for row in rows)
                    if not rows:
                        unnamed += 1
                        print(f"{seed} {peer} {what} {sorted(message.rows)}\n  ours   {str(ours)[:300]!r}\n"
                              f"  theirs {str(theirs)[:300]!r}")
    for (peer, what, row, reason), number in sorted(counts.items()):
        print(f"{number:6} {peer:6} {what:11} {row:25} {reason}")
    print(f"{count} messages, {unnamed} differences without a reason")
    return not unnamed


def tell(paths):
    with tempfile.TemporaryDirectory() as folder, current_rules(folder):
        for path in paths:
            with open(path, "rb") as file:
                raw = file.read()
            try:
                found = differences(raw, folder)
            except Exception as error:  # Python's reader fails on some
                print(path, repr(error))
                continue
            for what, (ours, theirs) in found.items():
                print(f"{path} {what}\n  ours   {str(ours)[:300]!r}\n  theirs {str(theirs)[:300]!r}")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--generate", type=int)
    parser.add_argument("--gmime")
    parser.add_argument("files", nargs="*")
    options = parser.parse_intermixed_args()
    if options.generate:
        return 0 if generate(options.generate, GMime(options.gmime) if options.gmime else None) else 1
    tell(options.files)
    return 0


if __name__ == "__main__":
    sys.exit(main())
