#!/usr/bin/env python3
"""Writes the seeds of the fuzz targets, fuzz/seeds/TARGET/seed-*, from the texts that stand in the tests and from the
generators below. Files of other names there, what fuzzing has found, stay as they are.

A target takes its choices off the end of its input; targets that take several texts want \\x1D between them.
"""

import hashlib
import itertools
import pathlib
import re

ROOT = pathlib.Path(__file__).resolve().parent.parent
SEEDS = ROOT / "fuzz" / "seeds"
MOST_SEEDS = 40
LONGEST_SEED = 700

STRING = r'"(?:[^"\\\n]|\\.)*"'
ESCAPES = {"n": "\n", "r": "\r", "t": "\t", "a": "\a", "b": "\b", "f": "\f", "v": "\v"}


def unescaped(literal):
    """The bytes of what stands between the quotes of a C string literal."""
    def plain(match):
        text = match.group(1)
        if text[0] == "x":
            return chr(int(text[1:], 16) & 255)
        if text[0] in "uU":
            return chr(int(text[1:], 16)).encode("utf-8", "surrogatepass").decode("latin-1")
        if text[0] in "01234567":
            return chr(int(text, 8) & 255)
        return ESCAPES.get(text, text)

    text = literal.encode().decode("latin-1")
    pattern = r"\\(x[0-9A-Fa-f]+|u[0-9A-Fa-f]{4}|U[0-9A-Fa-f]{8}|[0-7]{1,3}|.)"
    return re.sub(pattern, plain, text, flags=re.S).encode("latin-1")


def texts(*patterns):
    """The string literals of test sources, those that follow each other joined."""
    found = []
    for pattern in patterns:
        for path in sorted(ROOT.glob("tests/" + pattern)):
            source = re.sub(r"^\s*(//|#).*$", "", path.read_text(), flags=re.M)
            for run in re.finditer(rf"{STRING}(?:\s*{STRING})*", source):
                found.append(b"".join(unescaped(one[1:-1]) for one in re.findall(STRING, run.group())))
    return found


def holding(found, *marks, shortest=4):
    """Those that hold one of the marks."""
    return [text for text in found if len(text) >= shortest and any(mark in text for mark in marks)]


