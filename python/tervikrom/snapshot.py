"""Snapshots with numpy views of their values, points, the snapshot cache, projects, and
the snapshot matrix of a series of snapshot files."""
from __future__ import annotations

import ctypes
import os
import re
import stat
from collections.abc import Mapping, MutableMapping
from concurrent.futures import ThreadPoolExecutor
from ctypes import POINTER, c_double, c_size_t, c_uint32, c_void_p
from typing import Any, Dict, Iterable, Iterator, List, Optional, Sequence, Tuple, Union

import numpy as np

from . import _files
from ._core import (Configurable, Object, PathLike, Persistable, child, child_prop, count, get, integer, integers,
                    lib, name_arg, pointer_address, prop, text_prop, view)
from ._errors import (ArgumentError, Error, FileError, FormatError, UnknownNameError, name_list,
                      unknown_name)
from .configuration import FieldCfg, SetupCfg, SnapshotCfg


class ComponentData(Object):
    """The values of one (component, support) pair of a snapshot: one float64 value for
    each entity id of the support."""
    __slots__ = ()
    component_id = text_prop("RomSnapshotComponentDataGetComponentId", doc="The component's solver id.")
    support_id = text_prop("RomSnapshotComponentDataGetSupportId", doc="The support's solver id.")
    expected_count = prop("RomSnapshotComponentDataGetExpectedEntityValueCount",
                          doc="The number of values it takes: the support's entity count.")
    assigned_count = prop("RomSnapshotComponentDataGetAssignedEntityValueCount",
                          doc="The number of values given so far.")

    def __len__(self) -> int:
        return self.expected_count

    def _describe(self) -> str:
        return " %s on %s: %d of %d values" % (self.component_id, self.support_id, self.assigned_count,
                                               self.expected_count)

    @property
    def ids(self) -> np.ndarray:
        """The entity ids, a uint32 view (expected_count,) of the live storage."""
        return view(self, pointer_address(self, "RomSnapshotComponentDataGetIdArray", c_uint32),
                    (self.expected_count,), np.uint32)

    @property
    def values(self) -> np.ndarray:
        """The values, a float64 view (expected_count,) of the live storage, in the order of `ids`."""
        return view(self, pointer_address(self, "RomSnapshotComponentDataGetValueArray", c_double),
                    (self.expected_count,), np.float64)

    def value(self, index: int) -> Tuple[int, float]:
        """(entity id, value) at `index`."""
        id, value = c_uint32(), c_double()
        lib.RomSnapshotComponentDataGetValue(self._h, c_uint32(integer(index, "the index")), id, value)
        return id.value, value.value

    def add_value(self, id: int, value: float) -> None:
        """Gives the entity `id` its value (an id is a whole number in [0, 2**32 - 1])."""
        lib.RomSnapshotComponentDataAddValue(self._h, c_uint32(integer(id, "an entity id")), c_double(value))

    def fill(self, ids: Any, values: Any) -> None:
        """Gives the entities `ids` (integers, or integral floats) their `values` (both
        one-dimensional, of one length). Values added before are kept; a full component
        data takes new values for the same ids in one copy into its live storage. Raises
        ArgumentError for ids that are not whole numbers in [0, 2**32 - 1]."""
        ids = integers(ids, np.uint32, "the entity ids")
        values = np.asarray(values, dtype=np.float64)
        expected, assigned = self.expected_count, self.assigned_count
        if ids.shape != values.shape or ids.ndim != 1:
            raise ArgumentError("fill takes one-dimensional ids and values of one length, not %s and %s"
                                % (ids.shape, values.shape))
        if assigned == expected and len(ids) == expected:
            if not np.array_equal(ids, self.ids):
                raise Error("The component %s on the support %s is full: only its values can be "
                            "replaced, for the ids it holds" % (self.component_id, self.support_id))
            self.values[:] = values
            return
        # One call for the whole arrays; the library copies them (all or none).
        ids = np.ascontiguousarray(ids)
        values = np.ascontiguousarray(values)
        lib.RomSnapshotComponentDataAddValues(
            self._h, ids.ctypes.data_as(POINTER(c_uint32)), values.ctypes.data_as(POINTER(c_double)), len(ids))


