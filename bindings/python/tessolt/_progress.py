"""How far a message has come on its way, told to callbacks and to progress bars."""

from __future__ import annotations

import ctypes
import itertools
from typing import Any, Callable, Protocol, Union


class ProgressBar(Protocol):
    """What progress bars have in common: a total, None while nobody knows it, and `update`, which
    is told of the bytes since the last time."""

    total: Any

    def update(self, n: int) -> object:
        """Moves the bar on."""


#: Is told of the bytes that went over and of those in all, 0 when the server didn't tell; at most
#: every 50 ms, and once more at the end. False cancels; what is raised cancels too, and comes out of
#: the operation. Or a progress bar.
ProgressCallback = Union[Callable[[int, int], object], ProgressBar]

_OBSERVER = ctypes.CFUNCTYPE(ctypes.c_int32, ctypes.c_void_p, ctypes.c_uint64, ctypes.c_uint64)
_GO_ON, _CANCEL = 0, 1


class Watch:
    """A callback for the length of one transfer."""

    def __init__(self, progress: ProgressCallback) -> None:
        update = getattr(progress, "update", None)
        self._callback: Any = progress if update is None else _BarSteps(progress)
        self.raised: BaseException | None = None
        self.number = next(_numbers)

    def __enter__(self) -> Watch:
        _watches[self.number] = self
        return self

    def __exit__(self, *_: object) -> None:
        del _watches[self.number]

    def tell(self, done: int, total: int) -> int:
        """Passes the state on; 0 to go on."""
        try:
            return _CANCEL if self._callback(done, total) is False else _GO_ON
        except BaseException as error:  # it can't pass through the library
            self.raised = error
            return _CANCEL


class _BarSteps:
    """Moves a bar by what came since it was last told. A bar that other messages have moved before
    grows by this one."""

    def __init__(self, bar: Any) -> None:
        self._bar = bar
        self._done = 0
        self._total: int | None = None

    def __call__(self, done: int, total: int) -> None:
        bar = self._bar
        if self._total is None and total:
            self._total = total
            needed = getattr(bar, "n", 0) + total
            if bar.total is None or bar.total < needed:
                bar.total = needed
        bar.update(done - self._done)
        self._done = done


_numbers = itertools.count(1)
_watches: dict[int, Watch] = {}


def _tell(context: int, done: int, total: int) -> int:
    return _watches[context].tell(done, total)


_tell_observer = _OBSERVER(_tell)
#: What the library calls, with the number of a watch.
OBSERVER = ctypes.cast(_tell_observer, ctypes.c_void_p)
