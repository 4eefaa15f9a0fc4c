"""E-mail through four objects: EMailMessage, Smtp, Pop3 and EMailConstants.

    import tessolt

    m = tessolt.Dispatch("Tessolt.EMailMessage")
    m.FromAddress = "ann@example.org"
    m.Subject = "Hello"
    m.BodyPlainText = "How are you?"
    m.AddTo("bob@example.org", strDisplayName="Bob")

    smtp = tessolt.Dispatch("Tessolt.Smtp")
    smtp.Connect("mail.example.org", "ann", "secret")
    smtp.Send(m)
    if smtp.LastError != 0:
        print(smtp.GetErrorDescription(smtp.LastError))
    smtp.Disconnect()

Nothing about these objects is written in this package: properties, methods, parameters and defaults
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

from ._dispatch import Dispatch, GetIDsOfNames, Invoke, Missing, Object
from ._errors import ArgumentError, BusyError, ComError, RangeError, UnknownNameError

#: The kinds of call that Invoke takes.
DISPATCH_METHOD = 1
DISPATCH_PROPERTYGET = 2
DISPATCH_PROPERTYPUT = 4

__all__ = [
    "ArgumentError",
    "BusyError",
    "ComError",
    "DISPATCH_METHOD",
    "DISPATCH_PROPERTYGET",
    "DISPATCH_PROPERTYPUT",
    "Dispatch",
    "GetIDsOfNames",
    "Invoke",
    "Missing",
    "Object",
    "RangeError",
    "UnknownNameError",
]