class Snapshot(Configurable):
    """One solver run's values (".romsnp"): a ComponentData for each (component, support)
    pair of its configuration. `Snapshot(configuration)` initialises it from a snapshot
    configuration object or ".romcfg" file; `Snapshot()` is empty until `resume()`."""
    __slots__ = ()
    _factory = "RomFactoryCreateSnapshot"
    _create_and_init = "RomFactoryCreateAndInitSnapshot"
    _initialize = "RomSnapshotInitialize"
    _kind = "snapshot"
    _configuration_kind = "snapshot configuration"
    configuration = child_prop("RomSnapshotGetConfiguration", SnapshotCfg,
                               "The snapshot configuration, None before initialisation.")

    @property
    def is_initialized(self) -> bool:
        """Whether it was initialised (or resumed)."""
        return bool(get(self, "RomSnapshotIsInitialized", c_uint32))

    @property
    def is_filled(self) -> bool:
        """Whether every pair has all its values (a snapshot is saved only then)."""
        return bool(get(self, "RomSnapshotIsFilled", c_uint32))

    def component_data(self, component: str, support: str) -> ComponentData:
        """The values of `component` on `support`. Raises UnknownNameError (a KeyError)
        naming the pairs there are."""
        try:
            return child(self, "RomSnapshotGetComponentData", ComponentData, name_arg(component, "a component id"),
                         name_arg(support, "a support id"))
        except Error as failure:
            if isinstance(failure, ArgumentError):
                raise
            raise unknown_name(failure, "pairs", ["%s on %s" % pair for pair in self.pairs()]) from None

    def pairs(self) -> List[Tuple[str, str]]:
        """The (component id, support id) pairs of the configuration, in its order."""
        cfg = self.configuration
        return cfg.pairs() if cfg is not None else []

    def __iter__(self) -> Iterator[ComponentData]:
        for component, support in self.pairs():
            yield self.component_data(component, support)

    def _describe(self) -> str:
        if not self.is_initialized:
            return "%s (not initialised)" % self._file_description()
        data = list(self)
        assigned = sum(d.assigned_count for d in data)
        expected = sum(d.expected_count for d in data)
        state = "filled" if assigned == expected else "%d of %d values assigned" % (assigned, expected)
        return "%s: %d component data on %s, %s" % (self._file_description(), len(data),
                                                    count(len({d.support_id for d in data}), "support"), state)


def _sort_key(name: str) -> bytes:
    """The library's order of parameter names: by their bytes."""
    return name.encode("utf-8", "surrogateescape")


class UserPoint(Object, MutableMapping):
    """Named parameter values, a mapping of str -> float: `UserPoint(load=1.5)`,
    `UserPoint({"max-load": 1.5})`, `p["load"]`, `p["load"] = 2.0`, `"load" in p`, `dict(p)`.
    Names iterate in the library's order (by their bytes). `p == q` is the library's
    comparison: every parameter of p has the same value in q (14 significant digits)."""
    __slots__ = ()
    _factory = "RomFactoryCreateUserPoint"

    def __init__(self, values: Union[Mapping, Iterable[Tuple[str, float]]] = (), **more: float) -> None:
        super().__init__()
        self._state[(self._handle, "names")] = set()
        self.update(values, **more)

    @property
    def _names(self) -> set:
        return self._state.setdefault((self._handle, "names"), set())

    def __setitem__(self, name: str, value: float) -> None:
        lib.RomPointSetValue(self._h, name_arg(name, "a parameter name"), c_double(value))
        self._names.add(name if isinstance(name, str) else os.fsdecode(name))

    def __getitem__(self, name: str) -> float:
        try:
            return get(self, "RomPointGetValue", c_double, name_arg(name, "a parameter name"))
        except ArgumentError:
            raise
        except Error as failure:
            raise unknown_name(failure, "parameters", list(self)) from None

    def __delitem__(self, name: str) -> None:
        values = dict(self)
        del values[name]
        self.clear()
        self.update(values)

    def __iter__(self) -> Iterator[str]:
        return iter(sorted(self._names, key=_sort_key))

    def __len__(self) -> int:
        return len(self._names)

    def __contains__(self, name: object) -> bool:
        if not isinstance(name, (str, bytes)):
            return False
        return bool(get(self, "RomPointHasValue", c_uint32, name_arg(name, "a parameter name")))

    def get(self, name: str, default: Optional[float] = None) -> Optional[float]:
        """The value of `name`, or `default` when the point has no such parameter."""
        value = c_double()
        return value.value if lib.RomPointTryGetValue(self._h, name_arg(name, "a parameter name"), value) else default

    def clear(self) -> None:
        """Removes every parameter."""
        lib.RomPointClear(self._h)
        self._names.clear()

    def copy_to(self, other: UserPoint) -> None:
        """Makes `other` an exact copy of this point."""
        lib.RomPointCopyTo(self._h, other._h)
        other._names.clear()
        other._names.update(self._names)

    def __eq__(self, other: object) -> bool:
        """The library's comparison: every parameter of this point has the same value in other."""
        return isinstance(other, UserPoint) and bool(get(self, "RomPointEquals", c_uint32, other))

    __hash__ = None  # type: ignore[assignment]

    def _describe(self) -> str:
        return " {%s}" % ", ".join("%s: %r" % item for item in self.items())


