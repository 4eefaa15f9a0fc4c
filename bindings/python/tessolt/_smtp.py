"""Sending: SMTP sessions and the queue."""

from __future__ import annotations

import os
from ctypes import byref
from typing import TYPE_CHECKING

from . import _library as lib
from . import _objects as objects
from ._message import Message
from ._objects import SMTP
from ._progress import ProgressCallback
from ._session import Session
from ._smtplib_methods import SmtplibMethods
from ._values import Recipient

if TYPE_CHECKING:
    from ._session import Security


class Smtp(SmtplibMethods):
    """A connection to an SMTP server, ended with a `with` block or by `close`.

        with tessolt.Smtp("mail.example.org", user="ann", password=secret) as smtp:
            smtp.send(message)

    It has the methods of the standard library's smtplib.SMTP too. It belongs to one thread at a time;
    threads with connections of their own run side by side."""

    __slots__ = ()
    __doc__ = "\n\n".join((__doc__ or "", (Session.__doc__ or "").partition("\n\n")[2]))

    def send(self, message: Message, progress: ProgressCallback | None = None) -> None:
        """Sends a message. Raises RecipientsRefused when one recipient was refused, though the
        others have it then. `progress` is told of bytes done and in all, and returns False to cancel;
        a progress bar will do."""
        value = lib.VARIANT()
        value.vt = lib.VT_DISPATCH
        value.pointer = message._pointer
        with self._guard, message._guard:
            self._open()
            message._is_changed = True
            self._transfer(progress, SMTP.main.Send, self._pointer, byref(value))
            self._check("send", "send")

    def queue(self, message: Message) -> None:
        """Leaves a message in the queue folder for tessolt-queue, which sends it to this server.
        Connects to nothing."""
        value = lib.VARIANT()
        value.vt = lib.VT_DISPATCH
        value.pointer = message._pointer
        with self._guard, message._guard:
            message._is_changed = True
            objects.call(
                SMTP.main.Queue, self._pointer, byref(value), self.host, self._actual_port(),
                1 if self._is_tls() else 0, self._user, self._password,
            )
            self._check("queue", "queue")

    @property
    def recipients(self) -> tuple[Recipient, ...]:
        """What the server said to each recipient of the last message."""
        with self._guard:
            return self._results()


def queue(
    message: Message,
    host: str,
    port: int = 0,
    *,
    user: str = "",
    password: str = "",
    security: Security = "usual",
    log_file: str | os.PathLike[str] = "",
) -> None:
    """Leaves a message in the queue folder for tessolt-queue, which sends it to that server."""
    Smtp(
        host, port, user=user, password=password, security=security, log_file=log_file,
        connect=False,
    ).queue(message)


