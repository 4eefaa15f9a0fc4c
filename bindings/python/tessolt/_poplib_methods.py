"""What scripts for the standard library's poplib call."""

from __future__ import annotations

from typing import Any, List, Tuple

from . import _objects as objects
from ._constants import Pop3Auth
from ._mail_errors import MailError
from ._mailbox import Mailbox
from ._objects import POP3, RULES_CURRENT

_LINE_END = b"\r\n"
#: `list` is a method below.
Lines = List[bytes]
#: Answer, lines, and bytes of the lines.
LongAnswer = Tuple[bytes, Lines, int]


class PoplibMethods(Mailbox):
    """The methods of poplib.POP3, for scripts that were written for it."""

    __slots__ = ("_is_apop",)

    def _can_connect(self) -> bool:
        return bool(self._user)  # `pass_` connects otherwise

    def _prepare(self) -> None:
        how = Pop3Auth.APOP if getattr(self, "_is_apop", False) else Pop3Auth.AUTO
        objects.call(POP3.main.put_Authentication, self._pointer, int(how))

    def user(self, user: str) -> bytes:
        """Names the user. `pass_` connects."""
        self._user = user
        return b"+OK"

    def pass_(self, pswd: str) -> bytes:
        """Connects and logs in; raises AuthenticationError when that is refused."""
        self._password = pswd
        self._reconnect()
        return self._answer()

    def apop(self, user: str, password: str) -> bytes:
        """Connects and logs in without showing the password."""
        self._is_apop = True
        self._user, self._password = user, password
        self._reconnect()
        return self._answer()

    def stls(self, context: Any = None) -> bytes:
        """Asks for TLS: STLS, or no connection at all. The library checks the certificate by its
        settings (docs/settings.md) and doesn't ask `context`."""
        self.security = "starttls"
        if self._user:
            self._reconnect()
        return b"+OK"

    def capa(self) -> dict[str, List[str]]:
        """What the server can do."""
        self.open()
        words = (line.split() for line in self.capabilities)
        return {line[0]: line[1:] for line in words if line}

    def stat(self) -> tuple[int, int]:
        """The number of messages and the bytes of all."""
        entries = self.entries()
        return len(entries), sum(entry.size for entry in entries)

    def list(self, which: int | None = None) -> Any:
        """Answer, lines "number size" and their length in bytes; or the line of one message."""
        return self._lines(which, {entry.number: entry.size for entry in self.entries()})

    def uidl(self, which: int | None = None) -> Any:
        """The same with unique ids in place of sizes."""
        return self._lines(which, {entry.number: entry.unique_id for entry in self.entries()})

    def retr(self, which: int) -> LongAnswer:
        """Answer, lines of a message, and its length in bytes."""
        return self._long_answer(_split(self.fetch(int(which)).raw))

    def top(self, which: int, howmuch: int) -> LongAnswer:
        """The same of the header and some lines of the body."""
        whole = self.fetch(int(which)) if howmuch else self.fetch_header(int(which))
        lines = _split(whole.raw)
        end = lines.index(b"") + 1 if b"" in lines else len(lines)
        return self._long_answer(lines[: end + howmuch])

    def dele(self, which: int) -> bytes:
        """Marks a message for deletion."""
        self.delete(int(which))
        return self._answer()

    def rset(self) -> bytes:
        """Takes the marks away: connects anew without taking leave."""
        with self._guard:
            objects.call_long(POP3.main.Clear, self._pointer)
            POP3.further.UseRules(self._further, RULES_CURRENT)
            self._open()
        return self._answer()

    def noop(self) -> bytes:
        """Asks whether the server is still there. Raises ConnectError where it isn't."""
        reply = self._ask("NOOP")
        if not reply.text.startswith("+"):
            raise MailError("noop: the server said: " + reply.text, stage="ask", said=reply)
        return self._answer()

    def getwelcome(self) -> bytes:
        """The server's welcome. Before `pass_` or `apop`, which connect, it is "+OK" alone."""
        return self._welcome() or b"+OK"

    def set_debuglevel(self, level: int) -> None:
        """Writes each step to the standard error output; 0 ends that."""
        self._log_to("/dev/stderr" if level else "")

    def quit(self) -> bytes:
        """Takes leave of the server, which then deletes what was marked."""
        self.close()
        return b"+OK"

    def _answer(self) -> bytes:
        return self.last_reply.text.encode()

    def _long_answer(self, lines: Lines) -> LongAnswer:
        return self._answer(), lines, sum(len(line) + len(_LINE_END) for line in lines)

    def _lines(self, which: int | None, facts: dict[int, Any]) -> Any:
        lines = [b"%d %s" % (number, str(fact).encode()) for number, fact in facts.items()]
        if which is None:
            return self._long_answer(lines)
        if int(which) not in facts:
            self.fetch_header(int(which))  # raises what the server says to that number
        return b"+OK %d %s" % (int(which), str(facts[int(which)]).encode())


def _split(text: bytes) -> Lines:
    lines = text.split(_LINE_END)
    return lines if lines[-1] else lines[:-1]