def _point(values: Union[UserPoint, Mapping]) -> UserPoint:
    """`values` as a point of the library."""
    if isinstance(values, UserPoint):
        return values
    if isinstance(values, Mapping):
        return UserPoint(values)
    raise ArgumentError("a point is a UserPoint or a mapping of names to values, not %s" % type(values).__name__)


class CacheEntry(Object):
    """One run of a snapshot cache: its input point, its output point and its snapshot
    file. `inputs` and `outputs` give the points as dicts; `path` the file, resolved
    against the cache file's folder when the cache stores it relative."""
    __slots__ = ()
    input_point = child_prop("RomSnapshotCacheEntryGetInputPoint", UserPoint,
                             "The input point (the parameters of the run), live in the cache.")
    output_point = child_prop("RomSnapshotCacheEntryGetOutputPoint", UserPoint,
                              "The output point (scalar results of the run), live in the cache.")
    snapshot_file = text_prop("RomSnasphotCacheEntryGetSnapshotFile",
                              doc="The snapshot file as the cache stores it (relative or absolute).")

    @property
    def inputs(self) -> Dict[str, float]:
        """The input parameters, name -> value."""
        return dict(self.input_point)

    @property
    def outputs(self) -> Dict[str, float]:
        """The outputs, name -> value."""
        return dict(self.output_point)

    @property
    def path(self) -> str:
        """The snapshot file: as stored when absolute, else joined to the folder of the
        cache's file (the current folder while the cache has no file)."""
        stored = self.snapshot_file
        folder = self._parent._state.get((self._parent._handle, "folder")) if self._parent is not None else None
        return os.path.normpath(os.path.join(folder or os.getcwd(), stored))

    def _describe(self) -> str:
        return ' %s -> %s: "%s"' % (self.input_point._describe().strip(), self.output_point._describe().strip(),
                                    self.snapshot_file)


