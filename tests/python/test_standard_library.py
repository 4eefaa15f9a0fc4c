"""Scripts for smtplib and poplib, run with the standard library and with tessolt in its place: servers
get the same mail, and scripts the same answers."""

import email.message
import poplib
import smtplib
import socket
import tempfile
import time
import unittest

from mail_hosts import SMTP, mail_host, real_servers, scripted, serving, settings

import tessolt.poplib
import tessolt.smtplib

LIBRARIES = ((smtplib, poplib), (tessolt.smtplib, tessolt.poplib))
TEXT = "From: a@example.org\nTo: {to}\nSubject: =?utf-8?q?=C3=A4?=\n\nA line\n.\n..dots\n{long}\n"
POLL_SECONDS = 0.05


def letters(to):
    """Messages of the standard library."""
    plain = email.message.EmailMessage()
    plain["From"], plain["To"], plain["Subject"] = "Änn <a@example.org>", f"Bob <{to}>", "Grüße 👋"
    plain.set_content("Привет\n.\n")
    yield plain
    page = email.message.EmailMessage()
    page["From"], page["Bcc"], page["Message-ID"] = "a@example.org", to, "<1@example.org>"
    page.set_content("text")
    page.add_alternative("<p>Seite ä", subtype="html")
    page.add_attachment(bytes(range(256)), maintype="application", subtype="x-own", filename="ä.bin")
    for number, part in enumerate(page.walk()):
        if part.is_multipart():
            part.set_boundary(f"b{number}")
    yield page


def send_all(library, host, port, to, password="secret", start_tls=False):
    """What a usual script for smtplib does; what it was told."""
    told = []
    with library.SMTP(host, port, timeout=30) as server:
        told.append(server.ehlo()[0])
        if start_tls:
            told.append(server.starttls()[0])
            told.append(server.ehlo()[0])
        told.append(server.login("ann" if "@example" in to else "user", password)[0])
        told.append(server.has_extn("8bitmime"))
        text = TEXT.format(to=to, long="x" * 500)
        told.append(server.sendmail("a@example.org", to, text))
        told.append(server.sendmail("Ann <a@example.org>", [to], text.replace("\n", "\r\n").encode()))
        for message in letters(to):
            told.append(server.send_message(message))
        told.append(server.send_message(next(letters(to)), from_addr="x@example.org", to_addrs=[to]))
        told += [server.noop(), server.docmd("noop")]
    return told


def fetch_all(library, host, port, user, secure=False):
    """What a usual script for poplib does; what it was told, and the messages."""
    mailbox = (library.POP3_SSL if secure else library.POP3)(host, port, timeout=30)
    mailbox.user(user)
    mailbox.pass_("secret")
    count, size = mailbox.stat()
    told = [count, size, mailbox.list()[1:], mailbox.list(1)[3:], mailbox.uidl()[1:], mailbox.uidl(2)]
    told += [mailbox.noop(), mailbox.getwelcome()]
    told += [mailbox.top(1, 0)[1:], mailbox.top(2, 3)[1:], sorted(mailbox.capa())]
    messages = [mailbox.retr(number + 1)[1:] for number in range(count)]
    mailbox.dele(1)
    told.append(mailbox.stat())
    mailbox.rset()
    told.append(mailbox.stat())
    mailbox.quit()
    return told, messages


def empty(port, user):
    mailbox = poplib.POP3("127.0.0.1", port)
    mailbox.user(user)
    mailbox.pass_("secret")
    for number in range(mailbox.stat()[0]):
        mailbox.dele(number + 1)
    mailbox.quit()


