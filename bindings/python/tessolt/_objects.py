"""The objects behind the classes, and calls of their interfaces without a detour by names."""

from __future__ import annotations

import ctypes
from ctypes import byref, c_int16, c_int32, c_int64, c_size_t, c_void_p, string_at
from typing import Any, Callable

from . import _library as lib
from ._dispatch import Object, busy, wrap
from ._errors import E_INVALIDARG, E_OUTOFMEMORY, make_error
from ._process import Process, Waits
from ._tables import INHERITED, OPERATIONS

RULES_CURRENT = 1
_TYPES = {
    "T": c_void_p,
    "P": c_void_p,
    "L": c_int32,
    "B": c_int16,
    "Z": c_size_t,
    "Q": c_int64,
}
#: Operations that take their time: these let go of the interpreter. The others keep it, which is
#: quicker.
_LONG = frozenset(
    "AddAttachment AddAttachmentBytes Ask Clear Connect Copy CountFields CountMessages Decode"
    " DeleteMessage Disconnect Encode GetAttachmentBytes GetEmailHeader GetEmailMessage GetMimeBytes ListMessages"
    " LoadBytes LoadMIME Queue SaveAttachment SaveMIME Send SendBytes Sleep".split()
)


class ByteView(ctypes.Structure):
    """Bytes that belong to somebody else."""

    _fields_ = [("data", c_void_p), ("size", c_size_t)]

    def copy(self) -> bytes:
        """The bytes."""
        return string_at(self.data, self.size) if self.size else b""


class Calls:
    """The operations of an interface, to be called with the object's pointer first. All objects of a
    class share them."""

    def __init__(self, interface: str, pointer: int) -> None:
        table = lib.vtable(pointer)
        self.query_interface = lib.slot(table, lib.QUERY_INTERFACE)
        self.release = lib.slot(table, lib.RELEASE)
        for index, (name, letters) in enumerate(
            OPERATIONS[interface].items(), INHERITED[interface]
        ):
            make: Any = ctypes.CFUNCTYPE if name in _LONG else ctypes.PYFUNCTYPE
            prototype = make(c_int32, c_void_p, *(_TYPES[letter] for letter in letters))
            setattr(self, name, lib.slot(table, (index, prototype)))

    def __getattr__(self, name: str) -> Callable[..., int]:
        raise AttributeError(name)


class Kind:
    """A class of the library with its automation interface and the one beside it."""

    main: Calls
    further: Calls

    def __init__(self, name: str, interface: str, further: str) -> None:
        self._class_id = lib.identifier("CLSID_" + name)
        self._names = interface, further
        self._ids = lib.identifier("IID_" + interface), lib.identifier("IID_" + further)
        self._is_bound = False

    def create(self) -> int:
        """A new object by its automation interface."""
        made = c_void_p()
        check(
            lib.co_create_instance(
                byref(self._class_id), None, 0, byref(self._ids[0]), byref(made)
            ),
            self._names[0],
        )
        return made.value or 0

    def other(self, pointer: int) -> int:
        """The other interface of an object."""
        if not self._is_bound:
            self.main = Calls(self._names[0], pointer)
        found = c_void_p()
        check(
            self.main.query_interface(pointer, byref(self._ids[1]), byref(found)), self._names[1]
        )
        if not self._is_bound:
            self.further = Calls(self._names[1], found.value or 0)
            self._is_bound = True
        return found.value or 0


class Guard:
    """Keeps two calls of an object apart: the second raises BusyError."""

    __slots__ = ("_object",)

    def __init__(self, target: Object) -> None:
        self._object = target

    def __enter__(self) -> None:
        if not self._object._enter(False):
            raise busy(self._object)

    def __exit__(self, *_: object) -> None:
        self._object._leave()


class Handle:
    """Holds an object of the library by its two interfaces, up to its own end."""

    __slots__ = ("_object", "_pointer", "_further", "_guard", "__weakref__")

    def _hold(self, kind: Kind, pointer: int) -> None:
        """Takes over a reference."""
        self._further = 0
        self._object = wrap(pointer)
        self._pointer = pointer
        self._further = kind.other(pointer)
        self._guard = Guard(self._object)

    @property
    def object(self) -> Object:
        """The late-bound object behind this one (see tessolt.Dispatch), for what isn't here."""
        return self._object

    def __reduce__(self) -> Any:
        raise TypeError("%s objects can't be copied or pickled" % type(self).__name__)

    def _release(self, kind: Kind, process: type[Process]) -> None:
        # The parent's objects are the parent's, connections included.
        further = getattr(self, "_further", 0)
        if further and self._object._generation == process.generation:
            kind.further.release(further)


def check(status: int, where: str) -> None:
    """Raises what a result stands for."""
    if status < 0:
        if status == E_OUTOFMEMORY:
            raise MemoryError
        if status == E_INVALIDARG:
            raise ValueError("%s: out of range" % where)
        raise make_error(status, where)


def call(function: Callable[..., int], pointer: int, *arguments: Any) -> None:
    """Calls an operation. Each str is passed as an automation string."""
    strings: list[int] = []
    try:
        values: list[Any] = []
        for value in arguments:
            if isinstance(value, str):
                value = lib.alloc(value)
                strings.append(value)
            values.append(value)
        status = function(pointer, *values)
    finally:
        for string in strings:
            lib.free_string(string)
    if status < 0:
        check(status, "call")


def call_long(function: Callable[..., int], pointer: int, *arguments: Any) -> None:
    """The same for one that may wait for a server: a signal may end it."""
    call(function, pointer, *arguments)
    if Waits.ended_call():
        Waits.raise_again()


def put_text(function: Callable[..., int], pointer: int, text: str) -> None:
    """Writes a text: the quick form of `call` for what changes most."""
    string = lib.alloc(text)
    status = function(pointer, string)
    lib.free_string(string)
    if status < 0:
        check(status, "call")


def read_text(function: Callable[..., int], pointer: int) -> str:
    """Reads a text."""
    place = c_void_p()
    status = function(pointer, byref(place))
    if status < 0:
        check(status, "call")
    return lib.take_string(place.value)


def read_texts(
    function: Callable[..., int], pointer: int, count: int, *arguments: Any
) -> list[str]:
    """Reads several texts that an operation gives behind its arguments."""
    places = [c_void_p() for _ in range(count)]
    call(function, pointer, *arguments, *map(byref, places))
    return [lib.take_string(place.value) for place in places]


def read_number(function: Callable[..., int], pointer: int) -> int:
    """Reads a number."""
    place = c_int32()
    status = function(pointer, byref(place))
    if status < 0:
        check(status, "call")
    return place.value


def read_truth(function: Callable[..., int], pointer: int) -> bool:
    """Reads a truth value."""
    place = c_int16()
    check(function(pointer, byref(place)), "call")
    return place.value != 0


MESSAGE = Kind("EMailMessage", "IEMailMessage", "IMessageData")
SMTP = Kind("Smtp", "ISmtp", "ITransfer")
POP3 = Kind("Pop3", "IPop3", "ITransfer")