class SnapshotCache(Persistable):
    """The runs made so far (".romcch"): input point -> (output point, snapshot file).

    `len(cache)`; `for entry in cache` (CacheEntry, in the order they were added);
    `cache[{"load": 1.5}]` the entry whose input matches (KeyError when none does), `in`,
    `get()`; `push()` adds a run. Snapshot files stored relative are resolved against the
    folder of the cache's file (`CacheEntry.path`); the stored text stays as given."""
    __slots__ = ()
    _factory = "RomFactoryCreateSnapshotCache"
    _kind = "snapshot cache"
    _found_kind = staticmethod(_files.document_kind)

    def _before_resume(self, path: str) -> None:
        _files.check_size(path)

    @property
    def _entries(self) -> List[Tuple[int, Dict[str, float], set]]:
        """(entry handle, input point, output names) of each entry, in order: what the
        package knows of the entries, since no export lists them or a point's names."""
        return self._state.setdefault((self._handle, "entries"), [])

    def _forget(self) -> None:
        """Drops what the package knew of the entries (their handles die with them)."""
        state = self._state
        for key in [key for key in state if key[1] == "names"]:
            del state[key]
        state[(self._handle, "entries")] = []

    def _remember(self, entry: CacheEntry, inputs: Mapping, outputs: Iterable[str]) -> None:
        self._entries.append((entry._handle, dict(inputs), set(outputs)))
        self._state[(entry.input_point._handle, "names")] = set(inputs)
        self._state[(entry.output_point._handle, "names")] = set(outputs)

    def _find(self, runs: List[Tuple[Dict[str, float], set]]) -> bool:
        """Finds the entries of `runs` (input point, output names) anew; whether all were."""
        self._forget()
        found = [(self.pull(inputs), inputs, outputs) for inputs, outputs in runs]
        for entry, inputs, outputs in found:
            if entry is not None:
                self._remember(entry, inputs, outputs)
        return all(entry is not None for entry, _, _ in found)

    def clear(self) -> None:
        """Removes every entry."""
        lib.RomSnapshotCacheClear(self._h)
        self._renewed(False)
        self._forget()

    def pull(self, input: Union[UserPoint, Mapping]) -> Optional[CacheEntry]:
        """The first entry whose input point matches `input` (a UserPoint or a dict), or
        None. Matching is the library's: each parameter of `input` equal in the entry."""
        return child(self, "RomSnapshotCachePull", CacheEntry, _point(input))

    def push(self, input: Union[UserPoint, Mapping], output: Union[UserPoint, Mapping],
             snapshot_file: PathLike) -> bool:
        """Adds the run unless an entry matches `input` already; whether it was added.
        `snapshot_file` is stored as given (relative paths are resolved against the
        cache's folder when read back)."""
        input, output = _point(input), _point(output)
        added = bool(get(self, "RomSnapshotCachePush", c_uint32, input, output,
                         name_arg(snapshot_file, "a snapshot file")))
        if added:
            self._remember(self.pull(input), input, output)
        return added

    def resume(self, path: PathLike) -> SnapshotCache:
        """Reads the cache from `path` (see Persistable.resume). The parameter names, which
        no export lists, are taken from the document, read with the library's guards."""
        path = os.fspath(path)
        before = [(inputs, outputs) for _, inputs, outputs in self._entries]
        try:
            super().resume(path)
        except Error:
            self._find(before)  # whatever the failed read left
            raise
        self._state[(self._handle, "folder")] = os.path.dirname(os.path.abspath(path))
        try:
            runs = [(_parameters(item["input"]), set(_parameters(item["output"])))
                    for item in _files.read_document(path)["snapshotCache"]["entries"]]
        except FileError:
            self._forget()
            raise
        except (LookupError, TypeError, ValueError):
            runs = None
        if runs is None or not self._find(runs):
            raise FormatError("%s: the cache's entries could not be matched with the document (was it changed "
                              "while being read?)" % path, filename=path, expected=self._kind)
        return self

    def save(self, path: PathLike) -> None:
        """Writes the cache to `path` (see Persistable.save); relative snapshot files are
        resolved against its folder from then on."""
        super().save(path)
        self._state[(self._handle, "folder")] = os.path.dirname(os.path.abspath(os.fspath(path)))

    @property
    def folder(self) -> Optional[str]:
        """The absolute folder of the cache's file, against which relative snapshot files
        are resolved; None while it has no file."""
        return self._state.get((self._handle, "folder"))

    def __len__(self) -> int:
        self._h
        return len(self._entries)

    def __iter__(self) -> Iterator[CacheEntry]:
        self._h
        for handle, _, _ in list(self._entries):
            yield CacheEntry._wrap(handle, self)

    def __getitem__(self, input: Union[UserPoint, Mapping]) -> CacheEntry:
        entry = self.pull(input)
        if entry is None:
            raise KeyError(dict(input))
        return entry

    def __contains__(self, input: object) -> bool:
        return isinstance(input, (UserPoint, Mapping)) and self.pull(input) is not None

    def get(self, input: Union[UserPoint, Mapping], default: Any = None) -> Any:
        """The entry whose input matches `input`, or `default`."""
        entry = self.pull(input)
        return default if entry is None else entry

    def _describe(self) -> str:
        return "%s: %s" % (self._file_description(), count(len(self), "entry"))


