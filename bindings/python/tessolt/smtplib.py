"""In the place of the standard library's smtplib, for scripts that were written for it:

    from tessolt import smtplib

The mail goes through the library: certificates are checked, no password leaves without TLS but to
this very machine, and login or STARTTLS connects anew. The library chooses by itself what it calls
itself, and checks certificates by its settings: `local_hostname` and `context` aren't used. The
methods are those of tessolt.Smtp. `docmd` takes NOOP, HELP, VRFY and EXPN: other commands raise
NotImplementedError, since the library itself conducts the session."""

from __future__ import annotations

from smtplib import SMTP_PORT, SMTP_SSL_PORT
from typing import Any

from ._mail_errors import (
    AuthenticationError,
    ConnectError,
    MailError,
    RecipientsRefused,
    SenderRefused,
    SendError,
    TlsError,
)
from ._smtp import Smtp

SMTPException = MailError
SMTPResponseException = MailError
SMTPConnectError = ConnectError
SMTPHeloError = ConnectError
SMTPServerDisconnected = ConnectError
SMTPAuthenticationError = AuthenticationError
SMTPNotSupportedError = TlsError
SMTPSenderRefused = SenderRefused
SMTPRecipientsRefused = RecipientsRefused
SMTPDataError = SendError


class SMTP(Smtp):
    """A connection that begins in the clear, as smtplib.SMTP makes it."""

    __slots__ = ()

    def __init__(
        self,
        host: str = "",
        port: int = 0,
        local_hostname: str | None = None,
        timeout: float | None = None,
        **options: Any,
    ) -> None:
        host, port = _host_and_port(host, port)
        options.setdefault("security", "none")
        options.setdefault("connect", bool(host))
        super().__init__(host, port, timeout=timeout, **options)


class SMTP_SSL(Smtp):
    """A connection with TLS from its start, as smtplib.SMTP_SSL makes it."""

    __slots__ = ()

    def __init__(
        self,
        host: str = "",
        port: int = 0,
        local_hostname: str | None = None,
        timeout: float | None = None,
        *,
        context: Any = None,
        **options: Any,
    ) -> None:
        host, port = _host_and_port(host, port)
        options.setdefault("connect", bool(host))
        super().__init__(host, port, timeout=timeout, security="tls", **options)


def _host_and_port(host: str, port: int) -> tuple[str, int]:
    """Takes "host:port" apart, as smtplib does."""
    name, colon, number = host.rpartition(":")
    if port == 0 and colon and host.count(":") == 1 and number.isdecimal():
        return name, int(number)
    return host, port


__all__ = [
    "SMTP",
    "SMTPAuthenticationError",
    "SMTPConnectError",
    "SMTPDataError",
    "SMTPException",
    "SMTPHeloError",
    "SMTPNotSupportedError",
    "SMTPRecipientsRefused",
    "SMTPResponseException",
    "SMTPSenderRefused",
    "SMTPServerDisconnected",
    "SMTP_PORT",
    "SMTP_SSL",
    "SMTP_SSL_PORT",
]
