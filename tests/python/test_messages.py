"""tessolt.Message and its attachments."""

import copy
import datetime
import email.message
import email.policy
import os
import pathlib
import pickle
import tempfile
import unittest
import urllib.parse

import tessolt

UTC = datetime.timezone.utc
NAMES = [
    "../up.txt", "..\\up.txt", "/etc/passwd", "C:\\boot.ini", "..", ".", "", "...", "a/../b", ".bashrc", "-rf",
    "~root", "CON", "con.txt", "LPT1.log", "nul", "a:b", "a*?<>\"", "same.txt", "same.txt", "same.txt", "SAME.TXT",
    "n" * 300 + ".txt", "n" * 300 + ".pdf", "日" * 100 + ".jpeg", "link", "there.txt", "Отчёт.pdf", "報告書.pdf",
    "تقرير.pdf", "דוח.pdf", "रिपोर्ट.pdf", "รายงาน.pdf", "αναφορά.pdf", "👋.png", "evil\u202egpj.exe", " blank ",
    "dots...", "a\tb", "x\x85y", "%2e%2e%2fup", "a.tar.gz", "aux.h.gch", "nul\0byte", "new\nline",
]


def attached(names):
    """A message with an attachment for each name."""
    parts = "".join(
        "--b\r\nContent-Type: application/x-test\r\nContent-Disposition: attachment;"
        f" filename*=utf-8''{urllib.parse.quote(name, safe='')}\r\n\r\ncontent {number}\r\n"
        for number, name in enumerate(names))
    head = "Content-Type: multipart/mixed; boundary=b\r\n\r\n"
    return tessolt.Message.parse((head + parts + "--b--\r\n").encode())


class Composing(unittest.TestCase):
    def test_what_is_written_is_read(self):
        written = datetime.datetime(2024, 3, 5, 15, 3, 9, tzinfo=datetime.timezone(
            datetime.timedelta(hours=5, minutes=30)))
        m = tessolt.Message(
            sender='"Jörg \\"J\\" Müller" <j@example.org>', to=["Боб <bob@example.org>", "c@d.org"],
            cc='"Blow, Joe" <joe@example.org>, e@f.org', bcc="g@h.org", reply_to="r@s.org", date=written,
            subject="Grüße 👋", text="Text", html="<p>Seite", headers={"X-Note": "Größe"},
            attachments=[pathlib.Path(__file__)],
        )
        m.priority, m.encoding = tessolt.Priority.HIGH, tessolt.Encoding.UTF8
        m.embed(b"\x89PNG\0", "logo.png", "logo")
        m.attach(bytearray(b"a\0b"), "Отчёт.bin", "application/x-own")
        identity = m.message_id
        for read in (m, tessolt.Message.parse(m.as_bytes()), tessolt.Message.from_email(m.as_email()), copy.copy(m)):
            self.assertEqual((read.sender, read.to, read.cc),
                             ('"Jörg \\"J\\" Müller" <j@example.org>', ("bob@example.org", "c@d.org"),
                              ("joe@example.org", "e@f.org")))
            self.assertEqual((read.subject, read.text.strip(), read.html.strip()),
                             ("Grüße 👋", "Text", "<p>Seite"))
            self.assertEqual((read.date, read.header("x-note"), read.reply_to, read.priority),
                             (written, "Größe", "r@s.org", 2))
            self.assertEqual((read.message_id, read.header("Nothing", "none")), (identity, "none"))
        other = copy.deepcopy(m)
        self.assertEqual(other.bcc, ("g@h.org",))
        other.subject = "other"
        self.assertEqual(m.subject, "Grüße 👋")
        read = tessolt.Message.parse(bytes(m))
        facts = {a.name: (a.content, a.content_type, a.content_id, a.is_inline) for a in read.attachments}
        self.assertEqual(facts.pop("logo.png"), (b"\x89PNG\0", "image/png", "logo", True))
        self.assertEqual(facts.pop("Отчёт.bin")[:2], (b"a\0b", "application/x-own"))
        self.assertEqual(facts["test_messages.py"][0], pathlib.Path(__file__).read_bytes())
        self.assertEqual((m.bcc, read.bcc), (("g@h.org",), ()))
        answer = tessolt.Message(to="a@b")
        answer.answers(read)
        self.assertEqual((answer.header("In-Reply-To"), answer.header("References")), (identity, identity))

    def test_loaded_bytes_stay(self):
        source = b"From mbox\nSubject: =?utf-8?q?Gr=C3=BC=C3=9Fe?=\nX:  a\n b\n\nhello\n"
        m = tessolt.Message.parse(memoryview(source))
        self.assertEqual((m.raw, m.subject), (source, "Grüße"))
        self.assertEqual(m.headers[1], tessolt.Header("X", "a b", b"  a\n b"))
        self.assertEqual(m.as_bytes(), source.partition(b"\n")[2])
        m.subject = "New"
        self.assertEqual(m.header("Subject"), "New")
        self.assertIn(b"X:  a\n b", m.as_bytes().replace(b"\r\n", b"\n"))

    def test_standard_messages(self):
        standard = email.message.EmailMessage()
        standard["From"], standard["To"], standard["Bcc"] = "Änn <a@b.org>", "c@d.org", "e@f.org"
        standard["Subject"] = "Grüße"
        standard.set_content("Text\n")
        standard.add_attachment(b"\0\1", maintype="application", subtype="x-own", filename="ä.bin")
        m = tessolt.Message.from_email(standard)
        self.assertEqual((m.from_name, m.bcc, m.attachments[0].content), ("Änn", ("e@f.org",), b"\0\1"))
        back = m.as_email()
        self.assertEqual((back["Subject"], back.get_body().get_content()), ("Grüße", "Text\n"))

    def test_failures(self):
        for number, call in (
            (37610, lambda: tessolt.Message(to="nobody")), (37611, lambda: tessolt.Message(cc=["a@b", "c"])),
            (37605, lambda: tessolt.Message(attachments=["/no/file"])), (37605, lambda: tessolt.Message.load("/no")),
            (36002, lambda: tessolt.Message(headers={"A": "b\r\nBcc: c@d"})),
            (36002, lambda: tessolt.Message().set_header("A:", "b")),
            (36002, lambda: tessolt.Message().attach(b"", "a\r\nb")),
            (36002, lambda: tessolt.Message(html="h").embed(b"", "a", "b c")),
        ):
            with self.assertRaises(tessolt.MessageError) as raised:
                call()
            self.assertEqual((raised.exception.number, raised.exception.code), (number, 0))
        copied = pickle.loads(pickle.dumps(raised.exception))
        self.assertEqual((str(copied), copied.number, copied.stage), (str(raised.exception), 36002, "compose"))
        self.assertRaises(TypeError, tessolt.Message().attach, b"without a name")
        self.assertRaises(TypeError, pickle.dumps, tessolt.Message())
        with self.assertRaises(ValueError):
            tessolt.Message().date = datetime.datetime(1800, 1, 1, tzinfo=UTC)


