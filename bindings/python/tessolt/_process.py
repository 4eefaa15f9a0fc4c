"""What the process does to calls: forks, and signals that end a wait."""

from __future__ import annotations

import os
import threading
from typing import Any, Generator, NoReturn

from . import _library as lib


class Process:
    """Counts forks, so that a child leaves alone what its parent made."""

    generation: int = 0

    @classmethod
    def forked(cls) -> None:
        """Is called in each child."""
        cls.generation += 1


os.register_at_fork(after_in_child=Process.forked)


class Waits:
    """How signal handlers that raise end a call of the main thread which waits: the library asks a
    hook, where the interpreter runs the handlers."""

    raised: BaseException | None = None
    _hook: Any = None

    @classmethod
    def _asked(cls) -> Generator[bool, Any, None]:
        # A generator, since a handler may run before the first statement of a function, outside of
        # what it tries.
        while True:
            try:
                while True:
                    yield cls.raised is not None
            except GeneratorExit:
                return
            except BaseException as error:  # whatever the handler raises
                cls.raised = error

    @classmethod
    def watch(cls) -> None:
        """Makes the calls of this thread ask, when it is the main one."""
        if threading.current_thread() is threading.main_thread():
            asked = cls._asked()
            next(asked)
            cls._hook = lib.WAIT_HOOK(asked.send)
            lib.set_wait_hook(cls._hook, None)

    @classmethod
    def ended_call(cls) -> bool:
        """Whether a handler of this thread has ended the call that it waited in."""
        return cls.raised is not None and (
            threading.current_thread() is threading.main_thread()
        )

    @classmethod
    def raise_again(cls) -> NoReturn:
        """Raises what ended the call."""
        error, cls.raised = cls.raised, None
        cls.watch()
        assert error is not None
        raise error


Waits.watch()
