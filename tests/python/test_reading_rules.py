"""Reading under current rules against Python's own reader: generated messages, each difference a named row."""

import base64
import os
import quopri
import random
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "..", "tools"))
from compare_reading import current_rules, differences, read_by_us

# What a generated message is put together from: rows of (name, text), one drawn of each table.
SUBJECTS = [
    ("ascii", "A plain subject"), ("words", "=?utf-8?Q?Gr=C3=BC=C3=9Fe?= =?utf-8?B?8J+YgA==?= und mehr"),
    ("folded", "one\r\n two =?iso-8859-1?Q?=E9t=E9?=\r\n =?koi8-r?B?8NLJ18XU?="), ("raw", "Привет, мир 😀"),
    ("language", "=?us-ascii*en-US?Q?Keith_Moore?="), ("broken", "a =?utf-8?Q?b c"), ("no coding", "=?Do?= =?nau?="),
    ("cut character", "=?utf-8?B?w6k=?= =?utf-8?B?w6nDqcM=?= =?utf-8?B?qQ==?="), ("glued", "de la=?utf-8?Q?_maison?="),
    ("unknown charset", "=?x-nothing?Q?abc?="), ("gb18030", "=?gb18030?B?xOO6w4E5/oE=?="), ("two charsets",
     "=?utf-8?Q?=C3=A9?= =?iso-8859-1?Q?=E9?="), ("none", ""), ("tab fold", "a\r\n\tb"),
     ("blank in word", "=?utf-8?Q?a b?="),
]
MAILBOXES = [
    ("bare", "joe@x.org"), ("name", "Joe Blow <joe@x.org>"), ("quoted", '"Blow, Joe" <joe@x.org>'),
    ("comment", "joe@x.org (Joe Blow)"), ("fold", "Joe Blow\r\n <joe@x.org>"), ("blanks", "Joe Blow   <joe@x.org>"),
    ("route", "Joe <@a.org,@b.org:joe@x.org>"), ("word", "=?utf-8?Q?J=C3=B6?= <joe@x.org>"), ("local", "root"),
    ("quoted local", '"joe blow"@x.org'), ("quoted word", '"=?utf-8?Q?J=C3=B6?=" <joe@x.org>'), ("obsolete dots",
     "joe . blow @ x . org"), ("words before", "Joe Blow joe@x.org"), ("raw name", "Jö <joe@x.org>"),
    ("quoted pair", '"Joe \\"J\\" Blow" <joe@x.org>'), ("dot in name", "J. R. Blow <joe@x.org>"),
    ("no name", "just words here"),
    ("literal", "joe@[192.0.2.1]"), ("unclosed", "Joe <joe@x.org"),
]
LISTS = [("one", "{}"), ("two", "{}, ann@y.org"), ("group", "Team: {}, ann@y.org;"),
    ("empty group", "undisclosed-recipients:;"),
         ("semicolons", "{}; ann@y.org"), ("empty items", "{},, ann@y.org,")]
TEXTS = [(charset, text.encode(charset)) for charset, text in (
    ("us-ascii", "Hello\r\nworld"), ("utf-8", "Grüße 😀\r\n"), ("iso-8859-1", "été"), ("koi8-r", "Привет"),
    ("koi8-u", "Київ"),
    ("gb18030", "你好 😀 ǹ ḿ"), ("gb2312", "你好"), ("hz-gb-2312", "a 你好 b"), ("iso-2022-jp", "日本語\r\nabc"),
    ("shift_jis", "日本"),
    ("euc-jp", "日本"), ("euc-kr", "한국어"), ("big5", "中文"), ("iso-8859-16", "Șț€"), ("cp1251", "Привет"),
    ("windows-1257", "ąč"),
    ("utf-16", "h\u00e9 😀"), ("utf-7", "Gr\u00fc\u00dfe"), ("cp866", "Привет"))] + [
    (None, "Привет".encode()), (None, b"\xe9t\xe9"), ("x-nothing", "Grüße".encode()), ("utf-8", b"a\xffb"),
    ("us-ascii", b"\xe9")]
CODINGS = ["8bit", "base64", "quoted-printable", "none", "stray base64"]
NAMES = [
    ("token", "filename=a.txt"), ("quoted", 'filename="a b.txt"'), ("blanks", "filename=a b.txt"),
    ("plus", "filename=a+b.txt"),
    ("both", "filename=naive.txt; filename*=utf-8'fr'na%C3%AFve.txt"),
    ("pieces", "filename*0*=utf-8''na%C3%AF; filename*1=\"ve.txt\""),
    ("plain pieces", 'filename*0="a b"; filename*1=c.txt'), ("word", 'filename="=?utf-8?Q?na=C3=AFve.txt?="'),
    ("raw", 'filename="naïve.txt"'),
    ("folder", 'filename="C:\\\\x\\\\a.txt"'), ("charset", "filename*=iso-8859-1''%E9.txt"),
    ("semicolon", 'filename="a;b.txt"'), ("none", ""),
]
# (what, the row that was drawn): why ours differs.
NAMED = {
    ("subject", "subject: tab fold"): "a fold with a tab is shown as a blank",
    ("sender", "from: comment"): "a comment behind a bare address is its name",
    ("sender", "from: raw name"): "8-bit text in a header is read as UTF-8, not left as bytes",
    ("sender", "from: words before"): "words in front of a bare address are its name",
    ("from", "from: words before"): "the same",
    ("to", "to: words before"): "the same",
    ("sender", "from: no name"): "what is no address is kept as the name of none",
    ("from", "from: no name"): "the same",
    ("to", "to: no name"): "the same",
    ("to", "list: semicolons"): "semicolons separate as commas do",
    ("attachments", "name: blanks"): "a name without quote marks keeps its blanks",
    ("attachments", "name: both"): "filename* wins over filename",
}


