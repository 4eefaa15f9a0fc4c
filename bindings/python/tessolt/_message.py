"""Messages: composed, loaded or fetched."""

from __future__ import annotations

import datetime
import email
import email.message
import email.policy
import email.utils
import os
import pathlib
from ctypes import byref, c_char_p, c_void_p
from email.headerregistry import Address
from typing import Any, Iterable, Union, cast

from . import _objects as objects
from ._attachment import Attachment
from ._library import take_string
from ._constants import ErrorNumber
from ._mail_errors import file_error, kind_of
from ._objects import MESSAGE, RULES_CURRENT, ByteView, Handle
from ._process import Process
from ._values import Header

#: Bytes in memory, or the path of a file.
Content = Union[bytes, bytearray, memoryview, str, "os.PathLike[str]"]
#: "bob@example.org" or "Bob <bob@example.org>"; several with commas between them.
AnyAddress = Union[str, Address]
Addresses = Union[AnyAddress, Iterable[AnyAddress]]


class Message(Handle):
    """One e-mail message.

        m = tessolt.Message(
            sender="Ann <ann@example.org>", to="bob@example.org", subject="Grüße", text="Hello."
        )
        m.attach("photo.jpg")

    What is given is written into the message at once; what can't be raises MessageError. A message
    that was loaded or fetched keeps every byte that isn't changed. Made by current rules, whatever the
    settings say. It belongs to one thread at a time. `copy.copy` makes another that is equal to it,
    blind copies included."""

    __slots__ = ("_unique_id", "_is_changed")

    def __init__(
        self,
        *,
        sender: AnyAddress = "",
        to: Addresses = (),
        cc: Addresses = (),
        bcc: Addresses = (),
        reply_to: str = "",
        subject: str = "",
        text: str = "",
        html: str = "",
        attachments: Iterable[Content] = (),
        date: datetime.datetime | None = None,
        headers: dict[str, str] | None = None,
    ) -> None:
        self._take(MESSAGE.create())
        self._is_changed = True
        MESSAGE.further.UseRules(self._further, RULES_CURRENT)
        if sender:
            self.sender = str(sender)
        for add, addresses in ((self.add_to, to), (self.add_cc, cc), (self.add_bcc, bcc)):
            for each in _several(addresses):
                add(each)
        if subject:
            self.subject = subject
        if text:
            self.text = text
        if html:
            self.html = html
        if reply_to:
            self.reply_to = reply_to
        for attachment in attachments:
            self.attach(attachment)
        if date is not None:
            self.date = date
        for name, value in (headers or {}).items():
            self.set_header(name, value)

    def __del__(self, _process: type[Process] = Process) -> None:
        self._release(MESSAGE, _process)

    def __repr__(self) -> str:
        return "<tessolt.Message %r from %r>" % (self.subject, self.from_address)

    def _take(self, pointer: int) -> None:
        """Takes over the object at a pointer."""
        self._unique_id = ""
        self._is_changed = False
        self._hold(MESSAGE, pointer)

    @classmethod
    def _fetched(cls, pointer: int, unique_id: str) -> Message:
        message = cls.__new__(cls)
        message._take(pointer)
        message._unique_id = unique_id
        return message

    def __copy__(self) -> Message:
        made = c_void_p()
        with self._guard:
            objects.call(MESSAGE.further.Copy, self._further, byref(made))
            copy = self._fetched(made.value or 0, self._unique_id)
            copy._is_changed = self._is_changed
        return copy

    def __deepcopy__(self, memo: object) -> Message:
        return self.__copy__()

    # Where a message comes from.

    @classmethod
    def parse(cls, data: bytes | bytearray | memoryview) -> Message:
        """The message in these bytes."""
        message = cls()
        view = bytes(data)
        objects.call(MESSAGE.further.LoadBytes, message._further, c_char_p(view), len(view))
        message._check("load", "parse")
        message._is_changed = False
        return message

    @classmethod
    def load(cls, path: str | os.PathLike[str]) -> Message:
        """The message in a file."""
        return cls.parse(_read("load", path))

    @classmethod
    def from_email(cls, message: email.message.Message) -> Message:
        """A message of the standard library."""
        return cls.parse(message.as_bytes(policy=message.policy.clone(linesep="\r\n")))

    def as_email(self) -> email.message.EmailMessage:
        """This message for the standard library, whose lines end with LF."""
        data = self.as_bytes().replace(b"\r\n", b"\n")
        message = email.message_from_bytes(data, policy=email.policy.default)
        return cast(email.message.EmailMessage, message)

    def as_bytes(self) -> bytes:
        """The MIME text that would be sent now."""
        with self._guard:
            self._is_changed = True
            self._render()
            view = ByteView()
            objects.call(MESSAGE.further.GetMimeBytes, self._further, byref(view))
            return view.copy()

    def __bytes__(self) -> bytes:
        return self.as_bytes()

    @property
    def raw(self) -> bytes:
        """The bytes as they were fetched or loaded, for an archive; empty for a composed message."""
        view = ByteView()
        with self._guard:
            objects.call(MESSAGE.further.GetLoadedBytes, self._further, byref(view))
            return view.copy()

    # Who.

    @property
    def sender(self) -> str:
        """The sender as "Ann <ann@example.org>"."""
        name, address = self.from_name, self.from_address
        return email.utils.formataddr((name, address)) if name.isascii() else _shown(name, address)

    @sender.setter
    def sender(self, value: str) -> None:
        name, address = _split(value)[0]
        self._put_text(MESSAGE.main.put_FromAddress, address)
        self._put_text(MESSAGE.main.put_FromName, name)

    @property
    def from_address(self) -> str:
        """The sender's address."""
        return self._read_text(MESSAGE.main.get_FromAddress)

    @property
    def from_name(self) -> str:
        """The sender's name."""
        return self._read_text(MESSAGE.main.get_FromName)

    @property
    def to(self) -> tuple[str, ...]:
        """The recipients' addresses."""
        return self._addresses(MESSAGE.main.get_ToAddress)

    @property
    def cc(self) -> tuple[str, ...]:
        """Those of the recipients of copies."""
        return self._addresses(MESSAGE.main.get_CcAddress)

    @property
    def bcc(self) -> tuple[str, ...]:
        """Those of the recipients that the others don't see."""
        return self._addresses(MESSAGE.main.get_BccAddress)

    def add_to(self, address: AnyAddress, name: str = "") -> None:
        """Adds a recipient; or several with commas between them."""
        self._add(MESSAGE.main.AddTo, address, name)

    def add_cc(self, address: AnyAddress, name: str = "") -> None:
        """Adds one who gets a copy."""
        self._add(MESSAGE.main.AddCc, address, name)

    def add_bcc(self, address: AnyAddress, name: str = "") -> None:
        """Adds one whom the others don't see."""
        self._add(MESSAGE.main.AddBcc, address, name)

    @property
    def reply_to(self) -> str:
        """Where answers go, if not to the sender."""
        return self._read_text(MESSAGE.main.get_ReplyAddress)

    @reply_to.setter
    def reply_to(self, address: str) -> None:
        self._put_text(MESSAGE.main.put_ReplyAddress, address)

    # What.

    @property
    def subject(self) -> str:
        """What it is about."""
        return self._read_text(MESSAGE.main.get_Subject)

    @subject.setter
    def subject(self, text: str) -> None:
        self._put_text(MESSAGE.main.put_Subject, text)

    @property
    def text(self) -> str:
        """The body as plain text."""
        return self._read_text(MESSAGE.main.get_BodyPlainText)

    @text.setter
    def text(self, text: str) -> None:
        self._put_text(MESSAGE.main.put_BodyPlainText, text)

    @property
    def html(self) -> str:
        """The body as HTML."""
        return self._read_text(MESSAGE.main.get_BodyHtml)

    @html.setter
    def html(self, text: str) -> None:
        self._put_text(MESSAGE.main.put_BodyHtml, text)

    @property
    def priority(self) -> int:
        """How urgent it is: one of Priority."""
        return self._read_number(MESSAGE.main.get_Priority)

    @priority.setter
    def priority(self, priority: int) -> None:
        self._put_number(MESSAGE.main.put_Priority, priority)

    @property
    def encoding(self) -> int:
        """The code page that it is written in: one of Encoding."""
        return self._read_number(MESSAGE.main.get_Encoding)

    @encoding.setter
    def encoding(self, encoding: int) -> None:
        self._put_number(MESSAGE.main.put_Encoding, encoding)

    def attach(
        self, content: Content, name: str | None = None, content_type: str = ""
    ) -> None:
        """Attaches a file by its path, or bytes in memory, which need a name. Without a content type
        it is told from the name."""
        with self._guard:
            self._attach(content, name, content_type)

    def embed(
        self,
        content: Content,
        name: str | None = None,
        content_id: str | None = None,
        content_type: str = "",
    ) -> str:
        """Adds an image for the HTML to show as "cid:" and the content id that this returns; without
        one, one is made. To be called behind setting `html`."""
        content_id = content_id or email.utils.make_msgid()[1:-1]
        with self._guard:
            self._attach(content, name, content_type)
            count = objects.read_number(MESSAGE.main.CountAttachments, self._pointer)
            objects.call(MESSAGE.further.SetInline, self._further, count, content_id)
            self._check("compose", content_id)
        return content_id

    @property
    def attachments(self) -> tuple[Attachment, ...]:
        """Its attachments, the images within the HTML among them."""
        with self._guard:
            count = objects.read_number(MESSAGE.main.CountAttachments, self._pointer)
            return tuple(Attachment(self, number) for number in range(1, count + 1))

    # The header.

    @property
    def headers(self) -> tuple[Header, ...]:
        """All fields in their order."""
        with self._guard:
            self._render()
            count = objects.read_number(MESSAGE.further.CountFields, self._further)
            return tuple(self._field(number) for number in range(1, count + 1))

    def header(self, name: str, default: str = "") -> str:
        """The text of the first field of that name."""
        with self._guard:
            self._render()
            (value,) = objects.read_texts(MESSAGE.main.GetHeaderValue, self._pointer, 1, name)
            return value or default

    def set_header(self, name: str, value: str) -> None:
        """Sets a field: one of your own, or "Message-ID", "In-Reply-To", "References" or "Date"."""
        with self._guard:
            self._is_changed = True
            objects.call(MESSAGE.further.SetField, self._further, name, value)
            self._check("compose", name)

    @property
    def date(self) -> datetime.datetime | None:
        """When it was written; None where it doesn't tell. Without one it gets the time of
        sending. A time without a zone is that of this machine."""
        try:
            return email.utils.parsedate_to_datetime(self.header("Date"))
        except (TypeError, ValueError):
            return None

    @date.setter
    def date(self, time: datetime.datetime) -> None:
        time = time.astimezone() if time.tzinfo is None else time
        ahead = (time.utcoffset() or datetime.timedelta()) // datetime.timedelta(minutes=1)
        with self._guard:
            self._is_changed = True
            objects.call(MESSAGE.further.SetDate, self._further, int(time.timestamp()), ahead)

    @property
    def message_id(self) -> str:
        """With brackets: "<1@example.org>". Without one, one is made, which then stays."""
        identity = self.header("Message-ID")
        if identity and not self.raw:
            self.set_header("Message-ID", identity)
        return identity

    @message_id.setter
    def message_id(self, value: str) -> None:
        self.set_header("Message-ID", value)

    def answers(self, other: Message) -> None:
        """Makes this an answer to another message: "In-Reply-To" and "References"."""
        identity = other.message_id
        self.set_header("In-Reply-To", identity)
        earlier = other.header("References") or other.header("In-Reply-To")
        self.set_header("References", ("%s %s" % (earlier, identity)).strip())

    # The mailbox.

    @property
    def number(self) -> int:
        """The number in the mailbox that it was fetched from, 0 for any other."""
        return self._read_number(MESSAGE.main.get_ID)

    @property
    def unique_id(self) -> str:
        """The unique id in the mailbox that it was fetched from, where the server has them."""
        return self._unique_id

    # How calls are made.

    def _put_text(self, function: Any, value: str) -> None:
        with self._guard:
            self._is_changed = True
            objects.put_text(function, self._pointer, value)

    def _read_text(self, function: Any) -> str:
        with self._guard:
            return objects.read_text(function, self._pointer)

    def _read_number(self, function: Any) -> int:
        with self._guard:
            return objects.read_number(function, self._pointer)

    def _put_number(self, function: Any, value: int) -> None:
        with self._guard:
            self._is_changed = True
            objects.call(function, self._pointer, int(value))

    def _addresses(self, function: Any) -> tuple[str, ...]:
        return tuple(filter(None, self._read_text(function).split(";")))

    def _add(self, function: Any, address: AnyAddress, name: str) -> None:
        with self._guard:
            self._is_changed = True
            for split_name, bare in _split(str(address)):
                objects.call(function, self._pointer, bare, name or split_name)
                self._check("compose", bare)

    def _attach(self, content: Content, name: str | None, content_type: str) -> None:
        if isinstance(content, (str, os.PathLike)):
            data = _read("compose", content)
            name = os.path.basename(os.fsdecode(content)) if name is None else name
        elif name is None:
            raise TypeError("bytes want a name")
        else:
            data = bytes(content)
        self._is_changed = True
        objects.call(
            MESSAGE.further.AddAttachmentBytes, self._further, c_char_p(data), len(data), name,
            content_type,
        )
        self._check("compose", name)

    def _field(self, number: int) -> Header:
        name, value, view = c_void_p(), c_void_p(), ByteView()
        objects.call(
            MESSAGE.further.GetField, self._further, number, byref(name), byref(value), byref(view)
        )
        return Header(take_string(name.value), take_string(value.value), view.copy())

    def _render(self) -> None:
        """Brings the MIME text up to what was set since."""
        if self._is_changed:
            objects.call(MESSAGE.main.Encode, self._pointer)
            self._check("compose", "encode")
            self._is_changed = False

    def _check(self, stage: str, what: str) -> None:
        number = objects.read_number(MESSAGE.main.get_LastError, self._pointer)
        if number != 0:
            (text,) = objects.read_texts(
                MESSAGE.main.GetErrorDescription, self._pointer, 1, number
            )
            raise kind_of(number, stage)("%s: %s" % (what, text), number, stage)


def _several(addresses: Addresses) -> Iterable[AnyAddress]:
    if isinstance(addresses, (str, Address)):
        return [addresses] if addresses else []
    return addresses


def _split(text: str) -> list[tuple[str, str]]:
    """Names and addresses of a text that may have both; the library reads any other."""
    if "<" not in text:
        return [("", text)]
    found = email.utils.getaddresses([text])
    return found if all(address for _, address in found) else [("", text)]


def _shown(name: str, address: str) -> str:
    return '"%s" <%s>' % (name.replace("\\", "\\\\").replace('"', '\\"'), address)


def _read(stage: str, path: str | os.PathLike[str]) -> bytes:
    try:
        return pathlib.Path(path).read_bytes()
    except OSError as error:
        number = ErrorNumber.OPEN_ATTACHMENT_FAILED
        raise file_error(number, stage, os.fsdecode(path), error) from error