class Saving(unittest.TestCase):
    """Whatever a sender calls an attachment, it ends in the folder under a name of its own, and nothing
    else changes."""

    def test_hostile_names(self):
        with tempfile.TemporaryDirectory() as scratch:
            outside, inside = pathlib.Path(scratch, "outside.txt"), pathlib.Path(scratch, "inside")
            outside.write_text("old")
            inside.mkdir()
            (inside / "link").symlink_to(outside)
            (inside / "there.txt").write_text("old")
            attachments = attached(NAMES).attachments
            self.assertEqual([a.name for a in attachments], [name.replace("\0", " ") for name in NAMES])
            paths = [a.save_to(inside) for a in attachments]
            self.assertEqual(len(set(paths)), len(NAMES))
            for number, path in enumerate(paths):
                self.assertEqual(path.resolve().parent, inside.resolve())
                self.assertEqual(path.read_text(), f"content {number}")
                self.assertLessEqual(len(os.fsencode(path.name)), 255)
                self.assertFalse(set(path.name) & set('<>:"|?*\\\n\t\0'), path)
            self.assertEqual((outside.read_text(), (inside / "there.txt").read_text()), ("old", "old"))
            self.assertEqual(len(list(inside.iterdir())), len(NAMES) + 2)
            self.assertEqual(len(list(pathlib.Path(scratch).iterdir())), 2)
            for name in ("there.txt", "link"):
                number = NAMES.index(name)
                path = attachments[number].save_to(inside, replace=True)
                self.assertEqual((path, path.read_text()), (inside / name, f"content {number}"))
            self.assertEqual(outside.read_text(), "old", "a link is replaced, not followed")
            with self.assertRaises(tessolt.MessageError) as raised:
                attachments[0].save_to(outside)
            self.assertEqual(raised.exception.number, 37607)
            self.assertEqual(tessolt.safe_name("報告書.pdf"), "報告書.pdf")


if __name__ == "__main__":
    unittest.main()
