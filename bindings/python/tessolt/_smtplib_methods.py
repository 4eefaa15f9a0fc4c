"""What scripts for the standard library's smtplib call."""

from __future__ import annotations

import email.message
import email.utils
import re
import smtplib
from ctypes import c_char_p
from typing import Any, Sequence

from . import _objects as objects
from ._mail_errors import RecipientsRefused, refusals
from ._objects import SMTP
from ._session import Ports, Session
from ._values import Reply

#: Options of smtplib that the library chooses by itself, as the message and the server want them.
_CHOSEN = re.compile(r"SMTPUTF8|BODY=(8BITMIME|7BIT)|SIZE=\d+", re.IGNORECASE)
_TAKEN, _READY, _LEAVE = 250, 220, 221


class SmtplibMethods(Session):
    """The methods of smtplib.SMTP, for scripts that were written for it."""

    __slots__ = ()
    _kind = SMTP
    _ports = Ports(465, 587, 25)

    def _prepare(self) -> None:
        wanted = 0 if self.security == "none" else -1
        objects.call(SMTP.main.put_UseStartTls, self._pointer, wanted)

    def connect(self, host: str = "localhost", port: int = 0) -> tuple[int, bytes]:
        """Connects to another server."""
        self.close()
        name, colon, number = host.rpartition(":")
        if port == 0 and colon and ":" not in name and number.isdecimal():
            host, port = name, int(number)
        self.host, self.port = host, port or self.port
        self.open()
        return _READY, self._welcome()

    def ehlo(self, name: str = "") -> tuple[int, bytes]:
        """Says what the server can do. The library has greeted it already."""
        self.open()
        return _TAKEN, "\n".join(self.capabilities).encode()

    helo = ehlo

    def ehlo_or_helo_if_needed(self) -> None:
        """Connects, unless that is done."""
        self.open()

    @property
    def does_esmtp(self) -> bool:
        """Whether the server has told what it can do."""
        return bool(self.capabilities)

    @property
    def esmtp_features(self) -> dict[str, str]:
        """What the server can do: words in lower case, and what stands behind each."""
        lines = (line.partition(" ") for line in self.capabilities)
        return {word.lower(): rest for word, _, rest in lines}

    def has_extn(self, opt: str) -> bool:
        """Whether the server can do something, such as "SIZE"."""
        return opt.lower() in self.esmtp_features

    def starttls(
        self, keyfile: str | None = None, certfile: str | None = None, *, context: Any = None
    ) -> tuple[int, bytes]:
        """Connects anew with STARTTLS; raises TlsError where that can't be. The library checks the
        certificate by its settings (docs/settings.md) and doesn't ask `context`."""
        if keyfile is not None or certfile is not None:
            raise ValueError("the library shows no certificate of its own")
        if not self.tls:
            self.security = "starttls"
            self._reconnect()
        return _READY, self.tls.version.encode()

    def login(
        self, user: str, password: str, *, initial_response_ok: bool = True
    ) -> tuple[int, bytes]:
        """Connects anew with a login; raises AuthenticationError when it is refused. Without TLS the
        password goes to this very machine only: STARTTLS is used where it is offered."""
        self._user, self._password = user, password
        if self.security == "none":
            self.security = "usual"
            self.port = self._actual_port() if self.port == 0 else self.port
        self._reconnect()
        reply = self.last_reply
        return reply.code, reply.text.encode()

    def sendmail(
        self,
        from_addr: str,
        to_addrs: str | Sequence[str],
        msg: str | bytes,
        mail_options: Sequence[str] = (),
        rcpt_options: Sequence[str] = (),
    ) -> dict[str, tuple[int, bytes]]:
        """Sends MIME text as it stands. Returns those recipients that were refused, and what the
        server said; raises RecipientsRefused when these were all."""
        unknown = [option for option in mail_options if not _CHOSEN.fullmatch(option)]
        if unknown or rcpt_options:
            raise ValueError("option %s" % (unknown or list(rcpt_options))[0])
        data = msg if isinstance(msg, bytes) else re.sub(r"\r\n|\r|\n", "\r\n", msg).encode("ascii")
        to = [to_addrs] if isinstance(to_addrs, str) else list(to_addrs)
        sender, recipients = _address(from_addr), "\n".join(map(_address, to))
        with self._guard:
            self._open()
            objects.call_long(
                SMTP.further.SendBytes, self._further, c_char_p(data), len(data), sender,
                recipients,
            )
            try:
                self._check("send", "send")
            except RecipientsRefused as error:
                if not any(one.accepted for one in error.results):
                    raise
                return refusals(error.results)
        return {}

    def send_message(
        self,
        msg: email.message.Message,
        from_addr: str | None = None,
        to_addrs: str | Sequence[str] | None = None,
        mail_options: Sequence[str] = (),
        rcpt_options: Sequence[str] = (),
    ) -> dict[str, tuple[int, bytes]]:
        """Sends a message of the standard library, as that does it: to the recipients of its header,
        without the field Bcc."""
        # The standard library works out the envelope and the bytes, and calls `sendmail`.
        send: Any = smtplib.SMTP.send_message
        refused: dict[str, tuple[int, bytes]] = send(
            self, msg, from_addr, to_addrs, mail_options, rcpt_options
        )
        return refused

    def docmd(self, cmd: str, args: str = "") -> tuple[int, bytes]:
        """What the server says to a command: NOOP, HELP, VRFY or EXPN. Others raise
        NotImplementedError: the library itself conducts the session, and would lose its place."""
        return _pair(self._ask("%s %s" % (cmd, args) if args else cmd))

    def noop(self) -> tuple[int, bytes]:
        """Asks whether the server is still there. Raises ConnectError where it isn't."""
        return self.docmd("NOOP")

    def help(self, args: str = "") -> bytes:
        """The server's help."""
        return self.docmd("HELP", args)[1]

    def verify(self, address: str) -> tuple[int, bytes]:
        """Asks whether the server knows an address; most don't tell."""
        return self.docmd("VRFY", _address(address))

    vrfy = verify

    def expn(self, address: str) -> tuple[int, bytes]:
        """Asks who is on a list; most don't tell."""
        return self.docmd("EXPN", _address(address))

    def set_debuglevel(self, debuglevel: int) -> None:
        """Writes each step to the standard error output; 0 ends that."""
        self._log_to("/dev/stderr" if debuglevel else "")

    def quit(self) -> tuple[int, bytes]:
        """Takes leave of the server."""
        self.close()
        return _LEAVE, b""


def _pair(reply: Reply) -> tuple[int, bytes]:
    return reply.code, " ".join(filter(None, reply[1:])).encode()


def _address(text: str) -> str:
    """The address alone of "Ann <ann@example.org>"."""
    address = email.utils.parseaddr(text)[1] if "<" in text else text.strip()
    if "\n" in address or "\r" in address:
        raise ValueError("an address of several lines")
    return address
