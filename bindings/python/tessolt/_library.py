"""The shared library, and the types of its C interface."""

from __future__ import annotations

import ctypes
import os
from codecs import utf_16_le_decode, utf_16_le_encode
from ctypes import POINTER, Structure, Union, c_double, c_int16, c_int32, c_uint16, c_uint32, c_void_p
from typing import Any, Callable

from ._tables import IDENTIFIERS

FILE_NAME = "libqueltx64.so"
#: The name under which the system's loader knows it.
LOADER_NAME = "libqueltx64.so.4"

VT_EMPTY, VT_NULL, VT_I2, VT_I4, VT_R8 = 0, 1, 2, 3, 5
VT_BSTR, VT_DISPATCH, VT_ERROR, VT_BOOL, VT_UNKNOWN = 8, 9, 10, 11, 13

MAX_PARAMETERS = 6


class GUID(Structure):
    _fields_ = [
        ("Data1", c_uint32),
        ("Data2", c_uint16),
        ("Data3", c_uint16),
        ("Data4", ctypes.c_uint8 * 8),
    ]


class _Value(Union):
    _fields_ = [
        ("iVal", c_int16),
        ("lVal", c_int32),
        ("dblVal", c_double),
        ("pointer", c_void_p),
        ("pair", c_void_p * 2),
    ]


class VARIANT(Structure):
    _anonymous_ = ("value",)
    _fields_ = [("vt", c_uint16), ("reserved", c_uint16 * 3), ("value", _Value)]


class DISPPARAMS(Structure):
    _fields_ = [
        ("rgvarg", c_void_p),
        ("rgdispidNamedArgs", c_void_p),
        ("cArgs", c_uint32),
        ("cNamedArgs", c_uint32),
    ]


class TypeParameter(Structure):
    _fields_ = [
        ("name", c_void_p),
        ("type", c_uint16),
        ("optional", c_uint16),
        ("defaultValue", VARIANT),
    ]


class TypeMember(Structure):
    _fields_ = [
        ("name", c_void_p),
        ("id", c_int32),
        ("kind", c_uint16),
        ("type", c_uint16),
        ("parameterCount", c_uint16),
        ("parameters", TypeParameter * MAX_PARAMETERS),
    ]


class TypeDescription(Structure):
    _fields_ = [
        ("libraryName", c_void_p),
        ("libraryHelp", c_void_p),
        ("libraryMajor", c_uint16),
        ("libraryMinor", c_uint16),
        ("libraryId", GUID),
        ("interfaceName", c_void_p),
        ("interfaceId", GUID),
        ("className", c_void_p),
        ("classId", GUID),
        ("memberCount", c_uint32),
    ]


def _path() -> str:
    named = os.environ.get("TESSOLT_LIBRARY")
    if named:
        return named
    package = os.path.dirname(os.path.abspath(__file__))
    for folder in (package, os.path.dirname(package)):
        path = os.path.join(folder, FILE_NAME)
        if os.path.exists(path):
            return path
    return LOADER_NAME


PATH = _path()
#: Calls through this let go of the interpreter.
_long = ctypes.CDLL(PATH)
#: Calls through this keep it, which is quicker and right for what returns at once.
_short = ctypes.PyDLL(PATH)


def _function(library: ctypes.CDLL, name: str, result: Any, *arguments: Any) -> Callable[..., Any]:
    function: Callable[..., Any] = getattr(library, name)
    setattr(function, "restype", result)
    setattr(function, "argtypes", arguments)
    return function


clsid_from_prog_id = _function(_long, "CLSIDFromProgID", c_int32, c_void_p, c_void_p)
co_create_instance = _function(
    _long, "CoCreateInstance", c_int32, c_void_p, c_void_p, c_uint32, c_void_p, c_void_p
)
disp_get_property = _function(_long, "DispGetProperty", c_int32, c_void_p, c_int32, c_void_p)
alloc_string = _function(_short, "SysAllocStringByteLen", c_void_p, ctypes.c_char_p, c_uint32)
free_string = _function(_short, "SysFreeString", None, c_void_p)
WAIT_HOOK = ctypes.CFUNCTYPE(ctypes.c_int, c_void_p)
set_wait_hook = _function(_short, "TessoltSetWaitHook", None, WAIT_HOOK, c_void_p)
alloc_advice = _function(_short, "TessoltAllocAdvice", c_void_p, c_int32)
safe_name = _function(_short, "TessoltSafeName", c_void_p, c_void_p)
variant_clear = _function(_short, "VariantClear", c_int32, c_void_p)