def _parameters(point: Any) -> Dict[str, float]:
    """A point's parameters as the document holds them, name -> value: null is no parameter,
    a later name overrides an earlier one, a value converts as the library's reader does."""
    values = {}
    for item in point or ():
        value = item["value"]
        values[item["id"]] = 0.0 if value is None else float(value)
    return values


class Project(Persistable):
    """A project: an identity saved as ".rompjt"; equal projects are the same project."""
    __slots__ = ()
    _factory = "RomFactoryCreateProject"
    _rebuilds = False
    _kind = "project"

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Project) and bool(get(self, "RomProjectComparison", c_uint32, other))

    __hash__ = None  # type: ignore[assignment]

    def _describe(self) -> str:
        return self._file_description()


_memcmp = ctypes.CDLL(None).memcmp
_memcmp.argtypes, _memcmp.restype = (c_void_p, c_void_p, c_size_t), ctypes.c_int


def _equal(a, b):
    """Whether two contiguous arrays of one dtype hold the same values, compared as bytes:
    no temporary array, unlike numpy's comparison."""
    return a.shape == b.shape and (a.nbytes == 0 or _memcmp(a.ctypes.data, b.ctypes.data, a.nbytes) == 0)


# The ids of a file read by a layout: checked with the bytes the layout keeps.
_UNCHECKED = object()

# The internal ids of the objects of a configuration's JSON text: a snapshot made from a
# configuration gives its components new ones, which the library only keeps.
_INTERNAL_IDS = re.compile(rb'(?<=[{,])"internalId":"[^"\\]*"')


def _without_internal_ids(text: bytes) -> bytes:
    return _INTERNAL_IDS.sub(b'"internalId":""', text)


class _Layout:
    """Where the parts of a snapshot file lie: the bytes that are not values (the frames,
    the configuration, each record's ids and counts), kept from a file the library read and
    checked, and the offsets of the values of the pairs a reader takes. A file of the same
    series repeats the kept bytes, its configuration's internal ids aside: its values are
    then where the kept file's are, and the library would read it as it read that one
    (values are never checked)."""
    __slots__ = ("size", "kept", "reference", "values", "configuration", "text")

    def __init__(self, size: int, kept: List[Tuple[int, int]], reference: np.ndarray, values: List[int],
                 configuration: Tuple[int, int], text: bytes) -> None:
        self.size, self.kept, self.reference, self.values = size, kept, reference, values
        # Where the configuration's text lies (it is in the first kept part), and the text
        # without its internal ids.
        self.configuration, self.text = configuration, text


def _records(descriptor: int, size: int) -> Tuple[Tuple[int, int], List[Tuple[bytes, bytes, int, int]]]:
    """Where the configuration's text lies, and (component id, support id, count, offset of
    the ids) of each record of a snapshot file the library read: the object frame (null
    flag, file version, type, version, product version), the configuration, then one framed
    record per pair (its two ids, the count, the ids, the values). ValueError when the
    bytes do not follow it to the end."""
    at = 0

    def take(length: int) -> bytes:
        nonlocal at
        if length < 0 or at + length > size:
            raise ValueError(at)
        data = os.pread(descriptor, length, at)
        if len(data) != length:
            raise ValueError(at)
        at += length
        return data

    def number() -> int:
        return int.from_bytes(take(4), "little", signed=False)

    def text() -> bytes:
        return take(number())

    def frame() -> None:
        number(), number(), text(), number(), number(), number()

    frame()
    configuration = (at + 4, len(text()))
    records = []
    while at < size:
        frame()
        component, support, count = text(), text(), number()
        records.append((component, support, count, at))
        at += 12 * count
    if at != size:
        raise ValueError(at)
    return configuration, records


