"""What sessions with servers have in common."""

from __future__ import annotations

import os
from ctypes import byref, c_int32, c_void_p
from typing import TYPE_CHECKING, Any, Callable, ClassVar, NamedTuple, TypeVar

from . import _objects as objects
from ._constants import Cause
from ._mail_errors import Cancelled, MailError, RecipientsRefused, kind_of
from ._library import take_string
from ._objects import RULES_CURRENT, Handle, Kind
from ._process import Process
from ._progress import OBSERVER, ProgressCallback, Watch
from ._values import Recipient, Reply, TlsInfo

if TYPE_CHECKING:
    from typing import Literal

    #: How a connection is made safe: "usual" is TLS from the start on port 465 or 995, which are the
    #: usual ones, and STARTTLS or STLS elsewhere where the server offers it; "tls" is TLS from the
    #: start, whatever the port; "starttls" is STARTTLS or STLS, or no mail at all; "none" is in the
    #: clear, where passwords go to this very machine only.
    Security = Literal["usual", "tls", "starttls", "none"]

_SECURITIES = ("usual", "tls", "starttls", "none")
_TRANSFERS = ("send", "fetch")
#: The first code by which a server refuses.
_REFUSED = 400
_Self = TypeVar("_Self", bound="Session")


class Ports(NamedTuple):
    """The usual ports."""

    tls: int
    starttls: int
    clear: int


