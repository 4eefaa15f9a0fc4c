"""The usual jobs of the tutorial, in each language that has them, against the mail host of the examples over TLS."""

import contextlib
import email
import email.policy
import glob
import os
import subprocess
import sys
import tempfile
import unittest

BUILT = os.environ["TESSOLT_EXAMPLES"]
SOURCES = os.path.join(os.path.dirname(__file__), "..", "..", "examples")
SETTINGS = '[HKEY_LOCAL_MACHINE\\Software\\Merivane\\Tessolt]\n"Queue"="{0}/queue"\n"TrustFile"="{0}/trusted.pem"\n'
NAME = "../Отчёт.txt"
LETTER = (
    "From: =?utf-8?q?J=C3=BCrgen?= <j@example.org>\r\nTo: bob@example.org\r\nSubject: =?utf-8?q?Gr=C3=BC=C3=9Fe?=\r\n"
    "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\nHello.\r\n--b\r\nContent-Type: text/x-log\r\n"
    "Content-Disposition: attachment; "
    "filename*=utf-8''..%2F%D0%9E%D1%82%D1%87%D1%91%D1%82.txt\r\n\r\ninside\r\n--b--\r\n"
)


def commands(job):
    """The command of a job in each language."""
    yield "C++", [os.path.join(BUILT, "cpp", job)]
    yield "Python", [sys.executable, "-B", os.path.join(SOURCES, "python", "jobs", job + ".py")]


@contextlib.contextmanager
def mail_host(folder):
    """Runs the mail host among the examples; gives the environment by which the jobs find it."""
    command = [os.path.join(BUILT, "mail_host"), "ann", "secret", os.path.join(folder, "trusted.pem")]
    with subprocess.Popen(command, text=True, stdin=subprocess.PIPE, stdout=subprocess.PIPE) as host:
        ports = dict(host.stdout.readline().split() for _ in range(4))
        port = {name: place.rpartition(":")[2] for name, place in ports.items()}
        yield {"MAIL_HOST": "localhost", "MAIL_USER": "ann", "MAIL_PASSWORD": "secret", "SMTP_PORT": port["smtps"],
               "POP3_PORT": port["pop3s"], "SMTP_CLEAR_PORT": port["smtp"],
               "TESSOLT_SETTINGS": os.path.join(folder, "settings")}


class Jobs(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = scratch.name
        self.write("settings", SETTINGS.format(self.folder))
        for folder in ("queue", "saved"):
            os.mkdir(self.path(folder))
        host = mail_host(self.folder)
        self.environment = host.__enter__()
        self.addCleanup(host.__exit__, None, None, None)

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, text):
        with open(self.path(name), "w", encoding="utf-8", newline="") as out:
            out.write(text)

    def each(self, job, *arguments, given=None):
        """Runs a job in each language; gives what it printed."""
        for language, command in commands(job):
            with self.subTest(job=job, language=language):
                run = subprocess.run(command + list(arguments), input=given, text=True, capture_output=True,
                                     timeout=100, env=dict(os.environ, **self.environment))
                self.assertEqual((run.returncode, run.stderr), (0, ""))
                yield run.stdout

    def fetched(self):
        """What the mailbox holds, emptied by the job that does that, as messages of the standard library."""
        command = next(commands("fetch_and_delete"))[1]
        subprocess.run(command + [self.path("saved")], check=True, capture_output=True,
                       env=dict(os.environ, **self.environment))
        messages = []
        for path in glob.glob(self.path("saved/*.eml")):
            with open(path, "rb") as file:
                messages.append(email.message_from_binary_file(file, policy=email.policy.default))
            os.remove(path)
        return messages

    def test_send_text(self):
        for told in self.each("send_text"):
            self.assertEqual(told, "sent\n")
            (mail,) = self.fetched()
            self.assertEqual((mail["Subject"], mail["To"]), ("Grüße 👋", "Bob <bob@example.org>"))
            self.assertIn("Hello.", mail.get_content())

    def test_html_inline(self):
        for _ in self.each("html_inline"):
            (mail,) = self.fetched()
            image = next(part for part in mail.walk() if part.get_content_type() == "image/gif")
            self.assertEqual(image["Content-ID"], "<dot@example.org>")
            self.assertIn('src="cid:dot@example.org"', mail.get_body(("html",)).get_content())
            self.assertEqual([part.get_filename() for part in mail.iter_attachments()], ["table.csv"])

    def test_read_bytes(self):
        for told in self.each("read_bytes", given=LETTER):
            self.assertEqual(told.replace("\r", ""),
                             f"Jürgen <j@example.org>: Grüße\nHello.{NAME}, text/x-log, 6 bytes\n")

    def test_save_attachments(self):
        self.write("mail.eml", LETTER)
        for told in self.each("save_attachments", self.path("mail.eml"), self.path("saved")):
            path = self.path("saved/Отчёт.txt")
            self.assertEqual(told.strip(), path)
            with open(path, encoding="utf-8") as file:
                self.assertEqual(file.read(), "inside")
            os.remove(path)
            self.assertEqual(os.listdir(self.path("saved")), [])

    def test_many_messages(self):
        for told in self.each("many_messages"):
            self.assertIn("1000", told)
            self.assertEqual(len(self.fetched()), 1000)

    def test_failures_are_told(self):
        for told in self.each("wrong_password"):
            self.assertRegex(told, "535 authentication failed")
        for told in self.each("tls_required"):
            self.assertRegex(told, "(?i)tls|encrypt|secure")
        self.assertEqual(self.fetched(), [])

    def test_queue_message(self):
        for _ in self.each("queue_message"):
            (name,) = os.listdir(self.path("queue"))
            os.remove(os.path.join(self.path("queue"), name))
        self.assertEqual(self.fetched(), [])

    def test_threads(self):
        for _ in self.each("threads"):
            self.assertEqual(sorted(mail["Subject"] for mail in self.fetched()), [f"Thread {i}" for i in range(1, 5)])


if __name__ == "__main__":
    unittest.main()
