"""What goes wrong with mail, as exceptions by kind."""

from __future__ import annotations

import errno
from typing import ClassVar, Collection

from ._constants import Cause, ErrorNumber
from ._library import alloc_advice, take_string
from ._values import Recipient, Reply


class MailError(OSError):
    """Something about mail that failed. Its text is a line for people: what was tried, what went
    wrong, what the server said, and what to do."""

    #: One of ErrorNumber.
    number: int
    #: What was being done: "compose", "load", "save", "connect", "send", "queue", "list", "fetch",
    #: "delete" or "ask".
    stage: str
    #: The server's code, 0 when there was none.
    code: int
    #: Its enhanced code as "5.1.1" (RFC 3463), often empty.
    enhanced: str
    #: Its words.
    reply: str
    #: One of Cause, where it is known.
    cause: int
    #: What to do about it: the last part of the text; often empty.
    advice: str
    _is_advised: ClassVar[bool] = True

    def __init__(
        self, text: str = "", number: int = ErrorNumber.NONE, stage: str = "", said: Reply = Reply(),
        cause: int = Cause.NONE,
    ) -> None:
        self.advice = take_string(alloc_advice(cause or number)) if self._is_advised else ""
        if self.advice:
            text = "%s. %s" % (text.rstrip(" ."), self.advice)
        super().__init__(text)
        self.number = number
        self.cause = cause
        self.stage = stage
        self.code, self.enhanced, self.reply = said

    @property
    def smtp_code(self) -> int:
        """The server's code, as the standard library names it."""
        return self.code

    @property
    def smtp_error(self) -> bytes:
        """The server's words, as the standard library names them."""
        return " ".join(word for word in (self.enhanced, self.reply) if word).encode()


class ConnectError(MailError):
    """The server couldn't be reached, or the connection was lost."""


class TlsError(MailError):
    """The connection couldn't be made safe: the server offers no TLS, or its certificate isn't
    trusted."""


class AuthenticationError(MailError):
    """The server refused the user or the password."""


class MessageError(MailError):
    """Something about the message itself: an address, a header, a file, an attachment."""


class Cancelled(MailError):
    """The progress callback wanted no more. Nothing was delivered."""

    _is_advised = False


class SendError(MailError):
    """The server refused a message."""


class SenderRefused(SendError):
    """The server refused the sender."""


class RecipientsRefused(SendError):
    """The server refused recipients. Those it took have the message: `results` tells."""

    #: What the server said to each recipient.
    results: tuple[Recipient, ...] = ()

    @property
    def recipients(self) -> dict[str, tuple[int, bytes]]:
        """Those that were refused, in the form of the standard library."""
        return refusals(self.results)


class MailboxError(MailError):
    """The server refused to list, give or delete a message."""


def refusals(results: tuple[Recipient, ...]) -> dict[str, tuple[int, bytes]]:
    """The refused ones of recipients: address, code and words."""
    return {
        address: (reply.code, " ".join(filter(None, reply[1:])).encode())
        for address, reply in (one for one in results if not one.accepted)
    }


#: By kind: the causes, and the numbers that tell of the same where no cause is known.
_KINDS: tuple[tuple[type[MailError], Collection[int], Collection[int]], ...] = (
    (
        AuthenticationError,
        (Cause.LOGIN_REFUSED, Cause.LOGIN_UNSUPPORTED, Cause.LOGIN_NEEDED),
        (ErrorNumber.SMTP_LOGIN_FAILED, ErrorNumber.SMTP_LOGIN_UNSUPPORTED,
         ErrorNumber.POP3_LOGIN_FAILED),
    ),
    (
        ConnectError,
        range(Cause.NAME_UNKNOWN, Cause.LOST + 1),
        (ErrorNumber.SMTP_NOT_CONNECTED, ErrorNumber.TLS_DISCONNECTED,
         ErrorNumber.TLS_READ_FAILED, ErrorNumber.TLS_TIMED_OUT),
    ),
    (
        TlsError,
        (Cause.LOGIN_NEEDS_TLS, *range(Cause.TLS_NOT_SPOKEN, Cause.CERTIFICATE_OTHER + 1)),
        range(ErrorNumber.TLS_NO_CONTEXT, ErrorNumber.TLS_INCOMPLETE + 1),
    ),
    (SenderRefused, (Cause.SENDER_REFUSED,), ()),
)
#: Numbers about a message that can't be sent or queued.
_UNFIT = range(37600, 37700)
_BY_STAGE: dict[str, type[MailError]] = {
    "compose": MessageError,
    "load": MessageError,
    "save": MessageError,
    "connect": ConnectError,
    "send": SendError,
    "list": MailboxError,
    "fetch": MailboxError,
    "delete": MailboxError,
    "ask": ConnectError,
}


def kind_of(number: int, stage: str, cause: int = Cause.NONE) -> type[MailError]:
    """The kind of what failed with that number and that cause."""
    if number in _UNFIT or number == ErrorNumber.INVALID_ARGUMENT:
        return MessageError
    for kind, causes, numbers in _KINDS:
        if cause in causes or (cause == Cause.NONE and number in numbers):
            return kind
    return _BY_STAGE.get(stage, MailError)


#: What an error of the system says about a file.
_FILE_CAUSES = {
    errno.ENOENT: Cause.FILE_MISSING,
    errno.ENOTDIR: Cause.FILE_MISSING,
    errno.EACCES: Cause.FILE_FORBIDDEN,
    errno.EPERM: Cause.FILE_FORBIDDEN,
    errno.EROFS: Cause.FILE_FORBIDDEN,
    errno.ENOSPC: Cause.DISK_FULL,
    errno.EDQUOT: Cause.DISK_FULL,
    errno.EFBIG: Cause.DISK_FULL,
}


def file_error(number: int, stage: str, path: object, error: OSError) -> MessageError:
    """What is raised for a file."""
    cause = _FILE_CAUSES.get(error.errno or 0, Cause.FILE_OTHER)
    return MessageError("%s: %s" % (path, error.strerror), number, stage, cause=cause)
