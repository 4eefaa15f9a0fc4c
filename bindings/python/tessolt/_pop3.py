"""Fetching: POP3 sessions."""

from __future__ import annotations

from ._poplib_methods import PoplibMethods
from ._session import Session


class Pop3(PoplibMethods):
    """A connection to a POP3 mailbox, ended with a `with` block or by `close`; only that deletes what
    was marked.

        with tessolt.Pop3("mail.example.org", user="ann", password=secret) as mailbox:
            for message in mailbox:
                for attachment in message.attachments:
                    attachment.save_to(folder)
                mailbox.delete(message)

    It has the methods of the standard library's poplib.POP3 too. It belongs to one thread at a time;
    threads with connections of their own run side by side."""

    __slots__ = ()
    __doc__ = "\n\n".join((__doc__ or "", (Session.__doc__ or "").partition("\n\n")[2]))
