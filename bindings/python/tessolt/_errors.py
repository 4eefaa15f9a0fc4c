"""Results of calls as exceptions."""

from __future__ import annotations

from ctypes import c_int32


def _result(number: int) -> int:
    return c_int32(number).value


E_POINTER = _result(0x80004003)
E_OUTOFMEMORY = _result(0x8007000E)
E_INVALIDARG = _result(0x80070057)
DISP_E_MEMBERNOTFOUND = _result(0x80020003)
DISP_E_PARAMNOTFOUND = _result(0x80020004)
DISP_E_UNKNOWNNAME = _result(0x80020006)
DISP_E_TYPEMISMATCH = _result(0x80020005)
DISP_E_BADVARTYPE = _result(0x80020008)
DISP_E_OVERFLOW = _result(0x8002000A)
DISP_E_BADPARAMCOUNT = _result(0x8002000E)
DISP_E_PARAMNOTOPTIONAL = _result(0x8002000F)
CO_E_CLASSSTRING = _result(0x800401F3)

_TEXTS = {
    E_POINTER: "a result has no place to go",
    E_OUTOFMEMORY: "out of memory",
    DISP_E_MEMBERNOTFOUND: "no such member, or not of this kind",
    DISP_E_PARAMNOTFOUND: "no such parameter, or given twice",
    DISP_E_TYPEMISMATCH: "wrong type",
    DISP_E_UNKNOWNNAME: "no such name",
    DISP_E_BADVARTYPE: "wrong type",
    DISP_E_OVERFLOW: "number out of range",
    DISP_E_BADPARAMCOUNT: "wrong number of arguments",
    DISP_E_PARAMNOTOPTIONAL: "argument can't be left out",
    CO_E_CLASSSTRING: "no such class",
}

_ARGUMENT_RESULTS = (
    DISP_E_PARAMNOTFOUND,
    DISP_E_TYPEMISMATCH,
    DISP_E_BADVARTYPE,
    DISP_E_BADPARAMCOUNT,
    DISP_E_PARAMNOTOPTIONAL,
)


class ComError(Exception):
    """A call that was refused. `hresult` is the result, a negative number."""

    def __init__(self, hresult: int, where: str) -> None:
        text = _TEXTS.get(hresult, "failed")
        super().__init__("%s: %s (0x%08X)" % (where, text, hresult & 0xFFFFFFFF))
        self.hresult = hresult


class ArgumentError(ComError, TypeError):
    """Arguments of the wrong number or type."""


class RangeError(ComError, OverflowError):
    """A number that doesn't fit."""


class UnknownNameError(ComError, AttributeError):
    """A name that the object doesn't have."""


class BusyError(RuntimeError):
    """An object was called, or passed to a call, while it is inside another call."""


def make_error(hresult: int, where: str) -> ComError:
    """The exception for a failed call; `where` tells which."""
    if hresult in _ARGUMENT_RESULTS:
        return ArgumentError(hresult, where)
    if hresult == DISP_E_OVERFLOW:
        return RangeError(hresult, where)
    if hresult == DISP_E_UNKNOWNNAME:
        return UnknownNameError(hresult, where)
    return ComError(hresult, where)
