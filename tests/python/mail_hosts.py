"""Servers for the tests: the mail host of the examples, servers that follow a script, and the machine's
Postfix and Dovecot."""

import contextlib
import os
import socket
import ssl
import subprocess
import tempfile
import threading

BUILT = os.environ["TESSOLT_EXAMPLES"]
SETTINGS = "[HKEY_LOCAL_MACHINE\\Software\\Merivane\\Tessolt]\n"


@contextlib.contextmanager
def mail_host(user, password, certificate="/dev/null"):
    """Runs the mail host among the examples; gives its ports for SMTP and POP3, and for both over TLS.
    What it shows there is written into a file."""
    command = [os.path.join(BUILT, "mail_host"), user, password, certificate]
    with subprocess.Popen(command, text=True, stdin=subprocess.PIPE,
                          stdout=subprocess.PIPE) as host:
        yield [int(host.stdout.readline().rpartition(":")[2]) for _ in range(4)]


@contextlib.contextmanager
def settings(**values):
    """Makes settings those of this process and of its children."""
    before = os.environ.get("TESSOLT_SETTINGS")
    with tempfile.NamedTemporaryFile("w", encoding="utf-8") as file:
        file.write(SETTINGS + "".join(f'"{name}"="{value}"\n' for name, value in values.items()))
        file.flush()
        os.environ["TESSOLT_SETTINGS"] = file.name
        try:
            yield
        finally:
            os.environ.pop("TESSOLT_SETTINGS")
            if before is not None:
                os.environ["TESSOLT_SETTINGS"] = before


class Certificate:
    """A certificate for this machine's names, signed by itself."""

    def __init__(self, folder):
        self.path = os.path.join(folder, "certificate.pem")
        key = os.path.join(folder, "key.pem")
        subprocess.run(
            ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256",
             "-nodes", "-days", "2", "-subj", "/CN=localhost", "-addext",
             "subjectAltName=DNS:localhost,IP:127.0.0.1", "-keyout", key, "-out", self.path],
            check=True, capture_output=True,
        )
        self.context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        self.context.load_cert_chain(self.path, key)


@contextlib.contextmanager
def serving(talk, certificate=None):
    """Runs talk(connection) in a thread of its own for each client; gives the port. With a certificate
    the connection is TLS from its start."""
    listener = socket.create_server(("127.0.0.1", 0))

    def serve(client):
        with contextlib.suppress(OSError), client:
            if certificate:
                client = certificate.context.wrap_socket(client, server_side=True)
            with client:
                talk(client)

    def accept():
        with contextlib.suppress(OSError):
            while True:
                threading.Thread(target=serve, args=listener.accept()[:1], daemon=True).start()

    threading.Thread(target=accept, daemon=True).start()
    try:
        yield listener.getsockname()[1]
    finally:
        listener.shutdown(socket.SHUT_RDWR)
        listener.close()


def scripted(greeting, replies):
    """A talk of `serving`: for each line, the bytes or the function(connection, lines) that stand
    beside the longest beginning of it; else "250 ok" or "+OK"."""
    usual = b"+OK\r\n" if greeting.startswith(b"+") else b"250 ok\r\n"

    def talk(connection):
        connection.sendall(greeting + b"\r\n")
        lines = connection.makefile("rb")
        for line in lines:
            fits = [word for word in replies if line.upper().startswith(word)]
            reply = replies[max(fits, key=len)] if fits else usual
            if callable(reply):
                reply = reply(connection, lines)
            connection.sendall(reply)
            if line.upper().startswith(b"QUIT"):
                return

    return talk


def read_text(_, lines):
    """Reads a message up to its end."""
    for line in lines:
        if line == b".\r\n":
            return b"250 taken\r\n"
    return b""


SMTP = {b"DATA": lambda connection, lines: connection.sendall(b"354 go\r\n") or read_text(connection, lines),
        b"AUTH": b"235 in\r\n", b"EHLO": b"250-x\r\n250 AUTH PLAIN\r\n", b"QUIT": b"221 bye\r\n"}


@contextlib.contextmanager
def real_servers():
    """Postfix and Dovecot. Gives the ports for SMTP, STARTTLS, SMTP over TLS, POP3 and POP3 over TLS,
    and the file with their certificate; None where they can't run."""
    with subprocess.Popen([os.environ["TESSOLT_REAL_SERVERS"]], text=True, stdin=subprocess.PIPE,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE) as servers:
        words = servers.stdout.readline().split()
        if not words:
            print("SKIPPED: Postfix and Dovecot:", servers.stderr.read().strip())
            yield None
        else:
            yield [int(word) for word in words[:5]] + words[5:]
        servers.stdin.close()
