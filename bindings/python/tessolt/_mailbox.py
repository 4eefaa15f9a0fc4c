"""The messages of a POP3 mailbox."""

from __future__ import annotations

from ctypes import byref, c_int32, c_uint64, c_void_p
from typing import Iterator, Union

from . import _library as lib
from . import _objects as objects
from ._constants import ErrorNumber
from ._library import take_string
from ._mail_errors import MailboxError
from ._message import Message
from ._objects import POP3
from ._progress import ProgressCallback
from ._session import Ports, Session
from ._values import MailboxEntry

#: A message of the mailbox: its entry, the message itself, or its number in this session.
Which = Union[MailboxEntry, Message, int]


class Mailbox(Session):
    """The messages of a mailbox: listed, fetched, deleted."""

    __slots__ = ()
    _kind = POP3
    _ports = Ports(995, 110, 110)

    def entries(self) -> tuple[MailboxEntry, ...]:
        """The messages that aren't deleted: numbers, sizes and unique ids."""
        with self._guard:
            self._open()
            return self._entries()

    def __len__(self) -> int:
        return len(self.entries())

    def __iter__(self) -> Iterator[Message]:
        return self.messages()

    def messages(self, progress: ProgressCallback | None = None) -> Iterator[Message]:
        """The messages one after the other, each fetched as the loop comes to it."""
        for entry in self.entries():
            yield self.fetch(entry, progress)

    def fetch(self, which: Which, progress: ProgressCallback | None = None) -> Message:
        """One message. `progress` is told of bytes done and in all, and returns False to cancel; a
        progress bar will do."""
        return self._fetch(which, True, progress)

    def fetch_header(self, which: Which) -> Message:
        """The header of one message."""
        return self._fetch(which, False, None)

    def delete(self, which: Which) -> None:
        """Marks a message for deletion, which the server does at the end of the session."""
        # The numbers are those of the session that is open: another might have other ones.
        number = which if isinstance(which, int) else which.number
        with self._guard:
            objects.call_long(POP3.main.DeleteMessage, self._pointer, number)
            self._check("delete", "delete %d" % number)

    def _entries(self) -> tuple[MailboxEntry, ...]:
        count = c_int32()
        objects.call_long(POP3.further.ListMessages, self._further, byref(count))
        self._check("list", "list")
        return tuple(self._entry(index) for index in range(1, count.value + 1))

    def _entry(self, index: int) -> MailboxEntry:
        number, size, unique_id = c_int32(), c_uint64(), c_void_p()
        objects.call(
            POP3.further.GetListed, self._further, index, byref(number), byref(size),
            byref(unique_id),
        )
        return MailboxEntry(number.value, size.value, take_string(unique_id.value))

    def _fetch(self, which: Which, whole: bool, progress: ProgressCallback | None) -> Message:
        unique_id = "" if isinstance(which, int) else which.unique_id
        value = lib.VARIANT()
        function = POP3.main.GetEmailMessage if whole else POP3.main.GetEmailHeader
        with self._guard:
            number = self._number_now(which, unique_id)
            self._transfer(progress, function, self._pointer, number, byref(value))
            self._check("fetch", "fetch %d" % number)
        return Message._fetched(value.pointer or 0, unique_id)

    def _number_now(self, which: Which, unique_id: str) -> int:
        """The number of a message in the session that is open. In a new one, only a unique id tells
        which message was meant."""
        was_open = self._has_connection()
        self._open()
        if was_open or isinstance(which, int):
            return which if isinstance(which, int) else which.number
        for entry in self._entries():
            if unique_id and entry.unique_id == unique_id:
                return entry.number
        raise MailboxError(
            "fetch: a new connection has no message with this unique id",
            ErrorNumber.POP3_NO_SUCH_MESSAGE,
            "fetch",
        )