def _layout_of(path: str, components: Sequence[str], support: str,
               found: List[Tuple[np.ndarray, np.ndarray]]) -> Optional[_Layout]:
    """The layout of `path`, whose pairs the library just read as `found`, or None when the
    file cannot serve as one (the ids and values where the layout puts them must be those
    the library read)."""
    try:
        descriptor = os.open(path, os.O_RDONLY | os.O_NONBLOCK | os.O_CLOEXEC)
    except OSError:
        return None
    try:
        size = os.fstat(descriptor).st_size
        configuration, records = _records(descriptor, size)
        at = {(component, support): (count, offset) for component, support, count, offset in records}
        name = support.encode("utf-8", "surrogateescape")
        kept, reference, values, start = [], [], [], 0
        for _, _, count, offset in records:
            kept.append((start, offset + 4 * count - start))
            start = offset + 12 * count
        kept.append((start, size - start))
        for start, length in kept:
            reference.append(os.pread(descriptor, length, start))
        for component, (ids, data) in zip(components, found):
            count, offset = at[(component.encode("utf-8", "surrogateescape"), name)]
            if count != len(ids) or os.pread(descriptor, 4 * count, offset) != ids.tobytes() or \
                    os.pread(descriptor, 8 * count, offset + 4 * count) != data.tobytes():
                return None
            values.append(offset + 4 * count)
        start, length = configuration
        text = _without_internal_ids(reference[0][start:start + length])
        return _Layout(size, kept, np.frombuffer(b"".join(reference), dtype=np.uint8), values, configuration, text)
    except (OSError, ValueError, KeyError):
        return None
    finally:
        os.close(descriptor)


