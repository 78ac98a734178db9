"""Reading a JSON document of the library where no export tells what the package needs
(the key of a configuration document, the parameter names of a snapshot cache), with the
library's own guards: a regular file only (a FIFO or a device is refused at once, never
waited on or read), at most MAX_DOCUMENT_BYTES, nested no deeper than the parser allows.
"""
from __future__ import annotations

import json
import os
import stat
from typing import Any, Optional

from ._errors import FileError, FormatError, KIND_OF_KEY, not_openable

# No document of the library comes near this: a set-up of 100,000 supports takes 20 MB.
MAX_DOCUMENT_BYTES = 1 << 30


def check_size(path: str) -> None:
    """Refuses a regular file larger than MAX_DOCUMENT_BYTES before anything reads it."""
    try:
        status = os.stat(path)
    except OSError:
        return  # the reader reports it
    if stat.S_ISREG(status.st_mode) and status.st_size > MAX_DOCUMENT_BYTES:
        raise FormatError("%s: %d bytes, more than the %d a document of the library may hold"
                          % (path, status.st_size, MAX_DOCUMENT_BYTES), filename=path)


def _unreadable(path: str, cause: str) -> FileError:
    failure = not_openable(path) or FileError("", filename=path, cause=cause)
    failure.args = ("%s: %s" % (path, failure.strerror),)
    return failure


def read_document(path: str) -> Any:
    """The JSON document in `path`, parsed. Raises FileError when it is not a readable
    regular file, FormatError when it is too large, not JSON or nested too deeply."""
    try:
        descriptor = os.open(path, os.O_RDONLY | os.O_NONBLOCK | os.O_NOCTTY | os.O_CLOEXEC)
    except OSError as failure:
        raise _unreadable(path, failure.strerror) from None
    with os.fdopen(descriptor, "rb", buffering=0) as stream:
        status = os.fstat(descriptor)
        if not stat.S_ISREG(status.st_mode):
            raise _unreadable(path, "not a regular file")
        check_size(path)
        content = stream.read(status.st_size)
    try:
        return json.loads(content.decode("utf-8", "surrogateescape"))
    except RecursionError:
        raise FormatError("%s: the JSON document is nested too deeply" % path, filename=path) from None
    except ValueError as failure:
        raise FormatError("%s: not a JSON document (%s)" % (path, failure), filename=path) from None


def document_kind(path: str) -> Optional[str]:
    """The kind of object the JSON document in `path` holds ("setup configuration", ...),
    or None when it is no readable document of the library."""
    try:
        document = read_document(path)
    except FileError:
        return None
    if isinstance(document, dict):
        return next((kind for key, kind in KIND_OF_KEY.items() if key in document), None)
    return None
