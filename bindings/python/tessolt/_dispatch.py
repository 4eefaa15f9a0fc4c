"""Objects whose attributes are the members that their type information tells of."""

from __future__ import annotations

import ctypes
import inspect
import operator
import os
import threading
from ctypes import addressof, byref, c_int32, c_uint32, c_void_p
from typing import Any, Callable, Iterable, Sequence

from . import _library as lib
from ._errors import (
    CO_E_CLASSSTRING,
    DISP_E_BADPARAMCOUNT,
    DISP_E_OVERFLOW,
    DISP_E_PARAMNOTFOUND,
    DISP_E_UNKNOWNNAME,
    ArgumentError,
    BusyError,
    RangeError,
    make_error,
)
from ._process import Process, Waits
from ._tables import TEXTS

_METHOD, _GET, _PUT = 1, 2, 4
_DISPID_PROPERTYPUT = -3
_INT32 = range(-(2**31), 2**31)
_UINT16 = range(2**16)
#: The bytes of UTF-16 that a text may have.
_MOST_BYTES = 2**32 - 2

_TYPES = {lib.VT_I4: int, lib.VT_BSTR: str, lib.VT_BOOL: bool}

# What every call passes, as addresses: they cost less than references made anew.
_IID_NULL = addressof(lib.IID_NULL)
_PUT_NUMBER_HOLDER = c_int32(_DISPID_PROPERTYPUT)
_PUT_NUMBER = addressof(_PUT_NUMBER_HOLDER)


class _MissingType:
    """The type of `Missing`."""

    def __repr__(self) -> str:
        return "tessolt.Missing"


#: Stands for an argument that is left out, where others follow it.
Missing: _MissingType = _MissingType()


class Object:
    """An object of the library. Its class has a property or method for each of its members."""

    __slots__ = ("_pointer", "_generation", "_enter", "_leave", "__weakref__")

    _names: dict[str, str]
    _by_id: dict[int, _Member]
    _invoke: Callable[..., int]
    _release: Callable[[int], int]
    _pointer: int
    _generation: int
    _enter: Callable[[bool], bool]
    _leave: Callable[[], None]

    def __new__(cls, *_: Any) -> Object:
        raise TypeError("objects are made by tessolt.Dispatch")

    def __getattr__(self, name: str) -> Any:
        member = type(self)._names.get(name.lower()) if name.isascii() else None
        if member is None or member == name:
            raise AttributeError("%s has no member %r" % (type(self).__name__, name))
        return getattr(self, member)

    def __setattr__(self, name: str, value: Any) -> None:
        member = type(self)._names.get(name.lower()) if name.isascii() else None
        if member is None:
            raise AttributeError("%s has no member %r" % (type(self).__name__, name))
        object.__setattr__(self, member, value)

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Object) and other._pointer == self._pointer

    def __hash__(self) -> int:
        return hash(self._pointer)

    def __repr__(self) -> str:
        return "<tessolt %s object at 0x%x>" % (type(self).__name__, self._pointer)

    def __reduce__(self) -> Any:
        raise TypeError("%s objects can't be copied or pickled" % type(self).__name__)

    def __del__(self, _process: type[Process] = Process) -> None:
        # The parent's objects are the parent's, connections included.
        if self._generation == _process.generation:
            self._release(self._pointer)


_set_pointer: Callable[[Object, Any], None] = vars(Object)["_pointer"].__set__
_set_generation: Callable[[Object, Any], None] = vars(Object)["_generation"].__set__
_set_enter: Callable[[Object, Any], None] = vars(Object)["_enter"].__set__
_set_leave: Callable[[Object, Any], None] = vars(Object)["_leave"].__set__


def busy(target: Object) -> BusyError:
    """What is raised when an object is inside another call."""
    return BusyError("%r is inside another call" % target)


class _Parameter:
    def __init__(self, entry: Any) -> None:
        self.name = lib.read_wide(entry.name)
        self.type = _TYPES.get(entry.type, object)
        default: Any = inspect.Parameter.empty
        if entry.optional:
            value = entry.defaultValue
            default = value.lVal if value.vt == lib.VT_I4 else ""
        self.default = default
        self.is_optional = bool(entry.optional)

    def as_inspected(self) -> inspect.Parameter:
        return inspect.Parameter(
            self.name,
            inspect.Parameter.POSITIONAL_OR_KEYWORD,
            default=self.default,
            annotation=self.type,
        )