class ColumnReader:
    """Reads the values of one or more components on one support from snapshot files, in
    ascending entity id, one thread at a time. A column holds the components interleaved:
    entity by entity, each entity's components in order.

    The first file is read by the library, through a snapshot object the reader keeps; a
    file whose ids are those asked for then serves as the layout of the others: a file that
    repeats its bytes other than the values has its values read straight where they go (into
    the column for one component), its ids checked as bytes against the layout's. Any other
    file goes through the library, whose errors name it."""

    def __init__(self, component: Union[str, Sequence[str]], support: str, layout: Optional[_Layout] = None) -> None:
        self.components = [component] if isinstance(component, str) else list(component)
        self.component, self.support = self.components[0], support
        self.snapshot = Snapshot()
        self.layout = layout
        self._kept = np.empty_like(layout.reference) if layout is not None else None
        self._values: List[np.ndarray] = []

    def arrays(self, path: str) -> List[Tuple[np.ndarray, np.ndarray]]:
        """(ids, values) of each component: views of the file's pairs, valid until this
        reader reads again."""
        self.snapshot.resume(path)  # its errors name the file
        found = []
        for component in self.components:
            try:
                data = self.snapshot.component_data(component, self.support)
            except UnknownNameError as failure:
                raise UnknownNameError("%s: %s" % (path, failure), names=failure.names, text=failure.text) from None
            found.append((data.ids, data.values))
        return found

    def pair(self, path: str) -> Tuple[np.ndarray, np.ndarray]:
        """(ids, values) of the first component, views valid until this reader reads again."""
        return self.arrays(path)[0]

    def _differ(self, path: str, what: str) -> Error:
        return Error("%s: the component %s on the support %s %s" % (path, self.component, self.support, what))

    def first(self, path: str) -> Tuple[np.ndarray, np.ndarray]:
        """(ids ascending, column): the entity ids of a first file and its values in that
        order, the components interleaved."""
        found = self.arrays(path)
        ids, values = found[0]
        if len(ids) > 1 and not (ids[1:] > ids[:-1]).all():
            ids = np.sort(ids, kind="stable")
            if (ids[1:] == ids[:-1]).any():
                raise self._differ(path, "repeats entity ids")
        ids = ids.copy()
        column = np.empty(len(ids) * len(self.components))
        self.place(path, found, ids, column)
        self._learn(path, found, ids)
        return ids, column

    def _learn(self, path: str, found: List[Tuple[np.ndarray, np.ndarray]], ids: np.ndarray) -> None:
        """Takes `path`, just read by the library, as the layout when each of its pairs holds
        exactly `ids` in that order."""
        if self.layout is None and all(_equal(held, ids) for held, _ in found):
            self.layout = _layout_of(path, self.components, self.support, found)
            if self.layout is not None:
                self._kept = np.empty_like(self.layout.reference)

    def fetch(self, path: str, ids: np.ndarray, out: np.ndarray) -> List[Tuple[Any, Optional[np.ndarray]]]:
        """Reads the file for `place`, which writes its values into `out` in the order of
        `ids`: (ids, values) of each component, as `arrays` gives them, or, for a file read
        by the layout, ids _UNCHECKED (the bytes read with the values are checked by
        `place`) and values None when they went into `out` already."""
        found = self._read_direct(path, out) if self.layout is not None else None
        if found is None:
            found = self.arrays(path)
            self._learn(path, found, ids)
        return found

    def _read_direct(self, path: str, out: np.ndarray) -> Optional[List[Tuple[Any, Optional[np.ndarray]]]]:
        """Reads the bytes the layout keeps and the values, or None when the file has another
        size or fails to read in any way (the library then tells why)."""
        layout, kept = self.layout, self._kept
        count = len(self.components)
        try:
            descriptor = os.open(path, os.O_RDONLY | os.O_NONBLOCK | os.O_CLOEXEC)
        except OSError:
            return None
        try:
            status = os.fstat(descriptor)
            if not stat.S_ISREG(status.st_mode) or status.st_size != layout.size:
                return None
            at = 0
            for start, length in layout.kept:
                if length and os.preadv(descriptor, [kept[at:at + length]], start) != length:
                    return None
                at += length
            if count == 1 and out.flags.c_contiguous:
                return None if os.preadv(descriptor, [out], layout.values[0]) != out.nbytes else [(_UNCHECKED, None)]
            entities = len(out) // count
            if len(self._values) != count or len(self._values[0]) != entities:
                self._values = [np.empty(entities) for _ in range(count)]
            for values, start in zip(self._values, layout.values):
                if os.preadv(descriptor, [values], start) != values.nbytes:
                    return None
            return [(_UNCHECKED, values) for values in self._values]
        except OSError:
            return None
        finally:
            os.close(descriptor)

    def _repeats_layout(self) -> bool:
        """Whether the bytes _read_direct kept are the layout's, the internal ids of the
        configuration aside."""
        layout, kept = self.layout, self._kept
        start, length = layout.configuration
        end = start + length
        return (_equal(kept[:start], layout.reference[:start]) and _equal(kept[end:], layout.reference[end:]) and
                _without_internal_ids(kept[start:end].tobytes()) == layout.text)

    def place(self, path: str, found: List[Tuple[Any, Optional[np.ndarray]]], ids: np.ndarray,
              out: np.ndarray) -> None:
        """Writes the components' values (read from `path`, `found` as `fetch` or `arrays`
        gives it) into `out` in the order of `ids`, which each must hold. A file that does not
        repeat the layout is read again, by the library."""
        if found and found[0][0] is _UNCHECKED and not self._repeats_layout():
            found = self.arrays(path)
        count = len(self.components)
        for index, (component, (held, values)) in enumerate(zip(self.components, found)):
            if values is None:
                continue
            target = out[index::count]
            if held is _UNCHECKED or _equal(held, ids):
                target[:] = values
                continue
            same = len(held) == len(ids)
            if same:
                order = np.argsort(held, kind="stable")
                same = np.array_equal(held[order], ids)
            if not same:
                raise Error("%s: the component %s on the support %s has other entity ids than %s"
                            % (path, component, self.support,
                               "the first file" if index == 0 else "the component " + self.components[0]))
            target[:] = values[order]

    def read_into(self, path: str, ids: np.ndarray, out: np.ndarray) -> None:
        """Writes the file's values into `out` in the order of `ids`, which the file must hold."""
        self.place(path, self.fetch(path, ids, out), ids, out)


def field_components(field: Union[str, FieldCfg], support: Optional[str],
                     setup: Any) -> Tuple[FieldCfg, List[str], str]:
    """(field, its component ids, the support): `field` a FieldCfg or the solver id of a
    field of `setup` (a SetupCfg or the path of its ".romcfg"); `support` may be left out
    when the field has a single one."""
    if not isinstance(field, FieldCfg):
        if setup is None:
            raise ArgumentError("a field given by name needs the set-up that defines it: setup=")
        if not isinstance(setup, SetupCfg):
            setup = SetupCfg().resume(setup)
        field = setup.field(field)
    components = field.component_ids
    if not components:
        raise ArgumentError('the field "%s" has no component' % field.solver_id)
    supports = field.support_ids
    if support is None:
        if len(supports) != 1:
            raise ArgumentError('the field "%s" is given on %s: name the support (support=)'
                                % (field.solver_id, name_list(supports)))
        support = supports[0]
    elif support not in supports:
        raise UnknownNameError('The field "%s" is not given on the support "%s". The supports there are: %s.'
                               % (field.solver_id, support, name_list(supports)), names=supports)
    return field, components, support


