"""The exceptions of the package, and how a failure of the library on a file becomes one.

`Error` is the base of them all and carries the library's text unchanged. The others also
derive from the standard exception that a Python user catches for the same trouble, so
`except FileNotFoundError` or `except KeyError` works as with any other package.
"""
from __future__ import annotations

import os
import stat
from typing import Callable, Optional, Sequence


class Error(Exception):
    """A failure reported by libtervikrom, or an argument the package refused before calling it.

    `text` is the library's own text, unchanged (the message itself for a refusal of the
    package); the message may add the file and the cause around it.
    """

    def __init__(self, message: str, *, text: Optional[str] = None) -> None:
        super().__init__(message)
        self.text = message if text is None else text

    def __str__(self) -> str:
        return str(self.args[0]) if self.args else ""


class ArgumentError(Error, ValueError):
    """An argument refused before the library sees it: an array of the wrong dtype, length
    or layout, ids that are not integral or out of range, a name holding a NUL."""


class FileError(Error, OSError):
    """A file that cannot be opened, read or written: not there, not a regular file, not
    readable, or a folder that cannot take it. `filename` is the file, `strerror` the cause."""

    def __init__(self, message: str, *, filename: Optional[str] = None, cause: Optional[str] = None,
                 text: Optional[str] = None, errno: Optional[int] = None) -> None:
        super().__init__(message, text=text)
        self.filename = filename
        self.strerror = cause
        self.errno = errno


class MissingFileError(FileError, FileNotFoundError):
    """A file (or the folder to save it in) that does not exist."""


class FormatError(FileError):
    """A file that is damaged or holds another kind of object than the one reading it.

    `expected` is the kind asked for ("mesh", "snapshot", ...), `found` the kind the file
    holds when that can be told (else None), `offset` the byte at which the file ends when
    it is cut short of what it announces (else None).
    """

    def __init__(self, message: str, *, filename: Optional[str] = None, expected: Optional[str] = None,
                 found: Optional[str] = None, offset: Optional[int] = None, text: Optional[str] = None) -> None:
        super().__init__(message, filename=filename, cause=text, text=text)
        self.expected, self.found, self.offset = expected, found, offset


class UnknownNameError(Error, KeyError):
    """A component, support, field or parameter name that is not there; `names` lists
    those there are."""

    def __init__(self, message: str, *, names: Sequence[str] = (), text: Optional[str] = None) -> None:
        super().__init__(message, text=text)
        self.names = list(names)


def name_list(names: Sequence[str]) -> str:
    """`names` for a message: quoted, separated by commas, or "none"."""
    return ", ".join('"%s"' % name for name in names) if names else "none"


def unknown_name(failure: Error, what: str, names: Sequence[str]) -> UnknownNameError:
    """The library's failure to find a name, with the names there are."""
    return UnknownNameError("%s The %s there are: %s." % (failure.text, what, name_list(names)),
                            names=names, text=failure.text)


# Kinds of files, by the library's extension and by the type a binary file's frame names.
KIND_OF_EXTENSION = {"rommsh": "mesh", "romsnp": "snapshot", "rompjt": "project", "romcch": "snapshot cache",
                     "romcfg": "configuration"}
KIND_OF_TYPE = {"D8068C8F-F166-44DE-A1F5-BCF1E20BA05D": "mesh", "5B37D1B0-D9FD-4CE1-AB14-3B41E04F4F23": "snapshot",
                "FB0C4231-34CF-4942-8D1A-1D93C99E02D7": "project"}
KIND_OF_KEY = {"setup": "setup configuration", "meshData": "mesh data configuration",
               "snapshot": "snapshot configuration", "snapshotCache": "snapshot cache"}

_NOT_REGULAR = ((stat.S_ISDIR, "a folder"), (stat.S_ISFIFO, "a FIFO"), (stat.S_ISCHR, "a character device"),
                (stat.S_ISBLK, "a block device"), (stat.S_ISSOCK, "a socket"))


def _named(text: str, path: str) -> str:
    """The library's text, after the file's name unless the text names it already."""
    return text if path in text else "%s: %s" % (path, text)


def not_openable(path: str) -> Optional[FileError]:
    """Why `path` cannot be read as a regular file, told from its status alone (nothing is
    read): an error whose `strerror` is the cause and whose text is still to be set; None
    when the file looks readable."""
    try:
        status = os.stat(path)
    except FileNotFoundError:
        return MissingFileError("", filename=path, cause="no such file", errno=2)
    except OSError as failure:
        return FileError("", filename=path, cause=failure.strerror, errno=failure.errno)
    for test, kind in _NOT_REGULAR:
        if test(status.st_mode):
            return FileError("", filename=path, cause="not a regular file but " + kind)
    if not os.access(path, os.R_OK):
        return FileError("", filename=path, cause="permission denied", errno=13)
    return None


def read_failure(failure: Error, path: str, expected: str,
                 found_kind: Optional[Callable[[str], Optional[str]]] = None) -> Error:
    """The error for the library's `failure` to read `path` as a file of the `expected`
    kind. `found_kind()` tells the kind of a JSON document from its keys when asked."""
    text = failure.text
    cause = not_openable(path)
    if cause is not None and ("Could not open the file" in text or "does not exist" in text):
        cause.args = ("%s (%s)" % (_named(text, path), cause.strerror),)
        cause.text = text
        return cause
    found = offset = None
    detail = ""
    if "do not have the expected extension" in text:
        found = KIND_OF_EXTENSION.get(os.path.splitext(path)[1][1:])
    elif "holds an object of type" in text:
        found = next((kind for uuid, kind in KIND_OF_TYPE.items() if "type " + uuid + " where" in text), None)
    elif "cannot find any key named" in text and found_kind is not None:
        found = found_kind(path)
    elif text == "System error while trying to read from a file.":
        try:
            offset = os.stat(path).st_size
        except OSError:
            offset = None
        if offset is not None:
            detail = " The file is cut short: it ends at byte %d, before the end of what it announces." % offset
    if found is not None and found != expected:
        detail = " Expected a %s file, found a %s file." % (expected, found)
    return FormatError(_named(text, path) + detail, filename=path, expected=expected, found=found, offset=offset,
                       text=text)


def write_failure(failure: Error, path: str) -> Error:
    """The error for the library's `failure` to save to `path`: a FileError when the file
    could not be made or written, the library's error unchanged otherwise."""
    text = failure.text
    if not ("Could not open the file" in text or "System error while trying to write" in text):
        return failure
    folder = os.path.dirname(os.path.abspath(path))
    if not os.path.isdir(folder):
        return MissingFileError("%s (the folder %s does not exist)" % (_named(text, path), folder), filename=path,
                                cause="no such folder", text=text, errno=2)
    if not os.access(folder, os.W_OK):
        return FileError("%s (the folder %s is not writable)" % (_named(text, path), folder), filename=path,
                         cause="permission denied", text=text, errno=13)
    return FileError(_named(text, path), filename=path, text=text)
