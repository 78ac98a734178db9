"""Object wrappers, table views and containers shared by every family."""
from __future__ import annotations

import ctypes
import operator
import os
import weakref
from ctypes import POINTER, byref, c_char_p, c_void_p
from typing import Any, Iterator, Optional, Type, TypeVar, Union

import numpy as np

from ._errors import ArgumentError, Error, read_failure, write_failure
from ._files import check_size, document_kind
from ._lib import lib

PathLike = Union[str, "os.PathLike[str]"]
T = TypeVar("T", bound="Object")
P = TypeVar("P", bound="Persistable")


class _Keeper:
    """Owns one object made by a RomFactoryCreate function and releases it once nothing
    refers to it any more: not its wrapper, not an object reached through it, not a view
    of its tables. It also holds the arrays its tables borrow, and what the package knows
    of its objects that no export gives (the file each was read from or saved to, ...)."""

    __slots__ = ("handle", "generation", "borrowed", "views", "state", "__weakref__")

    def __init__(self, handle):
        self.handle = handle
        self.generation = 0      # advanced whenever the object rebuilds its sub-objects
        self.borrowed = {}       # (table handle, table) -> numpy array handed to a Set
        self.views = weakref.WeakSet()
        self.state = {}          # (object handle, what) -> what the package knows of it

    def renew(self, what, table=None):
        """Before an operation that frees storage views may show: all of the object's, or
        one table's (a (table handle, name) pair)."""
        if any(table is None or view.table == table for view in self.views):
            raise Error("Cannot " + what + " while numpy views of " + ("its tables" if table is None else "it")
                        + " are in use: delete them (or copy what you need) first.")

    def renewed(self, released):
        """After such an operation; `released`: the tables no longer use borrowed arrays."""
        self.generation += 1
        if released:
            self.borrowed.clear()

    def __del__(self):
        if self.handle and lib is not None:  # the module may be gone at interpreter exit
            lib.RomFactoryRelease(self.handle)
            self.handle = None


class Object:
    """A library object. Those made by the factory own it (use `close()` or `with`);
    those reached through another keep that one alive and are valid until it rebuilds
    them (initialise or resume)."""

    __slots__ = ("_handle", "_keeper", "_generation", "_parent", "__weakref__")

    def __init__(self, handle: Optional[int] = None, parent: Optional[Object] = None) -> None:
        if handle is None:
            factory = getattr(type(self), "_factory", None)
            if factory is None:
                raise TypeError(type(self).__name__ + " objects are reached through another object")
            out = c_void_p()
            getattr(lib, factory)(byref(out))
            handle = out.value
        self._handle = handle
        self._parent = parent
        self._keeper = parent._keeper if parent is not None else _Keeper(handle)
        self._generation = self._keeper.generation

    @classmethod
    def _wrap(cls: Type[T], handle: int, parent: Optional[Object]) -> T:
        """The wrapper of an object reached through `parent`, whatever the class's own
        constructor takes."""
        obj = cls.__new__(cls)
        Object.__init__(obj, handle, parent)
        return obj

    @property
    def _h(self):
        keeper = self._keeper
        if keeper is None or not keeper.handle:
            raise Error(type(self).__name__ + " is closed.")
        if self._generation != keeper.generation and self._parent is not None:
            raise Error(type(self).__name__ + " belonged to an object that was initialised or "
                        "resumed since; fetch it again.")
        return self._handle

    @property
    def _state(self) -> dict:
        return self._keeper.state if self._keeper is not None else {}

    def close(self) -> None:
        """Lets go of the object; the library's copy is released once no view or object
        reached through it remains."""
        self._keeper = None

    def __enter__(self: T) -> T:
        return self

    def __exit__(self, *exception: Any) -> None:
        self.close()

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Object) and self._handle == other._handle and self._handle is not None

    def __hash__(self) -> int:
        return hash(self._handle)

    def _describe(self) -> str:
        """What the repr shows after the class name (with its leading blank)."""
        return ""

    def __repr__(self) -> str:
        name = "tervikrom." + type(self).__name__
        try:
            self._h
        except Error:
            return "<Closed %s>" % name
        try:
            return "<%s%s>" % (name, self._describe())
        except Error as failure:  # a repr never raises
            return "<%s (%s)>" % (name, failure)