def matrix_components(component: Union[str, Sequence[str], None], support: Optional[str], field: Any,
                      setup: Any) -> Tuple[List[str], str]:
    """The components and the support a snapshot matrix reads: those given, or a field's."""
    if (component is None) == (field is None):
        raise ArgumentError("a snapshot matrix takes components or a field (field=), one of them")
    if field is not None:
        return field_components(field, support, setup)[1:]
    if support is None:
        raise ArgumentError("a snapshot matrix of components needs their support")
    components = [component] if isinstance(component, str) else list(component)
    if not components:
        raise ArgumentError("a snapshot matrix needs at least one component")
    return components, support


def read_columns(files: Sequence[str], components: Sequence[str], support: str, ids: np.ndarray, out: np.ndarray,
                 bar: Any = None, layout: Optional[_Layout] = None) -> None:
    """Reads each file's values of `components` on `support` into its column of `out`
    (rows as `snapshot_matrix` gives them, in the order of `ids`, which every file must
    hold), after `layout` when given (see ColumnReader). While one file's values are put in
    their column, a helper thread reads the next one (reads and copies run without the
    interpreter lock)."""
    if not files:
        return
    readers = (ColumnReader(components, support, layout), ColumnReader(components, support, layout))
    with ThreadPoolExecutor(max_workers=1) as helper:
        following = helper.submit(readers[0].fetch, files[0], ids, out[:, 0])
        for column in range(len(files)):
            found = following.result()
            if column + 1 < len(files):  # the other reader, whose views are gone
                following = helper.submit(readers[(column + 1) % 2].fetch, files[column + 1], ids,
                                          out[:, column + 1])
            try:
                readers[column % 2].place(files[column], found, ids, out[:, column])
            finally:
                del found
            if bar is not None:
                bar.update()


def progress_bar(total: int, progress: bool, what: str) -> Any:
    """A tqdm progress bar of `total` files when `progress` is true, else None."""
    if not progress:
        return None
    from tqdm import tqdm
    return tqdm(total=total, desc=what, unit="file")


def snapshot_matrix(files: Iterable[PathLike], component: Union[str, Sequence[str], None] = None,
                    support: Optional[str] = None, *,
                    field: Union[str, FieldCfg, None] = None, setup: Any = None,
                    progress: bool = False) -> Tuple[np.ndarray, np.ndarray]:
    """(ids, matrix): the entity ids (uint32, ascending) and the float64 matrix of the
    values, one column per file, column-major (Fortran order).

    Either one `component` on `support` (rows: entities), or several (a list), or a
    `field`: a FieldCfg or the solver id of a field of `setup` (a SetupCfg or the path of
    its ".romcfg"), whose components are read. C components are stacked entity by entity:
    row e * C + c holds component c of entity `ids[e]` (in the order given, or the
    field's), so `matrix.reshape(len(ids), C, -1)` is a view (entity, component, file).
    `support` may be left out when the field has one. Files with another id set are
    refused with an error naming them (FormatError, MissingFileError for a damaged or
    missing file; UnknownNameError for a pair a file lacks); `progress=True` shows a
    progress bar (tqdm). The first file is read by the library; a file that repeats its
    layout (all but the values, as the files of one series do) has its values read
    straight into its column, its ids checked against the first file's as bytes. While
    one file's values are put in place, a helper thread reads the next one.
    """
    files = [os.fspath(path) for path in files]
    if not files:
        raise ArgumentError("snapshot_matrix needs at least one file")
    components, support = matrix_components(component, support, field, setup)
    reader = ColumnReader(components, support)
    ids, first = reader.first(files[0])
    matrix = np.empty((len(first), len(files)), order="F")
    matrix[:, 0] = first
    del first
    bar = progress_bar(len(files), progress, "snapshot matrix")
    try:
        if bar is not None:
            bar.update()
        read_columns(files[1:], components, support, ids, matrix[:, 1:], bar, reader.layout)
    finally:
        if bar is not None:
            bar.close()
    return ids, matrix