#: The slots of IUnknown, IDispatch and ITypeInfo.
QUERY_INTERFACE = (0, ctypes.PYFUNCTYPE(c_int32, c_void_p, c_void_p, c_void_p))
ADD_REF = (1, ctypes.PYFUNCTYPE(c_uint32, c_void_p))
RELEASE = (2, ctypes.PYFUNCTYPE(c_uint32, c_void_p))
GET_TYPE_INFO = (4, ctypes.PYFUNCTYPE(c_int32, c_void_p, c_uint32, c_uint32, c_void_p))
GET_IDS_OF_NAMES = (
    5,
    ctypes.PYFUNCTYPE(c_int32, c_void_p, c_void_p, c_void_p, c_uint32, c_uint32, c_void_p),
)
INVOKE = (
    6,
    ctypes.CFUNCTYPE(
        c_int32, c_void_p, c_int32, c_void_p, c_uint32, c_uint16, c_void_p, c_void_p, c_void_p,
        c_void_p,
    ),
)
GET_DESCRIPTION = (3, ctypes.PYFUNCTYPE(c_int32, c_void_p, c_void_p))
GET_MEMBER = (4, ctypes.PYFUNCTYPE(c_int32, c_void_p, c_uint32, c_void_p))


def vtable(pointer: int) -> int:
    """The address of an object's virtual table."""
    return c_void_p.from_address(pointer).value or 0


def slot(table: int, operation: tuple[int, Any]) -> Callable[..., Any]:
    """One operation of a virtual table, to be called with the object first."""
    index, prototype = operation
    address = c_void_p.from_address(table + index * ctypes.sizeof(c_void_p)).value
    function: Callable[..., Any] = prototype(address)
    return function


def alloc(text: str) -> int:
    """A new automation string with a text, to be freed."""
    units = encode(text)
    string: int | None = alloc_string(units, len(units))
    if not string:
        raise MemoryError
    return string


#: Where an automation string keeps its length in bytes, seen from its first unit.
_LENGTH_OFFSET = -4


def take_string(pointer: int | None) -> str:
    """The text of an automation string, which is freed."""
    if not pointer:
        return ""
    length = c_uint32.from_address(pointer + _LENGTH_OFFSET).value
    text = ctypes.string_at(pointer, length)
    free_string(pointer)
    return decode(text)


def encode(text: str) -> bytes:
    """The UTF-16 bytes of a text, lone surrogates included. The codec itself is called, since the
    look-up of codecs by name costs more than the work."""
    return utf_16_le_encode(text, "surrogatepass")[0]


def decode(units: bytes) -> str:
    """The text of UTF-16 bytes."""
    return utf_16_le_decode(units, "surrogatepass", True)[0]


def wide(text: str) -> bytes | None:
    """UTF-16 bytes with a closing zero unit, None for a text that holds one."""
    return None if "\0" in text else encode(text) + b"\0\0"


def read_wide(address: int) -> str:
    """The text at the address of its first unit, up to a zero unit."""
    units = ctypes.cast(address, POINTER(c_uint16))
    length = 0
    while units[length]:
        length += 1
    return decode(ctypes.string_at(address, 2 * length))


def identifier(name: str) -> GUID:
    """One of the identifiers of the headers."""
    numbers = IDENTIFIERS[name]
    return GUID(*numbers[:3], numbers[3:])


#: As Invoke and GetIDsOfNames want it.
IID_NULL = GUID()
IID_IDispatch = GUID(0x00020400, 0, 0, (0xC0, 0, 0, 0, 0, 0, 0, 0x46))
