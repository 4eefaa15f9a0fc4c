"""In the place of the standard library's poplib, for scripts that were written for it:

    from tessolt import poplib

The mail goes through the library: certificates are checked, and no password leaves without TLS but
to this very machine; `context` isn't used, since the library checks certificates by its settings.
The methods are those of tessolt.Pop3. The connection is made by `pass_` or `apop`: the server's
welcome is known from then on."""

from __future__ import annotations

from poplib import POP3_PORT, POP3_SSL_PORT
from typing import Any

from ._mail_errors import MailError
from ._pop3 import Pop3

error_proto = MailError


class POP3(Pop3):
    """A connection as poplib.POP3 makes it, with STLS where the server offers it."""

    __slots__ = ()

    def __init__(
        self, host: str, port: int = POP3_PORT, timeout: float | None = None, **options: Any
    ) -> None:
        options.setdefault("security", "none")
        super().__init__(host, port, timeout=timeout, **options)


class POP3_SSL(Pop3):
    """A connection with TLS from its start, as poplib.POP3_SSL makes it."""

    __slots__ = ()

    def __init__(
        self,
        host: str,
        port: int = POP3_SSL_PORT,
        *,
        timeout: float | None = None,
        context: Any = None,
        **options: Any,
    ) -> None:
        super().__init__(host, port, timeout=timeout, security="tls", **options)


__all__ = ["POP3", "POP3_PORT", "POP3_SSL", "POP3_SSL_PORT", "error_proto"]
