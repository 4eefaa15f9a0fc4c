"""tessolt.Smtp and tessolt.Pop3: what fails, progress, threads, ownership."""

import gc
import itertools
import os
import socket
import tempfile
import threading
import unittest

from mail_hosts import SMTP, Certificate, mail_host, scripted, serving, settings

import tessolt

BIG = 25_000_000
#: What kernels and TLS hold of a stream beside what was asked for.
BUFFERED = 12_000_000


def letter(subject="s"):
    return tessolt.Message(sender="a@example.org", to="b@example.org", subject=subject, text="t")


def resident_kib():
    with open("/proc/self/statm", encoding="ascii") as file:
        return int(file.read().split()[1]) * os.sysconf("SC_PAGESIZE") // 1024


class Failures(unittest.TestCase):
    def failure(self, kind, call, *parts):
        with self.assertRaises(kind) as raised:
            call()
        error = raised.exception
        self.assertIs(type(error), kind, error)
        self.assertIsInstance(error, tessolt.MailError)
        for part in parts:
            self.assertIn(part, str(error))
        return error

    def smtp(self, port, **options):
        return tessolt.Smtp("127.0.0.1", port, **options)

    def test_kinds(self):
        with mail_host("ann", "secret") as (smtp, pop3, *_), socket.create_server(("127.0.0.1", 0)) as unused:
            error = self.failure(tessolt.AuthenticationError, lambda: self.smtp(smtp, user="ann", password="no"),
                                 f"connect to 127.0.0.1:{smtp}: ", "; the server said: 535 authentication failed")
            self.assertEqual((error.number, error.code, error.reply, error.stage, error.smtp_error),
                             (37411, 535, "authentication failed", "connect", b"authentication failed"))
            self.failure(tessolt.AuthenticationError,
                         lambda: tessolt.Pop3("127.0.0.1", pop3, user="ann", password="no"), "-ERR login failed")
            self.failure(tessolt.TlsError, lambda: self.smtp(smtp, security="starttls"))
            self.failure(tessolt.TlsError, lambda: self.smtp(smtp, security="tls"))
            self.failure(tessolt.MessageError, lambda: self.smtp(smtp).send(tessolt.Message()))
            self.assertRaises(ValueError, self.smtp, smtp, security="ssl")
            with tessolt.Pop3("127.0.0.1", pop3, user="ann", password="secret") as mailbox:
                self.failure(tessolt.MailboxError, lambda: mailbox.fetch(1), "fetch 1: No more messages")
            port = unused.getsockname()[1]
            unused.close()
            self.failure(tessolt.ConnectError, lambda: self.smtp(port))
        self.failure(tessolt.ConnectError, lambda: tessolt.Smtp("nowhere.invalid", timeout=5))

    def test_untrusted_certificate(self):
        with tempfile.TemporaryDirectory() as folder:
            certificate = Certificate(folder)
            with serving(scripted(b"220 x", SMTP), certificate) as port:
                self.failure(tessolt.TlsError, lambda: self.smtp(port, security="tls"))
                with settings(TrustFile=certificate.path):
                    with self.smtp(port, security="tls") as smtp:
                        self.assertEqual((smtp.tls.version, smtp.tls.names[0]), ("TLSv1.3", "localhost"))

    def test_refusals(self):
        partial = {**SMTP, b"RCPT TO:<NO": b"550 5.1.1 nobody\r\n"}
        with serving(scripted(b"220 x", partial)) as port, self.smtp(port) as smtp:
            m = letter()
            m.add_cc("no@example.org")
            error = self.failure(tessolt.RecipientsRefused, lambda: smtp.send(m),
                                 "1 of 2 recipients refused: no@example.org (550 5.1.1 nobody)")
            self.assertEqual([one.accepted for one in error.results], [True, False])
            self.assertEqual(error.recipients, {"no@example.org": (550, b"5.1.1 nobody")})
            smtp.send(letter())
            self.assertEqual([one.address for one in smtp.recipients], ["b@example.org"])
        for word, reply, kind in ((b"MAIL", b"550 5.7.1 not you\r\n", tessolt.SenderRefused),
                                  (b"DATA", b"554 5.6.0 not that\r\n", tessolt.SendError)):
            with serving(scripted(b"220 x", {**SMTP, word: reply})) as port, self.smtp(port) as smtp:
                error = self.failure(kind, lambda: smtp.send(letter()), reply.decode().strip())
                self.assertEqual((error.code, error.enhanced), (int(reply[:3]), reply[4:9].decode()))
                self.assertTrue(smtp.is_open)

    def test_lost_connection(self):
        lost = {**SMTP, b"DATA": lambda connection, _: connection.shutdown(socket.SHUT_RDWR) or b""}
        with serving(scripted(b"220 x", lost)) as port, self.smtp(port) as smtp:
            error = self.failure(tessolt.ConnectError, lambda: smtp.send(letter()))
            self.assertEqual((error.stage, smtp.is_open), ("send", False))


