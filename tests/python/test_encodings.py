"""What goes out under each value of Encoding, read back by the standard library."""

import email
import email.policy
import os
import tempfile
import unittest

import tessolt

TEXTS = (
    "Plain",
    "Caf\u00e9",
    "\u00a7 5: \u00b1 2 \u00b0, \u00d7 \u00f7",
    "\u00c5se \u00fe\u00ff \u00a9",
    "\u041f\u0440\u0438\u0432\u0435\u0442, \u4f60\u597d, \u65e5\u672c\u8a9e, \ud55c\uad6d\uc5b4 \U0001f600",
    "\U0001f600 long enough for several encoded words, " * 3 + "\U0001f680",
)


class Encodings(unittest.TestCase):
    def test_every_constant_and_text(self):
        constants = tessolt.Dispatch("Tessolt.EMailConstants")
        names = [name for name in dir(constants) if name.startswith("EMAIL_MESSAGE_ENCODING_")]
        self.assertEqual(len(names), 17)
        for name in names:
            for text in TEXTS:
                for html in ("", "<p>" + text):
                    with self.subTest(name, text=text, html=bool(html)):
                        self.check(getattr(constants, name), text, html)

    def check(self, encoding, text, html):
        with tempfile.TemporaryDirectory() as folder:
            attached = os.path.join(folder, text.strip() + ".txt")
            saved = os.path.join(folder, "12:30 \u65e5\u672c.eml")
            with open(attached, "wb") as out:
                out.write(b"content")
            mail = tessolt.Dispatch("Tessolt.EMailMessage")
            mail.Encoding = encoding
            mail.FromName, mail.FromAddress = text, "ann@example.org"
            mail.Subject, mail.Organization = text, text
            mail.BodyPlainText, mail.BodyHtml = text, html
            mail.AddTo("bob@example.org", text)
            if html:
                mail.AddAttachment(attached)
            mail.Encode()
            mail.SaveMIME(saved)
            self.assertEqual(mail.LastError, 0)
            with open(saved, "rb") as file:
                read = email.message_from_binary_file(file, policy=email.policy.default)
            loaded = tessolt.Dispatch("Tessolt.EMailMessage")
            loaded.LoadMIME(saved)
        self.assertEqual((read["Subject"], read["Organization"]), (text, text))
        self.assertEqual((loaded.Subject, loaded.Organization), (text, text))
        for field in ("From", "To"):
            # The library may give the blanks around the words of a name twice.
            self.assertEqual(read[field].addresses[0].display_name.split(), text.split())
        for kind, body in (("plain", text), ("html", html)):
            if body:
                part = read.get_body((kind,))
                self.assertEqual(part.get_content().rstrip("\r\n"), body)
        self.assertEqual((loaded.BodyPlainText.rstrip("\r\n"), loaded.BodyHtml), (text, html))
        if html:
            (part,) = read.iter_attachments()
            file_name = loaded.GetAttachmentName(1)
            self.assertEqual(file_name, os.path.basename(attached))
            shown = email.header.make_header(email.header.decode_header(part.get_filename()))
            self.assertEqual(str(shown), file_name)


if __name__ == "__main__":
    unittest.main()