def count(number: int, word: str) -> str:
    """"1 node", "2 nodes", "3 entities": a count for a repr."""
    if number == 1:
        return "1 " + word
    return "%d %s" % (number, word[:-1] + "ies" if word.endswith("y") else word + "s")


def text(value: Union[bytes, str, None]) -> Optional[str]:
    """A text of the library as a str; bytes that are not UTF-8 come back as the same bytes
    when the str is handed to the library again."""
    return value.decode("utf-8", "surrogateescape") if isinstance(value, bytes) else value


def name_arg(value: Union[str, bytes, "os.PathLike[str]"], what: str = "a name") -> bytes:
    """A name or path as the library takes it: refused when it holds a NUL, which would cut
    it short."""
    if isinstance(value, os.PathLike):
        value = os.fspath(value)
    if isinstance(value, str):
        value = value.encode("utf-8", "surrogateescape")
    elif not isinstance(value, bytes):
        raise ArgumentError("%s is a str, not %s" % (what, type(value).__name__))
    if b"\0" in value:
        raise ArgumentError("%s may not hold a NUL character: %r" % (what, value))
    return value


def arg(value: Any) -> Any:
    """A Python argument as the library takes it."""
    if isinstance(value, (str, bytes, os.PathLike)):
        return name_arg(value)
    if isinstance(value, Object):
        return value._h
    return value


def integer(value: Any, what: str, low: int = 0, high: int = 0xFFFFFFFF) -> int:
    """`value` as an int in [low, high]; a float only when it is integral."""
    if isinstance(value, (float, np.floating)):
        if not np.isfinite(value) or value != int(value):
            raise ArgumentError("%s must be an integer, not %r" % (what, value))
        value = int(value)
    try:
        value = operator.index(value)
    except TypeError:
        raise ArgumentError("%s must be an integer, not %s" % (what, type(value).__name__)) from None
    if not low <= value <= high:
        raise ArgumentError("%s must lie in [%d, %d], not %d" % (what, low, high, value))
    return value


def integers(values: Any, dtype: Any, what: str) -> np.ndarray:
    """`values` as an array of the integer `dtype`: refused when a value is not integral
    (a float that is not a whole number, NaN) or out of the dtype's range."""
    values = np.asarray(values)
    dtype = np.dtype(dtype)
    if values.dtype.kind == "f":
        whole = np.isfinite(values) & (values == np.trunc(values))
        if not whole.all():
            raise ArgumentError("%s must be integers, not %r" % (what, float(values[~whole][0])))
    elif values.dtype.kind not in "iu" and values.size:
        raise ArgumentError("%s must be integers, not %s values" % (what, values.dtype.name))
    if values.size and values.dtype != dtype:
        limits = np.iinfo(dtype)
        low, high = values.min(), values.max()
        if low < limits.min or high > limits.max:
            raise ArgumentError("%s must lie in [%d, %d], not %d" % (what, limits.min, limits.max,
                                                                     low if low < limits.min else high))
    return values.astype(dtype, copy=False)


def get(obj: Object, export: str, ctype: Any, *arguments: Any) -> Any:
    """The value that `export` writes to its last argument."""
    out = ctype()
    getattr(lib, export)(obj._h, *map(arg, arguments), byref(out))
    return text(out.value)


def child(obj: Object, export: str, cls: Type[T], *arguments: Any) -> Optional[T]:
    """The object that `export` writes to its last argument, owned by `obj`; None for null."""
    out = c_void_p()
    getattr(lib, export)(obj._h, *map(arg, arguments), byref(out))
    return cls._wrap(out.value, obj) if out.value else None


_RANGES = {ctypes.c_uint32: (0, 0xFFFFFFFF), ctypes.c_int32: (-0x80000000, 0x7FFFFFFF)}


class _Property(property):
    """A property that knows its name, for messages."""
    name = "value"

    def __set_name__(self, owner: type, name: str) -> None:
        self.name = name


def prop(getter: str, setter: Optional[str] = None, ctype: Any = ctypes.c_uint32, doc: str = "",
         kind: Any = int) -> property:
    """A property read by `getter` (value through an out-pointer) and written by `setter`."""
    def fget(self) -> Any:
        return get(self, getter, ctype)

    def fset(self, value: Any) -> None:
        if ctype in _RANGES:
            value = integer(value, "%s.%s" % (type(self).__name__, made.name), *_RANGES[ctype])
        getattr(lib, setter)(self._h, arg(value))

    fget.__annotations__ = {"return": kind}
    fset.__annotations__ = {"value": kind, "return": None}
    fget.__doc__ = doc
    made = _Property(fget, fset if setter else None, doc=doc)
    return made


