"""Attachments of messages."""

from __future__ import annotations

import contextlib
import os
import pathlib
from ctypes import byref
from typing import TYPE_CHECKING, Iterator

from . import _library as lib
from . import _objects as objects
from ._constants import ErrorNumber
from ._mail_errors import file_error
from ._objects import MESSAGE, ByteView

if TYPE_CHECKING:
    from ._message import Message

_MOST_NAMES = 100000


class Attachment:
    """One attachment of a message."""

    __slots__ = ("_message", "_number", "_name", "_facts")

    def __init__(self, message: Message, number: int) -> None:
        self._message = message
        self._number = number
        self._facts = objects.read_texts(
            MESSAGE.further.GetAttachmentType, message._further, 3, number
        )
        (self._name,) = objects.read_texts(
            MESSAGE.main.GetAttachmentName, message._pointer, 1, number
        )

    def __repr__(self) -> str:
        return "<tessolt.Attachment %r, %s>" % (self._name, self.content_type)

    @property
    def name(self) -> str:
        """As the sender wrote it: never a path to be trusted."""
        return self._name

    @property
    def safe_name(self) -> str:
        """A name that is safe in any folder, made from it: at most 200 bytes, never empty."""
        return safe_name(self._name)

    @property
    def content_type(self) -> str:
        """Such as "image/png"."""
        return self._facts[0]

    @property
    def content_id(self) -> str:
        """Without brackets; empty where it has none."""
        return self._facts[1]

    @property
    def is_inline(self) -> bool:
        """Whether it is to be shown within the text."""
        return self._facts[2] == "inline"

    @property
    def content(self) -> bytes:
        """Its decoded bytes."""
        view = ByteView()
        message = self._message
        with message._guard:
            objects.call(
                MESSAGE.further.GetAttachmentBytes, message._further, self._number, byref(view)
            )
            message._check("save", self._name)
            return view.copy()

    def __bytes__(self) -> bytes:
        return self.content

    def save_to(
        self, folder: str | os.PathLike[str], *, replace: bool = False
    ) -> pathlib.Path:
        """Writes it into a folder under a safe name, and tells the path. Nothing is followed out of
        the folder. A file that is there stays, and this one gets a number, "photo (2).jpg"; with
        `replace` this one takes its place in one step. What can't be written whole is removed."""
        content = self.content
        folder = pathlib.Path(folder)
        wanted = self.safe_name
        path = folder
        try:
            with _opened(folder) as place:
                name = _write(place, wanted + ".new" if replace else wanted, content)
                path = folder / name
                if replace:
                    os.replace(name, wanted, src_dir_fd=place, dst_dir_fd=place)
                    path = folder / wanted
        except OSError as error:
            raise file_error(ErrorNumber.SAVE_ATTACHMENT_FAILED, "save", path, error) from error
        return path


def safe_name(name: str) -> str:
    """The name of a file that is safe in any folder, made from what a sender wrote."""
    string = lib.alloc(name)
    try:
        safe: int | None = lib.safe_name(string)
    finally:
        lib.free_string(string)
    if not safe:
        raise MemoryError
    return lib.take_string(safe)


@contextlib.contextmanager
def _opened(folder: pathlib.Path) -> Iterator[int]:
    place = os.open(folder, os.O_RDONLY | os.O_DIRECTORY | os.O_CLOEXEC)
    try:
        yield place
    finally:
        os.close(place)


def _write(place: int, wanted: str, content: bytes) -> str:
    """Writes a new file into the open folder; the name that it got."""
    file, name = _create(place, wanted)
    try:
        with os.fdopen(file, "wb", buffering=0) as stream:
            rest = memoryview(content)
            while rest:
                rest = rest[stream.write(rest) :]
    except BaseException:
        os.unlink(name, dir_fd=place)
        raise
    return name


def _create(place: int, wanted: str) -> tuple[int, str]:
    """Makes a file of that name or, where there is one, with a number."""
    flags = os.O_WRONLY | os.O_CREAT | os.O_EXCL | os.O_NOFOLLOW | os.O_CLOEXEC
    stem, ending = os.path.splitext(wanted)
    name = wanted
    for number in range(2, _MOST_NAMES):
        try:
            return os.open(name, flags, 0o666, dir_fd=place), name
        except FileExistsError:
            name = "%s (%d)%s" % (stem, number, ending)
    return os.open(name, flags, 0o666, dir_fd=place), name