class Session(Handle):
    """A connection to a server, which is made anew where an operation needs one and it was lost.

    host, port: the server; port 0 is the usual one.
    user, password: without a user there is no login.
    security: "usual", "tls", "starttls" or "none". "usual" is TLS from the start on port 465 or 995,
        which are the usual ones, and elsewhere STARTTLS or STLS where the server offers it.
        Certificates are checked, and no password leaves without TLS but to this very machine.
    timeout: seconds for the connection, for each reply, and with nothing moving in a message; by
        default 20, 30 and 120.
    log_file: grows by a line for each step.
    connect: False connects at the first use."""

    __slots__ = ("host", "port", "_user", "_password", "security", "_timeouts", "_log_file")
    _kind: ClassVar[Kind]
    _ports: ClassVar[Ports]

    #: The server's name.
    host: str
    #: Its port.
    port: int
    #: How the connection is made safe.
    security: Security

    def __init__(
        self,
        host: str,
        port: int = 0,
        *,
        user: str = "",
        password: str = "",
        security: Security = "usual",
        timeout: float | None = None,
        log_file: str | os.PathLike[str] = "",
        connect: bool = True,
    ) -> None:
        if security not in _SECURITIES:
            raise ValueError("security is one of %s" % ", ".join(_SECURITIES))
        self._hold(self._kind, self._kind.create())
        self._kind.further.UseRules(self._further, RULES_CURRENT)
        self.host = host
        self.port = port
        self._user = user
        self._password = password
        self.security = security
        self._timeouts = (20.0, 30.0, 120.0) if timeout is None else (timeout,) * 3
        self._log_file = os.fsdecode(log_file)
        if connect and self._can_connect():
            self.open()

    def __del__(self, _process: type[Process] = Process) -> None:
        self._release(self._kind, _process)

    def __repr__(self) -> str:
        return "<tessolt.%s %s:%d>" % (type(self).__name__, self.host, self._actual_port())

    def __enter__(self: _Self) -> _Self:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def open(self) -> None:
        """Connects, unless that is done. Operations do it where they need to."""
        with self._guard:
            self._open()

    def close(self) -> None:
        """Takes leave of the server. The next operation connects again."""
        with self._guard:
            objects.call_long(self._kind.main.Disconnect, self._pointer)

    @property
    def is_open(self) -> bool:
        """Whether there is a connection."""
        with self._guard:
            return self._has_connection()

    @property
    def tls(self) -> TlsInfo:
        """What TLS agreed on; all empty on a connection without it."""
        with self._guard:
            version, cipher, names = objects.read_texts(
                self._kind.further.GetTls, self._further, 3
            )
            issuer, last_day = objects.read_texts(
                self._kind.further.GetCertificate, self._further, 2
            )
        return TlsInfo(version, cipher, tuple(filter(None, names.split(","))), issuer, last_day)

    @property
    def capabilities(self) -> tuple[str, ...]:
        """What the server said that it can do, a line each."""
        with self._guard:
            return tuple(self._read_further("GetCapabilities").splitlines())

    @property
    def mechanism(self) -> str:
        """How it was logged in: "SCRAM-SHA-256" and the like; empty without a login."""
        with self._guard:
            return self._read_further("GetMechanism")

    @property
    def last_reply(self) -> Reply:
        """The reply that decided the last operation."""
        with self._guard:
            return self._reply()

    def _welcome(self) -> bytes:
        with self._guard:
            return self._read_further("GetWelcome").encode()

    def _ask(self, command: str) -> Reply:
        """What the server says to a command that changes nothing. Where there is no connection, none
        is made; NotImplementedError for a command of another kind."""
        with self._guard:
            try:
                objects.call_long(self._kind.further.Ask, self._further, command)
            except ValueError:
                raise NotImplementedError(
                    "%s: the library itself conducts the session" % command.partition(" ")[0]
                ) from None
            self._check("ask", command.partition(" ")[0].lower())
            return self._reply()

    # How calls are made; each within the guard.

    def _has_connection(self) -> bool:
        return objects.read_truth(self._kind.further.IsOpen, self._further)

    def _actual_port(self) -> int:
        if self.port != 0:
            return self.port
        if self._is_tls():
            return self._ports.tls
        return self._ports.starttls if self.security == "starttls" else self._ports.clear

    def _is_tls(self) -> bool:
        return self.security == "tls" or (
            self.security == "usual" and self.port in (0, self._ports.tls)
        )

    def _open(self) -> None:
        if self._has_connection():
            return
        main = self._kind.main
        port = self._actual_port()
        connect, reply, data = (round(seconds * 1000) for seconds in self._timeouts)
        for put, number in (
            (main.put_HostPort, port), (main.put_TimeoutConnect, connect),
            (main.put_TimeoutAuthentication, reply), (main.put_TimeoutCommand, reply),
            (main.put_TimeoutData, data),
        ):
            objects.call(put, self._pointer, number)
        if self._log_file:
            objects.call(main.put_LogFile, self._pointer, self._log_file)
        if self._is_tls():
            objects.call(main.SetSecure, self._pointer, port)
        required = self._is_tls() or self.security == "starttls"
        objects.call(self._kind.further.RequireTls, self._further, -1 if required else 0)
        self._prepare()
        objects.call_long(main.Connect, self._pointer, self.host, self._user, self._password)
        self._check("connect", "connect to %s:%d" % (self.host, port))

    def _can_connect(self) -> bool:
        return True

    def _prepare(self) -> None:
        """What else is set before connecting."""

    def _reconnect(self) -> None:
        """Connects anew with what was set since."""
        with self._guard:
            objects.call_long(self._kind.main.Disconnect, self._pointer)
            self._open()

    def _log_to(self, path: str) -> None:
        self._log_file = path
        with self._guard:
            objects.call(self._kind.main.put_LogFile, self._pointer, path)

    def _transfer(
        self, progress: ProgressCallback | None, function: Callable[..., int], pointer: int,
        *arguments: Any,
    ) -> None:
        """Runs a transfer with an observer. What that raises comes out behind it."""
        if progress is None:
            objects.call_long(function, pointer, *arguments)
            return
        observe = self._kind.further.SetObserver
        with Watch(progress) as watch:
            objects.call(observe, self._further, OBSERVER, watch.number)
            try:
                objects.call_long(function, pointer, *arguments)
            finally:
                objects.call(observe, self._further, None, None)
        if watch.raised is not None:
            raise watch.raised

    def _read_further(self, name: str) -> str:
        return objects.read_text(getattr(self._kind.further, name), self._further)

    def _reply(self) -> Reply:
        code, enhanced, text = c_int32(), c_void_p(), c_void_p()
        objects.call(
            self._kind.further.GetLastReply, self._further, byref(code), byref(enhanced),
            byref(text),
        )
        return Reply(code.value, take_string(enhanced.value), take_string(text.value))

    def _results(self) -> tuple[Recipient, ...]:
        """What became of the recipients of the last message."""
        further = self._kind.further
        found: list[Recipient] = []
        for number in range(1, objects.read_number(further.CountRecipients, self._further) + 1):
            code = c_int32()
            address, enhanced, text = c_void_p(), c_void_p(), c_void_p()
            objects.call(
                further.GetRecipient, self._further, number, byref(address), byref(code),
                byref(enhanced), byref(text),
            )
            reply = Reply(code.value, take_string(enhanced.value), take_string(text.value))
            found.append(Recipient(take_string(address.value), reply))
        return tuple(found)

    def _check(self, stage: str, what: str) -> None:
        number = objects.read_number(self._kind.main.get_LastError, self._pointer)
        if number != 0:
            raise self._failure(number, stage, what)

    def _failure(self, number: int, stage: str, what: str) -> MailError:
        if stage in _TRANSFERS and objects.read_truth(
            self._kind.further.WasCancelled, self._further
        ):
            return Cancelled("%s: cancelled" % what, number, stage)
        results = self._results() if stage == "send" else ()
        refused = [one for one in results if one.reply.code >= _REFUSED]
        if refused:
            return self._refusal(number, what, results, refused)
        said = self._reply()
        cause, why, advice = c_int32(), c_void_p(), c_void_p()
        objects.call(
            self._kind.further.GetFailure, self._further, byref(cause), byref(why), byref(advice)
        )
        take_string(advice.value)  # the error finds it by the cause
        text = take_string(why.value)
        if not text:
            (text,) = objects.read_texts(
                self._kind.main.GetErrorDescription, self._pointer, 1, number
            )
        text = "%s: %s" % (what, text)
        if said.text:
            text += "; the server said: %s" % " ".join(str(said).split())
        return kind_of(number, stage, cause.value)(text, number, stage, said, cause.value)

    @staticmethod
    def _refusal(
        number: int, what: str, results: tuple[Recipient, ...], refused: list[Recipient]
    ) -> RecipientsRefused:
        each = ", ".join("%s (%s)" % (one.address, one.reply) for one in refused)
        text = "%s: %d of %d recipients refused: %s" % (what, len(refused), len(results), each)
        said = refused[0].reply
        error = RecipientsRefused(text, number, "send", said, Cause.RECIPIENT_REFUSED)
        error.results = results
        return error