def text_prop(getter: str, setter: Optional[str] = None, doc: str = "") -> property:
    """A text property read by `getter` and written by `setter`."""
    return prop(getter, setter, c_char_p, doc, str)


def child_prop(export: str, cls: type, doc: str) -> property:
    """A property giving the sub-object that `export` reaches (None for null)."""
    def fget(self) -> Any:
        return child(self, export, cls)
    fget.__annotations__ = {"return": Optional[cls]}
    return property(fget, doc=doc)


class SolverIdentified(Object):
    """An object named by the solver: its `solver_id`."""
    __slots__ = ()

    @property
    def solver_id(self) -> str:
        """The name the solver gives it (a support, field, component or region name)."""
        return text(lib.RomGetSolverId(self._h))

    @solver_id.setter
    def solver_id(self, value: str) -> None:
        lib.RomSetSolverId(self._h, name_arg(value, "a solver id"))

    def _describe(self) -> str:
        return ' "%s"' % self.solver_id


class Persistable(Object):
    """An object saved to and resumed from a file of its kind."""
    __slots__ = ()
    _rebuilds = True  # resuming replaces the object's sub-objects and tables
    _kind = "file"    # what a file of the class holds, for messages

    @property
    def filename(self) -> Optional[str]:
        """The file the object was last resumed from or saved to, as given; None before."""
        return self._state.get((self._handle, "file"))

    def _file_description(self) -> str:
        name = self.filename
        return ' "%s"' % os.path.basename(name) if name else ""

    def save(self, path: PathLike) -> None:
        """Writes the object to `path` (through a temporary file renamed into place).
        Raises FileError (an OSError) when the file cannot be made or written."""
        path = os.fspath(path)
        try:
            lib.RomPersistableSave(self._h, name_arg(path, "a path"))
        except Error as failure:
            raise write_failure(failure, path) from None
        self._state[(self._handle, "file")] = path

    def resume(self: P, path: PathLike) -> P:
        """Reads the object from `path` and returns it: all of it, or nothing when the file
        fails (the object is then left as it was, arrays it borrows still referenced). Raises MissingFileError (a
        FileNotFoundError) or FileError (an OSError) when the file cannot be opened,
        FormatError when it is damaged or holds another kind of object."""
        path = os.fspath(path)
        encoded = name_arg(path, "a path")
        self._before_resume(path)
        if self._rebuilds:
            self._keeper.renew("resume " + type(self).__name__)
        try:
            lib.RomPersistableResume(self._h, encoded)
        except Error as failure:
            raise read_failure(failure, path, self._kind, self._found_kind) from None
        finally:
            if self._rebuilds:
                self._renewed(False)
        self._state[(self._handle, "file")] = path
        return self

    def _before_resume(self, path: str) -> None:
        """Checks of the package before the library reads `path` (none by default)."""

    _found_kind = None  # for JSON documents: tells the kind of a document from its keys

    def _renewed(self, released):
        self._keeper.renewed(released)
        self._generation = self._keeper.generation


def create(export: str, *arguments: Any) -> int:
    """The handle of a new object made by a factory export."""
    out = c_void_p()
    getattr(lib, export)(byref(out), *map(arg, arguments))
    return out.value


class Configurable(Persistable):
    """A data object bound to a configuration: `cls(configuration)` takes a configuration
    object or the path of its ".romcfg" file; `cls()` leaves it uninitialised."""
    __slots__ = ()

    def __init__(self, configuration: Any = None) -> None:
        if isinstance(configuration, (str, bytes, os.PathLike)):
            path = os.fsdecode(configuration)
            check_size(path)
            try:
                handle = create(self._create_and_init, path)
            except Error as failure:
                raise read_failure(failure, path, self._configuration_kind, document_kind) from None
            super().__init__(handle)
            return
        super().__init__()
        if configuration is not None:
            self.initialize(configuration)

    def initialize(self, configuration: Any) -> None:
        """(Re)builds the object's tables from `configuration` (a configuration object of
        the class's kind); the old ones are freed. Refused while views of them are alive."""
        self._keeper.renew("initialise " + type(self).__name__)
        released = False
        try:
            getattr(lib, self._initialize)(self._h, configuration._h)
            released = True
        finally:
            self._renewed(released)