class Scripts(unittest.TestCase):
    maxDiff = None

    def same(self, run):
        """Runs a script with each library and compares."""
        first, second = (run(*libraries) for libraries in LIBRARIES)
        self.assertEqual(first, second)
        return first

    def test_with_the_mail_host(self):
        with tempfile.NamedTemporaryFile() as certificate, \
                mail_host("ann", "secret", certificate.name) as (smtp, pop3, _, pop3s):

            def run(ours, pop):
                empty(pop3, "ann")
                told = send_all(ours, "localhost", smtp, "bob@example.org")
                return told, fetch_all(pop, "localhost", pop3, "ann")

            told, (_, messages) = self.same(run)
            self.assertEqual((len(messages), told[3]), (5, {}))
            self.assertNotIn(b"Bcc", b"".join(messages[3][0]))
            with settings(TrustFile=certificate.name):
                # The standard library checks no certificate unless it is told to.
                self.same(lambda _, pop: fetch_all(pop, "localhost", pop3s, "ann", secure=True))

    def test_with_real_servers(self):
        with real_servers() as found:
            if not found:
                return
            smtp, starttls, _, pop3, _, certificate = found

            def run(ours, pop):
                empty(pop3, "user")
                send_all(ours, "127.0.0.1", smtp, "user@box.test")
                told = send_all(ours, "127.0.0.1", starttls, "user@box.test", start_tls=True)
                while True:
                    _, messages = fetch_all(pop, "127.0.0.1", pop3, "user")
                    if len(messages) == 10:
                        break
                    time.sleep(POLL_SECONDS)
                return told, sorted(self.as_sent(lines) for lines, _ in messages)

            with settings(TrustFile=certificate):
                self.same(run)

    @staticmethod
    def as_sent(lines):
        """A message without what Postfix and Dovecot add to it."""
        first = next(i for i, line in enumerate(lines) if line.startswith(b"From:"))
        return [line for line in lines[first:] if not line.startswith((b"Message-Id:", b"Date:"))]

    def test_failures(self):
        replies = {**SMTP, b"RCPT TO:<NO": b"550 5.1.1 nobody\r\n", b"MAIL FROM:<NO": b"553 5.7.1 not you\r\n",
                   b"AUTH": b"535 5.7.8 wrong\r\n", b"VRFY": b"252 2.1.5 perhaps\r\n", b"HELP": b"214-a\r\n214 b\r\n",
                   b"NOOP": lambda connection, _: connection.shutdown(socket.SHUT_RDWR) or b""}

        def outcome(library, call):
            with library.SMTP("127.0.0.1", port) as server:
                try:
                    return call(server)
                except library.SMTPRecipientsRefused as error:
                    return "recipients", error.recipients
                except library.SMTPSenderRefused as error:
                    return "sender", error.smtp_code, error.smtp_error
                except library.SMTPAuthenticationError as error:
                    return "login", error.smtp_code, error.smtp_error
                except library.SMTPServerDisconnected:
                    return "gone"
                except library.SMTPNotSupportedError:
                    return "not supported"

        with serving(scripted(b"220 x", replies)) as port:
            for expected, call in (
                ({"no@b": (550, b"5.1.1 nobody")}, lambda s: s.sendmail("a@b", ["no@b", "c@d"], "x")),
                (("recipients", {"no@b": (550, b"5.1.1 nobody")}), lambda s: s.sendmail("a@b", "no@b", "x")),
                (("sender", 553, b"5.7.1 not you"), lambda s: s.sendmail("no@b", "c@d", "x")),
                (("login", 535, b"5.7.8 wrong"), lambda s: s.login("a", "b")),
                ("not supported", lambda s: s.starttls()),
                ((252, b"2.1.5 perhaps"), lambda s: s.verify("Ann <a@b>")),
                (b"a\nb", lambda s: s.help()),
                ("gone", lambda s: s.noop()),
            ):
                self.assertEqual(self.same(lambda ours, _: outcome(ours, call)), expected)
            for command in ("DATA", "QUIT", "NOOP\r\nDATA"):
                with self.assertRaises(NotImplementedError), tessolt.smtplib.SMTP("127.0.0.1", port) as server:
                    server.docmd(command)
        replies = {b"NOOP": b"-ERR no\r\n", b"STAT": b"+OK 0 0\r\n", b"CAPA": b"-ERR\r\n"}
        with serving(scripted(b"+OK x", replies)) as port:
            for _, library in LIBRARIES:
                mailbox = library.POP3("127.0.0.1", port)
                mailbox.user("a")
                mailbox.pass_("b")
                with self.assertRaisesRegex(library.error_proto, "-ERR no"):
                    mailbox.noop()
                mailbox.quit()


if __name__ == "__main__":
    unittest.main()
