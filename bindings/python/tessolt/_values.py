"""What the classes give back: small values."""

from __future__ import annotations

from typing import NamedTuple


class Reply(NamedTuple):
    """What a server said."""

    #: Of SMTP; 0 when there was none, and for POP3.
    code: int = 0
    #: "5.1.1" (RFC 3463) or "IN-USE" (RFC 2449); often empty.
    enhanced: str = ""
    #: Its words.
    text: str = ""

    def __str__(self) -> str:
        words = (str(self.code or ""), self.enhanced if self.code else "", self.text)
        return " ".join(word for word in words if word)


class Recipient(NamedTuple):
    """What a server said to one recipient."""

    address: str
    reply: Reply

    @property
    def accepted(self) -> bool:
        """Whether the server took the message for this one."""
        return 200 <= self.reply.code <= 299


class TlsInfo(NamedTuple):
    """What TLS agreed on. Without TLS it is all empty, and tests as false."""

    #: "TLSv1.3".
    version: str
    #: The name of the cipher.
    cipher: str
    #: Those in the server's certificate.
    names: tuple[str, ...]
    #: Who signed it.
    issuer: str
    #: When it expires.
    last_day: str

    def __bool__(self) -> bool:
        return self.version != ""


class Header(NamedTuple):
    """One header field of a message."""

    name: str
    #: Unfolded and decoded.
    value: str
    #: As it stands in the message.
    raw: bytes


class MailboxEntry(NamedTuple):
    """A message of a mailbox as the server lists it."""

    #: In this session.
    number: int
    #: In bytes.
    size: int
    #: The same in every session; empty where the server has none.
    unique_id: str