class Container(Object):
    """A list of the library's objects: `len()`, indexing (negative too), slices,
    iteration and `index()`. Members stay valid as long as the object holding the list."""

    __slots__ = ("_member",)

    def __init__(self, handle: int, parent: Object, member: type) -> None:
        super().__init__(handle, parent)
        self._member = member

    def __len__(self) -> int:
        return get(self, "RomContainerGetCount", ctypes.c_uint32)

    def __getitem__(self, index: Union[int, slice]) -> Any:
        count = len(self)
        if isinstance(index, slice):
            return [self[i] for i in range(*index.indices(count))]
        index = operator.index(index)
        if index < 0:
            index += count
        if not 0 <= index < count:
            raise IndexError("container index %d out of range (%d members)" % (index, count))
        return child(self, "RomContainerGetObject", self._member, ctypes.c_uint32(index))

    def __iter__(self) -> Iterator[Any]:
        for index in range(len(self)):
            yield self[index]

    def index(self, member: Object) -> int:
        """The position of `member`; ValueError when it is not in the list."""
        found = get(self, "RomContainerIndexOf", ctypes.c_uint32, member)
        if found == 0xFFFFFFFF:
            raise ValueError("%r is not a member of this container" % (member,))
        return found

    def _describe(self) -> str:
        names = [getattr(member, "solver_id", None) for member in self]
        shown = ": " + ", ".join(names) if names and all(names) else ""
        return " of %s%s" % (count(len(names), self._member.__name__), shown)


def container_prop(export: str, member: type, doc: str) -> property:
    """A property giving the Container that `export` reaches, of `member` objects."""
    def fget(self) -> Container:
        out = c_void_p()
        getattr(lib, export)(self._h, byref(out))
        return Container(out.value, self, member)
    return property(fget, doc=doc)


class _Live:
    """The numpy base object of a view of live storage: it keeps the owning object alive
    and lets the owner know a view is out."""

    __slots__ = ("__array_interface__", "keeper", "table", "__weakref__")

    def __init__(self, address, shape, dtype, keeper, table):
        self.__array_interface__ = {"data": (address, False), "shape": shape,
                                    "typestr": np.dtype(dtype).str, "version": 3}
        self.keeper = keeper
        self.table = table


def view(obj: Object, address: int, shape: Any, dtype: Any, table: Any = None) -> np.ndarray:
    """A numpy array over `address`, valid while `obj`'s owner lives; `table` names the
    table for operations that replace it."""
    live = _Live(address, tuple(shape), dtype, obj._keeper, table)
    obj._keeper.views.add(live)
    return np.asarray(live)


def pointer_address(obj: Object, export: str, ctype: Any) -> int:
    """The address of the storage that `export` gives through its out-pointer."""
    out = POINTER(ctype)()
    getattr(lib, export)(obj._h, byref(out))
    return ctypes.cast(out, c_void_p).value


def checked_array(data: Any, dtype: Any, size: int, what: str, borrow: bool) -> np.ndarray:
    """`data` as an array the library may read `size` entries of, refused with a clear
    message when it has the wrong type or length (or, when borrowed, is not contiguous or
    not writable). Copied data of an integer table may come as integral floats."""
    dtype = np.dtype(dtype)
    if not isinstance(data, np.ndarray):
        if borrow:
            raise ArgumentError("%s borrows a numpy array, not a %s" % (what, type(data).__name__))
        data = np.asarray(data)
        data = integers(data, dtype, what) if dtype.kind in "iu" else data.astype(dtype)
    if data.dtype != dtype:
        raise ArgumentError("%s takes %s values, not %s" % (what, dtype.name, data.dtype.name))
    if data.size != size:
        raise ArgumentError("%s takes %d values, not %d" % (what, size, data.size))
    if borrow:
        if not data.flags.c_contiguous:
            raise ArgumentError("%s borrows the array, which must be C-contiguous" % what)
        if not data.flags.writeable:
            raise ArgumentError("%s borrows the array, which must be writable" % what)
    else:
        data = np.ascontiguousarray(data)
    return data


def as_pointer(array: np.ndarray, ctype: Any) -> Any:
    """A ctypes pointer to the array's first entry."""
    return array.ctypes.data_as(POINTER(ctype))

