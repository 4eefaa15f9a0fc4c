#!/usr/bin/env python3
"""Tells where reading under current rules and Python's own reader part on the files that are given.

    compare_reading.py FILE...   with the package `tessolt` in PYTHONPATH"""

import contextlib
import email
import email.policy
import os
import sys
import tempfile
import unittest.mock

import tessolt

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


if __name__ == "__main__":
    tell(sys.argv[1:])
