"""An SMTP server and a POP3 server over one list of messages, for the tests of the objects."""

import socketserver
import threading


class _Server(socketserver.ThreadingTCPServer):
    allow_reuse_address = True
    daemon_threads = True

    def __init__(self, handler, mailbox):
        super().__init__(("127.0.0.1", 0), handler)
        self.mailbox = mailbox
        threading.Thread(target=self.serve_forever, args=(0.05,), daemon=True).start()

    @property
    def port(self):
        return self.server_address[1]

    def __exit__(self, *_):
        self.shutdown()
        self.server_close()


class _Session(socketserver.StreamRequestHandler):
    def say(self, text):
        self.wfile.write(text + b"\r\n")

    def lines(self):
        for line in self.rfile:
            yield line.rstrip(b"\r\n")


class _SmtpSession(_Session):
    def handle(self):
        self.say(b"220 ready")
        for line in self.lines():
            verb = line[:4].upper()
            if verb == b"DATA":
                self.say(b"354 go on")
                body = b""
                for text in self.rfile:
                    if text == b".\r\n":
                        break
                    body += text
                self.server.mailbox.append(body)
            self.say(b"221 bye" if verb == b"QUIT" else b"250 fine")
            if verb == b"QUIT":
                return


class _Pop3Session(_Session):
    def handle(self):
        self.say(b"+OK ready")
        mailbox = self.server.mailbox
        for line in self.lines():
            verb, _, argument = line.partition(b" ")
            if verb == b"STAT":
                self.say(b"+OK %d %d" % (len(mailbox), sum(map(len, mailbox))))
            elif verb == b"RETR":
                self.say(b"+OK")
                self.wfile.write(mailbox[int(argument) - 1])
                self.say(b".")
            elif verb == b"CAPA":
                self.say(b"-ERR none")
            else:
                self.say(b"+OK")
            if verb == b"QUIT":
                return


def smtp_server(mailbox):
    """A running server, to be used by `with`; what it takes goes to the list."""
    return _Server(_SmtpSession, mailbox)


def pop3_server(mailbox):
    """A running server that gives the messages of the list to anybody."""
    return _Server(_Pop3Session, mailbox)