def spread(found, most):
    """At most so many, from all over the list."""
    unique = list(dict.fromkeys(text for text in found if len(text) <= LONGEST_SEED))
    step = max(1, -(-len(unique) // most))
    return unique[::step]


def messages():
    """Every pair of structure and coding, small."""
    bodies = {
        b"7bit": b"plain text\r\n.\r\n",
        b"8bit": "Grüße\r\n".encode(),
        b"quoted-printable": b"a=3D=\r\nb =C3=BC\r\n",
        b"base64": b"R3LDvMOfZQ==\r\n",
    }
    heads = [b"From: A <a@x.test>\r\nTo: b@x.test, \"C, D\" <c@x.test>\r\nSubject: =?utf-8?Q?Gr=C3=BC?= s\r\n",
             b"Subject: one\r\n two\r\nDate: Tue, 5 Mar 2024 14:03:09 +0100\r\n"]
    for number, (coding, body) in enumerate(bodies.items()):
        fields = b"Content-Type: text/plain; charset=utf-8\r\nContent-Transfer-Encoding: " + coding + b"\r\n\r\n"
        leaf = fields + body
        yield heads[number % 2] + b"MIME-Version: 1.0\r\n" + leaf
        for kind in (b"mixed", b"alternative", b"signed", b"digest"):
            named = b"Content-Type: application/x-test; name*=utf-8''%C3%BC.bin\r\n" \
                    b"Content-Disposition: attachment; filename=\"a b.bin\"\r\n\r\nxyz\r\n"
            yield heads[0] + b"Content-Type: multipart/" + kind + b"; boundary=\"b 1\"\r\n\r\npreamble\r\n--b 1\r\n" + \
                leaf + b"\r\n--b 1\r\n" + named + b"--b 1--\r\nepilogue"
        yield b"Content-Type: message/rfc822\r\n\r\n" + heads[1] + leaf
    yield b"--b\r\nContent-Type: text/html\r\n\r\n<meta charset=windows-1252>\xFC\r\n--b--\r\n"
    yield b"From me Tue Mar  5 14:03:09 2024\nSubject: bare\n\nlines\n"
    yield b"Subject: carriage returns\rTo: x\r\rbody\r"
    yield b"\xFF\xFE" + "Subject: wide\r\n\r\nbody\r\n".encode("utf-16-le")
    yield b"Content-Type: multipart/mixed; boundary=a\n\n--a\n" \
          b"Content-Type: multipart/mixed; boundary=aa\n\n--aa\n\nx\n--a--"


def conversations(greeting, steps):
    """A server's words, a turn each; then each step missing, refused, and cut in two."""
    turns = [greeting] + steps
    yield b"\x1D".join(turns)
    for place, mark in itertools.product(range(len(turns)), (b"\x1E", b"\x1F", b"\x1C", b"")):
        cut = len(turns[place]) // 2
        yield b"\x1D".join(turns[:place] + [turns[place][:cut] + mark + turns[place][cut:]] + turns[place + 1:])
        if mark == b"":
            yield b"\x1D".join(turns[:place])


def smtp():
    greeting = b"220 hello\r\n"
    offers = b"250-mail.test\r\n250-AUTH PLAIN LOGIN CRAM-MD5\r\n250-SIZE 1000000\r\n250-PIPELINING\r\n" \
             b"250-8BITMIME\r\n250 SMTPUTF8\r\n"
    sending = [b"250 sender\r\n", b"250 one\r\n", b"550 two\r\n", b"354 go\r\n", b"250 taken\r\n"]
    end = [b"250 noop\r\n", b"221 bye\r\n"]
    plain = list(conversations(greeting, [b"250-mail.test\r\n250 SIZE\r\n"] + sending + end))
    login = [b"334 VXNlcm5hbWU6\r\n", b"334 UGFzc3dvcmQ6\r\n", b"235 in\r\n"]
    mechanisms = [
        conversations(greeting, [offers, b"235 in\r\n"] + sending),
        conversations(greeting, [b"250 AUTH LOGIN\r\n"] + login + sending),
        conversations(greeting, [b"250 AUTH CRAM-MD5\r\n", b"334 PDEuMkB4Pg==\r\n", b"235 in\r\n"] + sending),
        conversations(greeting, [b"250-x\r\n250 STARTTLS\r\n", b"220 go\r\n", b"\x16\x03\x03\x00\x02\x02\x28"]),
        conversations(greeting, [b"500 what\r\n", b"250 helo\r\n"] + sending),
        # All replies to a flight at once, those of a pipeline.
        [greeting + b"\x1D" + offers + b"\x1D" + b"235 in\r\n\x1D" + b"".join(sending)],
    ]
    for number, text in enumerate(plain + [text for made in mechanisms for text in itertools.islice(made, 4)]):
        # How to log in, then the choices of the conversation.
        yield text + bytes((number % 5, (0, 1, 8, 9, 2, 10, 25, 4)[number % 8]))


def pop3():
    greeting = b"+OK hello <1.2@x>\r\n"
    mailbox = [b"+OK 2 600\r\n", b"+OK\r\nSubject: s\r\n\r\n.\r\n", b"+OK 200\r\nSubject: s\r\n\r\n..body\r\n.\r\n",
               b"+OK\r\n1 200\r\n2 400\r\n.\r\n", b"+OK\r\n1 one\r\n2 two\r\n.\r\n", b"+OK\r\n", b"-ERR noop\r\n",
               b"+OK bye\r\n"]
    capa = b"+OK\r\nTOP\r\nUIDL\r\nSASL PLAIN SCRAM-SHA-256\r\nUSER\r\n.\r\n"
    made = [conversations(greeting, [b"+OK\r\n", b"+OK\r\n", capa] + mailbox),
            itertools.islice(conversations(greeting, [b"+OK apop\r\n", capa] + mailbox), 6),
            itertools.islice(conversations(greeting, [capa, b"+ \r\n", b"+OK in\r\n"] + mailbox), 8),
            conversations(greeting, [b"+OK\r\nSTLS\r\n.\r\n", b"+OK go\r\n", b"\x15\x03\x03\x00\x02\x02\x28"])]
    for number, text in enumerate(itertools.chain.from_iterable(made)):
        yield text + bytes(((0, 1, 8, 9, 2, 4, 17)[number % 7],))


def tls():
    server_hello = b"\x16\x03\x03\x00\x2A\x02\x00\x00\x26\x03\x03" + bytes(range(32)) + b"\x00\x13\x01\x00"
    for record in (b"\x15\x03\x03\x00\x02\x02\x28", b"\x15\x03\x03\x00\x02\x01\x00", server_hello,
                   b"\x16\x03\x03\x40\x00\x02\x00\x3F\xF0", b"HTTP/1.1 400 Bad\r\n\r\n", b"\x17\x03\x03\x00\x01x", b""):
        for choice in (0, 2, 8):
            yield record + bytes((choice,))
            yield record[:3] + b"\x1E" + record[3:] + bytes((choice,))
    for choice in (1, 5, 9, 13, 3):
        yield bytes((choice,))
        for act in range(7):
            yield bytes((100, act, 40, 5, 6, 0, choice))
            yield bytes((255, 6, 0) * (act + 3) + (50, act, 1, choice))


def queue_files():
    prefix = b"X-ZnQueueService-RemoveBeforeSending-"
    fields = b"".join(prefix + name + b": " + value + b"\r\n" for name, value in
                      ((b"Host", b"mail.test"), (b"Port", b"25"), (b"Secure", b"0"), (b"Account", b"u"),
                       (b"Password", b"xyz")))
    letter = b"From: A <a@x.test>\r\nTo: b@x.test,\r\n c@x.test\r\nBcc: d@x.test\r\nSubject: s\r\n"
    body = "\r\n.text Grüße\r\n".encode()
    yield fields + letter + body
    yield letter + fields + b"Message-ID: <1@x>\r\n" + body
    yield letter + body
    for place in range(5):
        lines = fields.splitlines(keepends=True)
        yield b"".join(lines[:place] + lines[place + 1:]) + letter + body
        yield b"".join(lines[:place] + [lines[place].replace(b": ", b": -1")] + lines[place + 1:]) + letter + body
    yield fields.replace(b"\r\n", b"\n") + letter.replace(b"\r\n", b"\n") + b"\nx\n"
    yield b"Tries: 3\nFirst-Try: 1700000000\nNext-Try: 1700000900\nServer: mail.test:25\nReply: 451 later\n" \
          b"Held: 1\nDelivered: b@x.test\nRefused: c@x.test 550 no\n"


def scripts():
    yield b"HKCR\n{\n NoRemove CLSID\n {\n  ForceRemove '%CLSID%' = s 'A Class'\n  {\n" \
          b"   InprocServer32 = s '%MODULE%'\n" \
          b"   {\n    val ThreadingModel = s 'Apartment'\n   }\n  }\n }\n}\n"
    yield b"HKCR { a = s 'it''s' { val b = s '%X%' } Delete c { } }"
    yield b"HKLM { a { b { c { d = s x } } } } HKCU { val v = s w }"
    yield b"HKCR { a = d '1' }"
    yield b"HKCR { 'unclosed"
    yield b"HKCR { " * 20
    yield b"} {"


def settings():
    head = b"[HKEY_LOCAL_MACHINE\\Software\\Merivane\\Tessolt]\n"
    contents = [b"", head + b"\"Queue\"=\"/var/spool\"\n@=\"own\"\n", b"# comment\r\n" + head + b"Queue=/x\r\n; end",
                b"\xEF\xBB\xBF" + head + b"\"a\\\"b\\\\c\"=\"\\\"\"\n",
                head + b"\"Rules\"=current\n" + head + b"x=dword:0001\n",
                b"[broken\n", b"no key=1\n", "[HKCU\\Ä]\n\"é\"=\"ü\"\n".encode(), b"\xFF\xFE[\x00"]
    edits = [b"text\x1Dname\x1DHKLM\\Software\\Merivane\\Tessolt", b"a\"b\\\x1D\x1DHKCU\\a\\\\b\\",
             b"\x1DQueue\x1DHKCR",
             b"two\nlines\x1Dname\x1DHKLM\\x", b"off\x1D=\x1Dhkey_users\\]["]
    for content, edit in itertools.product(contents, edits):
        yield edit + b"\x1D" + content


def ini_files():
    for content in (b"", b"[MessageList]\r\n1=a\r\n2=b\r\n[other]\r\nkey=value\r\n", b"[A]\nx\n;c\n\n[a]\ny=-5\n",
                    b"no section\n[ x ]\n k = 12z \n", b"[unclosed\nx=1", b"[]\n=\n[[a]]\nk=1\n"):
        for edit in (b"A\x1Dx\x1Dvalue", b"other\x1Dkey\x1D-3", b" x \x1Dk\x1Da\n[b]\nc", b"\x1D\x1D"):
            yield edit + b"\x1D" + content


def compositions():
    """Subject, two bodies, five texts of the sender, recipient, header, file name and content."""
    words = ["Grüße", "plain", "日本語", "a\r\nBcc: x@y.test", "", "=?utf-8?Q?x?=", "\"q\" <a@b>, c", "x" * 90, "Жж a"]
    for number in range(24):
        texts_of = [words[(number * 5 + place * (1 + number // 9)) % len(words)] for place in range(8)]
        address = ("b@x.test", "b@x.test;c@x.test", "<b@x.test>", "b@x.test\r\nX: y")[number % 4]
        rest = [address, words[number % 9], "X-Own", words[(number + 3) % 9], "a b.bin", "text/plain",
                "\x00\x01\r\n.\r\n"]
        yield "\x1D".join(texts_of + rest).encode() + bytes((number * 7 % 256, (0, 1, 4, 5, 5, 4)[number % 6]))


def pages_of(found, count=1):
    """Texts with the bytes behind them that choose code pages."""
    for number, text in enumerate(found):
        yield text + bytes((number * 37 + 11 * place) % 256 for place in range(count))


def calls():
    """Calls as they are read from the end: object, member, kind, number of arguments, named ones, then the values."""
    for number in range(36):
        steps = []
        for place in range(6):
            seed = number * 6 + place
            text = (b"a@x.test", b"name", b"12", b"f.eml", b"", b"X-Own")[seed % 6]
            values = [[8, len(text)] + list(text), [3, 4, 0, 0, 0, seed % 9], [0x83, 2, 1, 1], [15, 8, 1, 120], [12]]
            chosen = [values[seed % 5], values[(seed + 1) % 5]]
            steps += [seed % 5, seed * 7 % 0xF0, (1, 2, 4, 3)[seed % 4], seed % 3, seed % 4 == 2] + sum(chosen, [])
        yield bytes(steps[::-1])


def seeds():
    mime = texts("mime/*.cpp", "message/*.cpp", "reading/*.cpp")
    headers = texts("mime/header/*.cpp", "message/header_text_test.cpp", "reading/*.cpp")
    coding = texts("mime/coding/*.cpp")
    charset = texts("charset/*.cpp", "charset/*/*.cpp")
    whole = list(messages()) + spread(holding(mime, b"\r\n\r\n", b"\n\n"), 30)
    yield "message_classic", [text + bytes((number % 32,)) for number, text in enumerate(whole)]
    yield "message_current", [text + bytes((number % 16,)) for number, text in enumerate(whole)]
    blocks = [text.split(b"\r\n\r\n")[0] + b"\r\n" for text in whole] + spread(holding(headers, b": "), 30)
    yield "header_block", pages_of(blocks)
    yield "field", pages_of(spread(holding(headers, b": ", b"=?"), MOST_SEEDS))
    yield "addresses", spread(holding(headers + mime, b"@", b"<", b","), MOST_SEEDS)
    yield "parameters", spread(holding(headers + mime, b";", b"*="), MOST_SEEDS)
    yield "encoded_words", pages_of(spread(holding(coding + headers, b"=?", b"?="), MOST_SEEDS))
    yield "base64", spread([text for text in coding if len(text) > 1], MOST_SEEDS)
    yield "quoted_printable", spread(holding(coding + mime, b"=", b"\r\n"), MOST_SEEDS)
    yield "convert", pages_of(spread([text for text in charset if len(text) > 3], MOST_SEEDS) * 2, 2)
    pages = [b"<html><meta charset=utf-8>", b"<?xml version='1.0' encoding=\"koi8-r\"?>",
             b"<META HTTP-EQUIV=Content-Type CONTENT='text/html; charset=Shift_JIS' >", b"<meta a=1 b c = \"d'",
             b"<meta"]
    yield "html_charset", pages + spread(holding(mime, b"<", b"meta"), 20)
    yield "smtp_session", smtp()
    yield "pop3_session", pop3()
    yield "tls_records", tls()
    yield "settings_file", settings()
    yield "ini_file", ini_files()
    yield "queue_file", queue_files()
    yield "registration_script", scripts()
    yield "compose", compositions()
    yield "invoke", calls()


def main():
    for old in SEEDS.glob("*/seed-*"):
        old.unlink()
    for target, found in seeds():
        folder = SEEDS / target
        folder.mkdir(parents=True, exist_ok=True)
        for text in spread(list(found), MOST_SEEDS):
            (folder / ("seed-" + hashlib.sha256(text).hexdigest()[:12])).write_bytes(text)


if __name__ == "__main__":
    main()
