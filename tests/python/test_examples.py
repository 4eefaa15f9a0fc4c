"""The example programs, in C++ and in Python, against the mail host among them."""

import os
import subprocess
import sys
import tempfile
import unittest

from mail_hosts import BUILT, mail_host

SCRIPTS = os.path.join(os.path.dirname(__file__), "..", "..", "examples", "python")
LANGUAGES = {
    "C++": lambda name: [os.path.join(BUILT, name)],
    "Python": lambda name: [sys.executable, "-B", os.path.join(SCRIPTS, name + ".py")],
}
QUEUE_SETTING = '[HKEY_LOCAL_MACHINE\\Software\\Merivane\\Tessolt]\n"Queue"="{}"\n'


class Examples(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = scratch.name

    def run_example(self, language, name, *arguments, expected=0):
        settings = os.path.join(self.folder, "settings")
        run = subprocess.run(
            LANGUAGES[language](name) + list(arguments), text=True, capture_output=True,
            timeout=60, env=dict(os.environ, TESSOLT_SETTINGS=settings),
        )
        self.assertEqual(run.returncode, expected, run.stderr)
        return run.stdout if expected == 0 else run.stderr

    def test_send_and_fetch(self):
        content = bytes(range(256)) * 300
        file = os.path.join(self.folder, "Все 日本 😀 bytes.bin")
        with open(file, "wb") as out:
            out.write(content)
        with mail_host("user", "secret") as (*ports, _, _):
            smtp, pop3 = (f"127.0.0.1:{port}" for port in ports)
            for number, language in enumerate(LANGUAGES, 1):
                told = self.run_example(language, "send_attachment", smtp, "user", "secret",
                                        "from@example.org", "to@example.org", file)
                self.assertEqual(told, "sent to to@example.org\n")
                told = self.run_example(language, "fetch_attachments", pop3, "user", "secret",
                                        self.folder)
                saved = os.path.join(self.folder, f"{number}-1-Все 日本 😀 bytes.bin")
                self.assertIn(f"{number}: A file for you 📎\n  saved {saved}\n", told)
                with open(saved, "rb") as back:
                    self.assertEqual(back.read(), content)
                told = self.run_example(language, "fetch_attachments", pop3, "user", "wrong",
                                        self.folder, expected=1)
                self.assertRegex(told, r"^Connect: [0-9]+ .")

    def test_queue_and_read(self):
        queue = os.path.join(self.folder, "queue")
        os.mkdir(queue)
        with open(os.path.join(self.folder, "settings"), "w", encoding="utf-8") as out:
            out.write(QUEUE_SETTING.format(queue))
        for language in LANGUAGES:
            told = self.run_example(language, "queue_message", "mail.example.org:25",
                                    "from@example.org", "to@example.org")
            self.assertEqual(told, "queued for to@example.org\n")
            (name,) = os.listdir(queue)
            told = self.run_example(language, "read_message", os.path.join(queue, name))
            self.assertIn("To:      to@example.org\n", told)
            self.assertIn("Subject: Später, позже, 稍后 🕐\n\n"
                          "Wartet in der Schlange. Ждёт в очереди. 在队列中等待。", told)
            os.remove(os.path.join(queue, name))

    def test_wrong_use(self):
        for language in LANGUAGES:
            for name in ("send_attachment", "fetch_attachments", "queue_message", "read_message"):
                self.assertRegex(self.run_example(language, name, expected=2), "^usage: " + name)
            told = self.run_example(language, "queue_message", "host", "a@b", "c@d", expected=1)
            self.assertEqual(told, "want HOST:PORT, not host\n")
            self.assertIn("37602", self.run_example(language, "read_message", "none", expected=1))


if __name__ == "__main__":
    unittest.main()