class _Surplus:
    """What stands for the parameter of an argument too many."""

    type: Any = object
    is_optional = False


class _Member:
    """One row of the type information, with what the headers say of it."""

    def __init__(self, entry: Any, texts: dict[str, str]) -> None:
        self.name = lib.read_wide(entry.name)
        self.id = entry.id
        self.kind = entry.kind
        self.text = texts.get(self.name) or texts.get("get_" + self.name, "")
        self.type: Any = _TYPES.get(entry.type, object) if entry.type else None
        self.parameters = [_Parameter(entry.parameters[i]) for i in range(entry.parameterCount)]
        self.numbers = {p.name.lower(): i for i, p in enumerate(self.parameters)}

    def attribute(self) -> Any:
        """What stands for it in the class of the object."""
        if self.kind & _METHOD:
            return self._method()
        return property(
            self._reader(), self._writer() if self.kind & _PUT else None, None, self._property_doc()
        )

    def _property_doc(self) -> str:
        access = "read and write" if self.kind & _PUT else "read only"
        facts = "%s: %s, %s. Dispid %d." % (self.name, self.type.__name__, access, self.id)
        return self._doc(facts)

    def _doc(self, facts: str) -> str:
        return "%s\n\n%s" % (self.text, facts) if self.text else facts

    def _reader(self) -> Callable[[Object], Any]:
        name, dispid = self.name, self.id
        get, variant, take = lib.disp_get_property, lib.VARIANT, _take

        def read(self: Object) -> Any:
            result = variant()
            if not self._enter(False):
                raise busy(self)
            try:
                status = get(self._pointer, dispid, addressof(result))
            finally:
                self._leave()
            if status < 0:
                raise make_error(status, name)
            return take(result)

        return read

    def _writer(self) -> Callable[[Object, Any], None]:
        name, dispid, wanted = self.name, self.id, self.type

        def write(self: Object, value: Any) -> None:
            argument = lib.VARIANT()
            parameters = lib.DISPPARAMS(addressof(argument), _PUT_NUMBER, 1, 1)
            if not self._enter(False):
                raise busy(self)
            string = None
            try:
                string = _fill(argument, value, wanted)
                status = self._invoke(
                    self._pointer, dispid, _IID_NULL, 0, _PUT, addressof(parameters), None, None,
                    None,
                )
            finally:
                lib.free_string(string)
                self._leave()
            if status < 0:
                raise make_error(status, name)

        return write

    def _method(self) -> Any:
        def method(target: Object, *arguments: Any, **named: Any) -> Any:
            return _call(target, self, self.id, _METHOD, arguments, named)

        first = inspect.Parameter("self", inspect.Parameter.POSITIONAL_ONLY)
        signature = inspect.Signature(
            [first] + [p.as_inspected() for p in self.parameters], return_annotation=self.type
        )
        method.__name__ = method.__qualname__ = self.name
        setattr(method, "__signature__", signature)
        method.__doc__ = self._doc("Dispid %d." % self.id)
        return method


#: The class for each virtual table that was met.
_classes: dict[int, type[Object]] = {}


def _make_class(pointer: int, table: int) -> type[Object]:
    """A class after the type information of an object."""
    info = c_void_p()
    status = lib.slot(table, lib.GET_TYPE_INFO)(pointer, 0, 0, byref(info))
    if status < 0:
        raise make_error(status, "GetTypeInfo")
    info_table = lib.vtable(info.value or 0)
    description = ctypes.POINTER(lib.TypeDescription)()
    lib.slot(info_table, lib.GET_DESCRIPTION)(info.value, byref(description))
    get_member = lib.slot(info_table, lib.GET_MEMBER)
    interface = lib.read_wide(description.contents.interfaceName)
    texts = TEXTS.get(interface, {})
    members: list[_Member] = []
    for index in range(description.contents.memberCount):
        entry = ctypes.POINTER(lib.TypeMember)()
        get_member(info.value, index, byref(entry))
        members.append(_Member(entry.contents, texts))
    name = lib.read_wide(description.contents.className)
    body: dict[str, Any] = {member.name: member.attribute() for member in members}
    body.update(
        __slots__=(),
        __doc__="%s%s, interface %s of %s."
        % (
            texts[""] + "\n\n" if texts.get("") else "",
            name,
            interface,
            lib.read_wide(description.contents.libraryName),
        ),
        __module__="tessolt",
        _names={member.name.lower(): member.name for member in members},
        _by_id={member.id: member for member in members},
        _invoke=lib.slot(table, lib.INVOKE),
        _release=lib.slot(table, lib.RELEASE),
    )
    lib.slot(info_table, lib.RELEASE)(info.value)
    return type(name, (Object,), body)