class Transfers(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.certificate = Certificate(scratch.name)

    def each_way(self):
        """Plain and TLS: the certificate of the server and the options of the session."""
        yield None, {}
        with settings(TrustFile=self.certificate.path):
            yield self.certificate, {"security": "tls"}

    def test_cancelled_while_sending(self):
        taken = []

        def slowly(connection, lines):
            connection.sendall(b"354 go\r\n")
            taken.append(0)
            while piece := lines.read1(65536):
                taken[-1] += len(piece)
                if piece.endswith(b"\r\n.\r\n"):
                    return b"250 taken\r\n"
                threading.Event().wait(0.002)
            return b""

        m = letter()
        m.attach(b"x" * BIG, "big.bin")
        for certificate, options in self.each_way():
            with serving(scripted(b"220 x", {**SMTP, b"DATA": slowly}), certificate) as port:
                with tessolt.Smtp("127.0.0.1", port, **options) as smtp:
                    with self.assertRaises(tessolt.Cancelled) as raised:
                        smtp.send(m, lambda done, total: done < total / 20)
                    self.assertEqual((raised.exception.stage, smtp.is_open), ("send", False))
                    self.assertLess(taken[-1], BIG / 20 + BUFFERED)
                    smtp.send(letter())
                    self.assertEqual(smtp.last_reply.text, "taken")

    def test_cancelled_while_fetching(self):
        lines = (b"x" * 76 + b"\r\n") * (BIG // 78)
        given = []

        def retrieve(connection, _):
            connection.sendall(b"+OK\r\n")
            given.append(0)
            for start in range(0, len(lines), 500_000):
                connection.sendall(lines[start:start + 500_000])
                given[-1] += 500_000
                threading.Event().wait(0.01)
            return b".\r\n"

        replies = {b"RETR 1": retrieve, b"LIST": b"+OK 1 %d\r\n" % len(lines), b"CAPA": b"-ERR\r\n",
                   b"STAT": b"+OK 2 %d\r\n" % len(lines),
                   b"RETR 2": b"+OK\r\nSubject: small\r\n\r\n.\r\n"}
        for certificate, options in self.each_way():
            with serving(scripted(b"+OK", replies), certificate) as port:
                with tessolt.Pop3("127.0.0.1", port, user="a", password="b", **options) as mailbox:
                    for answer in (lambda done, total: done < total / 20, self.interrupting):
                        with self.assertRaises((tessolt.Cancelled, KeyboardInterrupt)):
                            mailbox.fetch(1, answer)
                        self.assertLess(given[-1], BIG / 20 + BUFFERED)
                        self.assertFalse(mailbox.is_open)
                    self.assertEqual(mailbox.fetch(2).subject, "small")

    @staticmethod
    def interrupting(done, total):
        raise KeyboardInterrupt

    def test_progress_bars(self):
        class Bar:
            total, n = None, 0

            def update(self, n):
                self.n += n

        bar, calls = Bar(), []
        with serving(scripted(b"220 x", SMTP)) as port, tessolt.Smtp("127.0.0.1", port) as smtp:
            smtp.send(letter(), lambda *state: calls.append(state))
            for _ in range(3):
                smtp.send(letter(), bar)
        self.assertEqual((bar.n, bar.total), (3 * calls[-1][1], 3 * calls[-1][1]))
        self.assertEqual(calls[-1][0], calls[-1][1])


class Objects(unittest.TestCase):
    def test_one_thread_at_a_time(self):
        inside, leave = threading.Event(), threading.Event()

        def waiting(*_):
            inside.set()
            leave.wait()

        m = letter()
        with serving(scripted(b"220 x", SMTP)) as port:
            smtp = tessolt.Smtp("127.0.0.1", port)
            sender = threading.Thread(target=smtp.send, args=(m, waiting))
            sender.start()
            inside.wait()
            for call in (lambda: smtp.send(letter()), lambda: smtp.tls, smtp.close, lambda: m.subject, m.as_bytes,
                         lambda: setattr(m, "text", "x"), lambda: m.object.Subject, lambda: smtp.object.LastError,
                         lambda: smtp.queue(letter()), lambda: m.attach(b"", "n")):
                self.assertRaises(tessolt.BusyError, call)
            leave.set()
            sender.join()
            self.assertEqual((m.subject, smtp.recipients[0].reply.code), ("s", 250))
            seen = []
            smtp.send(m, lambda *_: seen.append(type(self.failing(lambda: smtp.close()))))
            self.assertEqual(set(seen), {tessolt.BusyError}, "not even from its own callback")

    @staticmethod
    def failing(call):
        try:
            return call()
        except Exception as error:
            return error

    def test_threads_side_by_side(self):
        failures = []

        def work(number):
            try:
                with tessolt.Smtp("127.0.0.1", smtp, user="ann", password="secret") as session:
                    for i in range(20):
                        m = letter(f"{number} {i}")
                        m.attach(b"%d" % i * 1000, "n.bin")
                        session.send(m, lambda done, total: True)
            except BaseException as error:
                failures.append(error)

        with mail_host("ann", "secret") as (smtp, pop3, *_):
            threads = [threading.Thread(target=work, args=(n,)) for n in range(6)]
            for thread in threads:
                thread.start()
            for thread in threads:
                thread.join()
            self.assertEqual(failures, [])
            with tessolt.Pop3("127.0.0.1", pop3, user="ann", password="secret") as mailbox:
                subjects = {m.subject for m in mailbox}
        self.assertEqual(subjects, {f"{n} {i}" for n, i in itertools.product(range(6), range(20))})

    def test_objects_go(self):
        def use(count):
            for _ in range(count):
                m = letter()
                m.attach(b"x" * 1000, "n.bin")
                read = tessolt.Message.parse(m.as_bytes())
                self.assertEqual(len(read.attachments[0].content), 1000)
                self.assertTrue(read.headers)
                tessolt.Smtp("host", connect=False)

        use(1000)
        gc.collect()
        before = resident_kib()
        use(10000)
        self.assertLess(resident_kib() - before, 3000)


if __name__ == "__main__":
    unittest.main()
