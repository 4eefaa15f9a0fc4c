"""The shared library, and the types of its C interface."""

import ctypes
import os
from codecs import utf_16_le_decode, utf_16_le_encode
from ctypes import POINTER, Structure, Union, c_double, c_int16, c_int32, c_uint16, c_uint32, c_void_p

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


def _path():
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


def _function(library, name, result, *arguments):
    function = getattr(library, name)
    function.restype = result
    function.argtypes = arguments
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


def vtable(pointer):
    """The address of an object's virtual table."""
    return c_void_p.from_address(pointer).value


def slot(table, operation):
    """One operation of a virtual table, to be called with the object first."""
    index, prototype = operation
    address = c_void_p.from_address(table + index * ctypes.sizeof(c_void_p)).value
    return prototype(address)


def encode(text):
    """The UTF-16 bytes of a text, lone surrogates included. The codec itself is called, since the
    look-up of codecs by name costs more than the work."""
    return utf_16_le_encode(text, "surrogatepass")[0]


def decode(units):
    """The text of UTF-16 bytes."""
    return utf_16_le_decode(units, "surrogatepass", True)[0]


def wide(text):
    """UTF-16 bytes with a closing zero unit, None for a text that holds one."""
    return None if "\0" in text else encode(text) + b"\0\0"


def read_wide(address):
    """The text at the address of its first unit, up to a zero unit."""
    units = ctypes.cast(address, POINTER(c_uint16))
    length = 0
    while units[length]:
        length += 1
    return decode(ctypes.string_at(address, 2 * length))


#: As Invoke and GetIDsOfNames want it.
IID_NULL = GUID()
IID_IDispatch = GUID(0x00020400, 0, 0, (0xC0, 0, 0, 0, 0, 0, 0, 0x46))