def wrap(pointer: int) -> Object:
    """The object at a pointer, whose reference it takes over."""
    table = lib.vtable(pointer)
    cls = _classes.get(table)
    if cls is None:
        try:
            cls = _make_class(pointer, table)
        except BaseException:
            lib.slot(table, lib.RELEASE)(pointer)
            raise
        cls = _classes.setdefault(table, cls)
    made = object.__new__(cls)
    _set_pointer(made, pointer)
    _set_generation(made, Process.generation)
    lock = threading.Lock()
    _set_enter(made, lock.acquire)
    _set_leave(made, lock.release)
    return made


def _take(variant: Any) -> Any:
    """The value of a result, which is cleared."""
    vt = variant.vt
    if vt == lib.VT_I4:
        return variant.lVal
    if vt == lib.VT_BSTR:
        return lib.take_string(variant.pointer)
    if vt == lib.VT_BOOL:
        return variant.iVal != 0
    if vt == lib.VT_DISPATCH and variant.pointer:
        return wrap(variant.pointer)
    lib.variant_clear(addressof(variant))
    return None


def _plain(value: Any) -> str | int:
    """A path as str, what has __index__ as int, and TypeError for what no object takes."""
    if isinstance(value, os.PathLike):
        return os.fsdecode(value)
    if hasattr(type(value), "__index__"):
        return operator.index(value)
    raise TypeError("objects take no %s" % type(value).__name__)


def _fill(variant: Any, value: Any, wanted: Any = object) -> int | None:
    """Makes an empty variant of a value for a parameter of the type `wanted`. Returns the string that
    was made for it, to be freed after the call; objects stay with the caller. TypeError for what no
    object takes."""
    if isinstance(value, str):
        units = lib.encode(value)
        if len(units) > _MOST_BYTES:
            raise RangeError(DISP_E_OVERFLOW, "text of %d characters" % len(value))
        variant.vt = lib.VT_BSTR
        string: int = lib.alloc_string(units, len(units))
        variant.pointer = string
        if not string:
            raise MemoryError
        return string
    if isinstance(value, bool) and wanted is not int:
        variant.vt = lib.VT_BOOL
        variant.iVal = -1 if value else 0
    elif isinstance(value, int):
        if value not in _INT32:
            raise RangeError(DISP_E_OVERFLOW, "number %d" % value)
        variant.vt = lib.VT_I4
        variant.lVal = value
    elif isinstance(value, Object):
        variant.vt = lib.VT_DISPATCH
        variant.pointer = value._pointer
    elif value is None:
        variant.vt = lib.VT_DISPATCH
    elif isinstance(value, float):
        variant.vt = lib.VT_R8
        variant.dblVal = value
    elif value is Missing:
        variant.vt = lib.VT_ERROR
        variant.lVal = DISP_E_PARAMNOTFOUND
    else:
        return _fill(variant, _plain(value), wanted)
    return None


def _number_of(member: _Member | None, name: str) -> int:
    number = member.numbers.get(name.lower()) if member else None
    if number is None:
        where = "%s(%s=...)" % (member.name if member else "call", name)
        raise ArgumentError(DISP_E_PARAMNOTFOUND, where)
    return number


def _offender(member: _Member | None, index: int, count: int, names: Sequence[str]) -> str:
    """The name of the argument at `index` of the library's list."""
    if index < len(names):
        return names[index]
    position = count - 1 - index
    parameters = member.parameters if member else ()
    return parameters[position].name if position < len(parameters) else str(position + 1)


def _enter_all(objects: Iterable[Object]) -> list[Object]:
    """Marks objects as inside a call. Returns them, each once."""
    entered: list[Object] = []
    try:
        for one in objects:
            if all(one is not other for other in entered):
                if not one._enter(False):
                    raise busy(one)
                entered.append(one)
    except BaseException:
        _leave_all(entered)
        raise
    return entered