def coded(data, coding):
    if coding in ("base64", "stray base64"):
        text = base64.encodebytes(data).replace(b"\n", b"\r\n")
        text = text.replace(b"\r\n", b"!\r\n") if coding[0] == "s" else text
        return b"Content-Transfer-Encoding: base64\r\n\r\n", text
    if coding == "quoted-printable":
        text = quopri.encodestring(data.replace(b"\r\n", b"\n")).replace(b"\n", b"\r\n")
        return b"Content-Transfer-Encoding: quoted-printable\r\n\r\n", text
    return (b"\r\n" if coding == "none" else b"Content-Transfer-Encoding: 8bit\r\n\r\n"), data


class Drawn:
    """One message, and the names of the rows it was made of."""

    def __init__(self, seed):
        self.random = random.Random(seed)
        self.rows = set()
        subject, mailbox = self.draw("subject", SUBJECTS), self.draw("from", MAILBOXES)
        people = self.draw("list", LISTS).format(self.draw("to", MAILBOXES))
        head = f"From: {mailbox}\r\nTo: {people}\r\nSubject: {subject}\r\nMIME-Version: 1.0\r\n".encode()
        self.raw = head + SHAPES[self.pick("shape", SHAPES)](self)
        if self.pick("lines", ["CRLF", "CRLF", "LF"]) == "LF":
            self.raw = self.raw.replace(b"\r\n", b"\n")

    def draw(self, table, rows):
        name, text = self.random.choice(rows)
        self.rows.add(f"{table}: {name}")
        return text

    def pick(self, table, names):
        return self.draw(table, [(name, name) for name in names])

    def text(self, kind="plain", name=""):
        charset, data = self.random.choice(TEXTS)
        self.rows.add(f"charset: {charset}")
        label = f"; charset={charset}" if charset else ""
        head, body = coded(data, self.pick("coding", CODINGS))
        return f"Content-Type: text/{kind}{label}{name}\r\n".encode() + head + body

    def file(self):
        name = self.draw("name", NAMES)
        head, body = coded(bytes(range(256)), self.pick("coding", ["base64", "stray base64"]))
        return f"Content-Type: application/pdf\r\nContent-Disposition: attachment; {name}\r\n".encode() + head + body

    def multipart(self, kind, parts, end="\r\n--b1--\r\n", line="--b1\r\n", boundary="b1"):
        head = f"Content-Type: multipart/{kind}; boundary={boundary}\r\n\r\npreamble\r\n"
        line, end = (text.replace("b1", boundary).encode() for text in (line, end))
        return head.encode() + line + (b"\r\n" + line).join(parts) + end

    def mixed(self, *parts, **how):
        return self.multipart("mixed", list(parts), **how)

    def alternative(self, boundary="b1"):
        return self.multipart("alternative", [self.text(), self.text("html")], boundary=boundary)


WITHIN = b"Content-Type: message/rfc822\r\n\r\nSubject: within\r\n\r\nHello\r\n"
SHAPES = {
    "text": Drawn.text,
    "html": lambda m: m.text("html"),
    "file": Drawn.file,
    "mixed": lambda m: m.mixed(m.text(), m.file(), b"\r\nno type"),
    "alternative": Drawn.alternative,
    "nested": lambda m: m.mixed(m.alternative("b2"), m.file(), WITHIN),
    "no close": lambda m: m.mixed(m.alternative("b2"), m.file(), end=""),
    "blank behind": lambda m: m.mixed(m.text(), m.file(), line="--b1 \t\r\n"),
    "like boundary": lambda m: m.mixed(b"\r\nabcdb1\r\nx--b1\r\n --b1\r\n--b1x\r\n", m.file()),
    "no header": lambda m: b"Hello, this line is no field\r\nmore\r\n",
    "rfc822": lambda m: WITHIN,
    "not found": lambda m: m.mixed(b"Content-Type: text/plain\r\n\r\nx", line="--b3\r\n", end=""),
    "no type": lambda m: b"\r\nHello\r\n",
    "two texts": lambda m: m.mixed(m.text(), m.text("html"), m.text(), m.text(name="; name=n.txt")),
    "digest": lambda m: m.multipart("digest", [b"\r\nSubject: within\r\n\r\nHello", m.text()]),
}


class Reading(unittest.TestCase):
    def test_whole_charsets(self):
        """Every character that Python writes in a charset comes back."""
        everything = [chr(c) for c in range(0xA0, 0x110000)
                      if not 0xD800 <= c < 0xE000 and (c < 0x10000 or c % 97 == 0)]
        with tempfile.TemporaryDirectory() as folder, current_rules(folder):
            for charset in ("gb18030", "gbk", "iso8859-16", "iso-2022-kr", "utf-16-be", "utf-32", "iso-8859-15",
                "koi8-r", "cp1258"):
                text = "".join(c for c in everything if c.encode(charset, "ignore"))
                raw = f"Content-Type: text/plain; charset={charset}\r\n\r\n".encode() + text.encode(charset)
                self.assertEqual(read_by_us(raw, folder)["plain"], text, charset)

    def test_differences_have_names(self):
        with tempfile.TemporaryDirectory() as folder, current_rules(folder):
            for seed in range(600):
                message = Drawn(seed)
                for what, (ours, theirs) in differences(message.raw, folder).items():
                    named = any((what, row) in NAMED for row in message.rows)
                    self.assertTrue(named, f"{seed} {sorted(message.rows)}\n{what}\n{ours!r}\n{theirs!r}")
