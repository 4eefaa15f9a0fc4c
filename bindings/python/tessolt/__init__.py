"""E-mail: compose, send, queue, fetch and read messages.

    import tessolt

    m = tessolt.Message(
        sender="Ann <ann@example.org>", to="bob@example.org", subject="Hello", text="How are you?"
    )
    m.attach("photo.jpg")
    with tessolt.Smtp("mail.example.org", user="ann", password=secret) as smtp:
        smtp.send(m)

    with tessolt.Pop3("mail.example.org", user="ann", password=secret) as mailbox:
        for message in mailbox:
            print(message.subject, message.text)
            for attachment in message.attachments:
                attachment.save_to(folder)  # never outside of it, and over no other file

What fails raises a MailError with the number, the server's code and words, and a line for people as
its text. Certificates are checked, and no password leaves without TLS but to this very machine,
whatever the settings say. help(tessolt.Message), help(tessolt.Smtp) and help(tessolt.Pop3) tell the
rest. tessolt.smtplib and tessolt.poplib stand in the place of the standard library's modules.

The four late-bound objects EMailMessage, Smtp, Pop3 and EMailConstants behind these classes are
there too, with every property and method of the library:

    m = tessolt.Dispatch("Tessolt.EMailMessage")
    m.Subject = "Hello"
    m.AddTo("bob@example.org", strDisplayName="Bob")

Nothing about them is written in this package: properties, methods, parameters and defaults
come from the type information of the object, so help(m) and dir(m) tell what there is. Names ignore
case. Texts are str or paths, numbers int or what has __index__, truth values bool, a null object is
None, and an object that a call gives is wrapped in the same way. None for an argument that may be
left out leaves it out.

What an operation makes of its task stands in LastError and is never an exception. A call that the
object refuses raises ComError, which has the result in .hresult; it is a TypeError too for a wrong
number or type of arguments, and an OverflowError for a number beyond 32 bits. An unknown name raises
AttributeError.

An object belongs to one thread at a time; a call on one that is inside another call raises BusyError.
Threads with objects of their own run side by side: the interpreter is free while a call runs. An
exception from a signal handler, as KeyboardInterrupt from Ctrl-C, ends a call of the main thread that
waits, within a tenth of a second unless it waits for the look-up of a host name.

The library is the file that the environment variable TESSOLT_LIBRARY names, or else
libqueltx64.so in this package or beside it, or else the one that the system's loader finds.
"""

from ._attachment import Attachment, safe_name
from ._constants import Cause, Encoding, ErrorNumber, Pop3Auth, Priority, SmtpAuth
from ._dispatch import Dispatch, GetIDsOfNames, Invoke, Missing, Object
from ._errors import ArgumentError, BusyError, ComError, RangeError, UnknownNameError
from ._mail_errors import (
    AuthenticationError,
    Cancelled,
    ConnectError,
    MailboxError,
    MailError,
    MessageError,
    RecipientsRefused,
    SenderRefused,
    SendError,
    TlsError,
)
from ._message import Message
from ._pop3 import Pop3
from ._progress import ProgressBar, ProgressCallback
from ._smtp import Smtp, queue
from ._values import Header, MailboxEntry, Recipient, Reply, TlsInfo

#: The kinds of call that Invoke takes.
DISPATCH_METHOD = 1
DISPATCH_PROPERTYGET = 2
DISPATCH_PROPERTYPUT = 4

__all__ = [
    "ArgumentError",
    "Attachment",
    "AuthenticationError",
    "BusyError",
    "Cancelled",
    "Cause",
    "ComError",
    "ConnectError",
    "DISPATCH_METHOD",
    "DISPATCH_PROPERTYGET",
    "DISPATCH_PROPERTYPUT",
    "Dispatch",
    "Encoding",
    "ErrorNumber",
    "GetIDsOfNames",
    "Header",
    "Invoke",
    "MailError",
    "MailboxEntry",
    "MailboxError",
    "Message",
    "MessageError",
    "Missing",
    "Object",
    "Pop3",
    "Pop3Auth",
    "Priority",
    "ProgressBar",
    "ProgressCallback",
    "RangeError",
    "Recipient",
    "RecipientsRefused",
    "Reply",
    "SendError",
    "SenderRefused",
    "Smtp",
    "SmtpAuth",
    "TlsError",
    "TlsInfo",
    "UnknownNameError",
    "queue",
    "safe_name",
]