def _leave_all(entered: Iterable[Object]) -> None:
    for one in entered:
        one._leave()


def _call(
    target: Object, member: _Member | None, dispid: int, kind: int, arguments: tuple[Any, ...],
    named: dict[str, Any],
) -> Any:
    """Calls a member; `member` is None for a dispid that the type information doesn't have."""
    # The library wants the last argument first, and the named ones ahead of the others.
    names = list(named)
    values = list(named.values()) + list(arguments[::-1])
    numbers = [_number_of(member, name) for name in names]
    count = len(values)
    if kind == _METHOD and member:
        known: list[Any] = [*member.parameters, *[_Surplus] * count]
        positions = numbers + list(range(len(arguments)))[::-1]
        wanted = [known[position].type for position in positions]
        for i, position in enumerate(positions):
            if values[i] is None and known[position].is_optional:
                values[i] = Missing
    else:
        wanted = [member.type if member and kind == _PUT else object] * count
    if kind == _PUT and values:
        numbers = [_DISPID_PROPERTYPUT]
    variants = (lib.VARIANT * count)()
    ids = (c_int32 * len(numbers))(*numbers)
    parameters = lib.DISPPARAMS(addressof(variants), addressof(ids), count, len(numbers))
    result, offender = lib.VARIANT(), c_uint32()
    strings: list[int] = []
    entered = _enter_all([target] + [value for value in values if isinstance(value, Object)])
    try:
        for variant, value, kind_wanted in zip(variants, values, wanted):
            string = _fill(variant, value, kind_wanted)
            if string:
                strings.append(string)
        status = target._invoke(
            target._pointer, dispid, _IID_NULL, 0, kind, addressof(parameters), addressof(result),
            None, addressof(offender),
        )
    finally:
        for string in strings:
            lib.free_string(string)
        _leave_all(entered)
    if Waits.ended_call():
        lib.variant_clear(addressof(result))
        Waits.raise_again()
    if status < 0:
        where = member.name if member else "dispid %d" % dispid
        if kind != _PUT and status != DISP_E_BADPARAMCOUNT and count > offender.value:
            where += "(%s)" % _offender(member, offender.value, count, names)
        raise make_error(status, where)
    return _take(result)


def Dispatch(name: str) -> Object:
    """A new object of the class with this ProgID, such as "Tessolt.Smtp" or "Tessolt.Smtp.1", in
    any case."""
    if not isinstance(name, str):
        raise TypeError("a ProgID is a str, not %s" % type(name).__name__)
    class_id, pointer = lib.GUID(), c_void_p()
    text = lib.wide(name)
    status = lib.clsid_from_prog_id(text, byref(class_id)) if text else CO_E_CLASSSTRING
    if status >= 0:
        status = lib.co_create_instance(
            byref(class_id), None, 0, byref(lib.IID_IDispatch), byref(pointer)
        )
    if status < 0:
        raise make_error(status, name)
    return wrap(pointer.value or 0)


def GetIDsOfNames(target: Object, name: str, *parameters: str) -> int | tuple[int, ...]:
    """The dispid of a member, and a tuple with it and the numbers of its parameters where some are
    named."""
    texts = [lib.wide(text) for text in (name,) + parameters]
    if None in texts:
        raise make_error(DISP_E_UNKNOWNNAME, name)
    pointers = (ctypes.c_char_p * len(texts))(*texts)
    ids = (c_int32 * len(texts))()
    get_ids = lib.slot(lib.vtable(target._pointer), lib.GET_IDS_OF_NAMES)
    status = get_ids(target._pointer, _IID_NULL, pointers, len(texts), 0, ids)
    if status < 0:
        raise make_error(status, name)
    return tuple(ids) if parameters else ids[0]


def Invoke(target: Object, dispid: int, kind: int, *arguments: Any, **named: Any) -> Any:
    """Calls a member by its number: `kind` is DISPATCH_METHOD, DISPATCH_PROPERTYGET or
    DISPATCH_PROPERTYPUT."""
    dispid, kind = operator.index(dispid), operator.index(kind)
    if dispid not in _INT32 or kind not in _UINT16:
        raise RangeError(DISP_E_OVERFLOW, "dispid %d, kind %d" % (dispid, kind))
    return _call(target, type(target)._by_id.get(dispid), dispid, kind, arguments, named)
