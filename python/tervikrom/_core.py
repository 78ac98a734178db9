"""Object wrappers, table views and containers shared by every family."""
import ctypes
import os
import weakref

import numpy as np

from ctypes import POINTER, byref, c_char_p, c_void_p

from ._lib import Error, lib


class _Keeper:
    """Owns one object made by a RomFactoryCreate function and releases it once nothing
    refers to it any more: not its wrapper, not an object reached through it, not a view
    of its tables. It also holds the arrays its tables borrow."""

    __slots__ = ("handle", "generation", "borrowed", "views", "__weakref__")

    def __init__(self, handle):
        self.handle = handle
        self.generation = 0      # advanced whenever the object rebuilds its sub-objects
        self.borrowed = {}       # (table handle, table) -> numpy array handed to a Set
        self.views = weakref.WeakSet()

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

    def __init__(self, handle=None, parent=None):
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

    @property
    def _h(self):
        keeper = self._keeper
        if keeper is None or not keeper.handle:
            raise Error(type(self).__name__ + " is closed.")
        if self._generation != keeper.generation and self._parent is not None:
            raise Error(type(self).__name__ + " belonged to an object that was initialised or "
                        "resumed since; fetch it again.")
        return self._handle

    def close(self):
        """Lets go of the object; the library's copy is released once no view or object
        reached through it remains."""
        self._keeper = None

    def __enter__(self):
        return self

    def __exit__(self, *exception):
        self.close()

    def __eq__(self, other):
        return isinstance(other, Object) and self._handle == other._handle and self._handle is not None

    def __hash__(self):
        return hash(self._handle)

    def __repr__(self):
        return "<tervikrom.%s %s>" % (type(self).__name__, "closed" if self._keeper is None else hex(self._handle))


def text(value):
    return value.decode("utf-8") if isinstance(value, bytes) else value


def arg(value):
    """A Python argument as the library takes it."""
    if isinstance(value, str):
        return value.encode("utf-8")
    if isinstance(value, Object):
        return value._h
    return value


def get(obj, export, ctype, *arguments):
    out = ctype()
    getattr(lib, export)(obj._h, *map(arg, arguments), byref(out))
    return text(out.value)


def child(obj, export, cls, *arguments):
    """The object that `export` writes to its last argument, owned by `obj`; None for null."""
    out = c_void_p()
    getattr(lib, export)(obj._h, *map(arg, arguments), byref(out))
    return cls(out.value, obj) if out.value else None


def prop(getter, setter=None, ctype=ctypes.c_uint32, doc=None):
    """A property read by `getter` (value through an out-pointer) and written by `setter`."""
    def fget(self):
        return get(self, getter, ctype)

    def fset(self, value):
        getattr(lib, setter)(self._h, arg(value))

    return property(fget, fset if setter else None, doc=doc)


def text_prop(getter, setter=None, doc=None):
    return prop(getter, setter, c_char_p, doc)


def child_prop(export, cls, doc=None):
    return property(lambda self: child(self, export, cls), doc=doc)


class SolverIdentified(Object):
    __slots__ = ()

    @property
    def solver_id(self):
        return text(lib.RomGetSolverId(self._h))

    @solver_id.setter
    def solver_id(self, value):
        lib.RomSetSolverId(self._h, arg(value))


class Persistable(Object):
    __slots__ = ()
    _rebuilds = True  # resuming replaces the object's sub-objects and tables

    def save(self, path):
        lib.RomPersistableSave(self._h, arg(str(path)))

    def resume(self, path):
        """Reads the object from `path`. Tables may be read in place, into arrays they
        borrow, so those stay referenced."""
        if not self._rebuilds:
            lib.RomPersistableResume(self._h, arg(str(path)))
            return self
        self._keeper.renew("resume " + type(self).__name__)
        try:
            lib.RomPersistableResume(self._h, arg(str(path)))
        finally:
            self._renewed(False)
        return self

    def _renewed(self, released):
        self._keeper.renewed(released)
        self._generation = self._keeper.generation


def create(export, *arguments):
    """The handle of a new object made by a factory export."""
    out = c_void_p()
    getattr(lib, export)(byref(out), *map(arg, arguments))
    return out.value


class Configurable(Persistable):
    """A data object bound to a configuration: `cls(configuration)` takes a configuration
    object or the path of its ".romcfg" file; `cls()` leaves it uninitialised."""
    __slots__ = ()

    def __init__(self, configuration=None):
        if isinstance(configuration, (str, os.PathLike)):
            super().__init__(create(self._create_and_init, str(configuration)))
            return
        super().__init__()
        if configuration is not None:
            self.initialize(configuration)

    def initialize(self, configuration):
        """(Re)builds the object's tables from `configuration`; the old ones are freed."""
        self._keeper.renew("initialise " + type(self).__name__)
        released = False
        try:
            getattr(lib, self._initialize)(self._h, configuration._h)
            released = True
        finally:
            self._renewed(released)


class Container(Object):
    """A container of the library: len(), indexing, iteration and index()."""

    __slots__ = ("_member",)

    def __init__(self, handle, parent, member):
        super().__init__(handle, parent)
        self._member = member

    def __len__(self):
        return get(self, "RomContainerGetCount", ctypes.c_uint32)

    def __getitem__(self, index):
        count = len(self)
        if isinstance(index, slice):
            return [self[i] for i in range(*index.indices(count))]
        if index < 0:
            index += count
        if not 0 <= index < count:
            raise IndexError("container index %d out of range (%d members)" % (index, count))
        return child(self, "RomContainerGetObject", self._member, ctypes.c_uint32(index))

    def __iter__(self):
        for index in range(len(self)):
            yield self[index]

    def index(self, member):
        found = get(self, "RomContainerIndexOf", ctypes.c_uint32, member)
        if found == 0xFFFFFFFF:
            raise ValueError("%r is not a member of this container" % (member,))
        return found


def container_prop(export, member, doc=None):
    def fget(self):
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


def view(obj, address, shape, dtype, table=None):
    """A numpy array over `address`, valid while `obj`'s owner lives; `table` names the
    table for operations that replace it."""
    live = _Live(address, tuple(shape), dtype, obj._keeper, table)
    obj._keeper.views.add(live)
    return np.asarray(live)


def pointer_address(obj, export, ctype):
    out = POINTER(ctype)()
    getattr(lib, export)(obj._h, byref(out))
    return ctypes.cast(out, c_void_p).value


def checked_array(data, dtype, size, what, borrow):
    """`data` as an array the library may read `size` entries of, refused with a clear
    message when it has the wrong type or length (or, when borrowed, is not contiguous or
    not writable)."""
    if not isinstance(data, np.ndarray):
        if borrow:
            raise Error("%s borrows a numpy array, not a %s" % (what, type(data).__name__))
        data = np.asarray(data, dtype=dtype)
    if data.dtype != np.dtype(dtype):
        raise Error("%s takes %s values, not %s" % (what, np.dtype(dtype).name, data.dtype.name))
    if data.size != size:
        raise Error("%s takes %d values, not %d" % (what, size, data.size))
    if borrow:
        if not data.flags.c_contiguous:
            raise Error("%s borrows the array, which must be C-contiguous" % what)
        if not data.flags.writeable:
            raise Error("%s borrows the array, which must be writable" % what)
    else:
        data = np.ascontiguousarray(data)
    return data


def as_pointer(array, ctype):
    return array.ctypes.data_as(POINTER(ctype))
