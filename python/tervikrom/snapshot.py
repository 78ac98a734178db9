"""Snapshots with numpy views of their values, points, the snapshot cache, projects, and
the snapshot matrix of a series of snapshot files."""
import ctypes
import os
from concurrent.futures import ThreadPoolExecutor
from ctypes import POINTER, c_double, c_size_t, c_uint32, c_void_p

import numpy as np

from ._core import (Configurable, Error, Object, Persistable, arg, child, child_prop, get, lib,
                    pointer_address, prop, text_prop, view)
from .configuration import SnapshotCfg


class ComponentData(Object):
    """The values of one (component, support) pair of a snapshot."""
    __slots__ = ()
    component_id = text_prop("RomSnapshotComponentDataGetComponentId")
    support_id = text_prop("RomSnapshotComponentDataGetSupportId")
    expected_count = prop("RomSnapshotComponentDataGetExpectedEntityValueCount")
    assigned_count = prop("RomSnapshotComponentDataGetAssignedEntityValueCount")

    def __len__(self):
        return self.expected_count

    @property
    def ids(self):
        """The entity ids, a uint32 view of the live storage."""
        return view(self, pointer_address(self, "RomSnapshotComponentDataGetIdArray", c_uint32),
                    (self.expected_count,), np.uint32)

    @property
    def values(self):
        """The values, a float64 view of the live storage."""
        return view(self, pointer_address(self, "RomSnapshotComponentDataGetValueArray", c_double),
                    (self.expected_count,), np.float64)

    def value(self, index):
        """(entity id, value) at `index`."""
        id, value = c_uint32(), c_double()
        lib.RomSnapshotComponentDataGetValue(self._h, c_uint32(index), id, value)
        return id.value, value.value

    def add_value(self, id, value):
        lib.RomSnapshotComponentDataAddValue(self._h, c_uint32(id), c_double(value))

    def fill(self, ids, values):
        """Gives every entity its value. Values added before are kept; a full component
        data takes new values for the same ids in one copy into its live storage."""
        ids, values = np.asarray(ids), np.asarray(values, dtype=np.float64)
        expected, assigned = self.expected_count, self.assigned_count
        if ids.shape != values.shape or ids.ndim != 1:
            raise Error("fill takes one-dimensional ids and values of one length, not %s and %s"
                        % (ids.shape, values.shape))
        if assigned == expected and len(ids) == expected:
            if not np.array_equal(ids, self.ids):
                raise Error("The component %s on the support %s is full: only its values can be "
                            "replaced, for the ids it holds" % (self.component_id, self.support_id))
            self.values[:] = values
            return
        if ids.size and (ids.min() < 0 or ids.max() > 0xFFFFFFFF):
            raise Error("entity ids are unsigned 32-bit values")
        # One call for the whole arrays; the library copies them (all or none).
        ids = np.ascontiguousarray(ids, dtype=np.uint32)
        values = np.ascontiguousarray(values)
        lib.RomSnapshotComponentDataAddValues(
            self._h, ids.ctypes.data_as(POINTER(c_uint32)), values.ctypes.data_as(POINTER(c_double)), len(ids))


class Snapshot(Configurable):
    """One solver run's values (".romsnp"). `Snapshot(configuration)` initialises it from
    a snapshot configuration object or ".romcfg" file."""
    __slots__ = ()
    _factory = "RomFactoryCreateSnapshot"
    _create_and_init = "RomFactoryCreateAndInitSnapshot"
    _initialize = "RomSnapshotInitialize"
    configuration = child_prop("RomSnapshotGetConfiguration", SnapshotCfg, "None before initialisation.")

    @property
    def is_initialized(self):
        return bool(get(self, "RomSnapshotIsInitialized", c_uint32))

    @property
    def is_filled(self):
        return bool(get(self, "RomSnapshotIsFilled", c_uint32))

    def component_data(self, component, support):
        return child(self, "RomSnapshotGetComponentData", ComponentData, component, support)

    def pairs(self):
        """The (component id, support id) pairs of the configuration, in its order."""
        cfg = self.configuration
        pairs = []
        for support in cfg.supports if cfg is not None else ():
            try:
                components = list(cfg.components_of_support(support))
            except Error as failure:
                # how the configuration answers for a support that was given no component
                if str(failure) != "invalid map<K, T> key":
                    raise
                components = []
            pairs += [(component.solver_id, support.solver_id) for component in components]
        return pairs

    def __iter__(self):
        for component, support in self.pairs():
            yield self.component_data(component, support)


class UserPoint(Object):
    """Named parameter values: p["load"] = 1.5, p["load"], "load" in p, p.get(name)."""
    __slots__ = ()
    _factory = "RomFactoryCreateUserPoint"

    def __init__(self, _handle=None, _parent=None, **values):
        super().__init__(_handle, _parent)
        self.update(values)

    def update(self, values=(), **more):
        for name, value in dict(values, **more).items():
            self[name] = value
        return self

    def __setitem__(self, name, value):
        lib.RomPointSetValue(self._h, arg(name), c_double(value))

    def __getitem__(self, name):
        return get(self, "RomPointGetValue", c_double, name)

    def __contains__(self, name):
        return bool(get(self, "RomPointHasValue", c_uint32, name))

    def get(self, name, default=None):
        value = c_double()
        return value.value if lib.RomPointTryGetValue(self._h, arg(name), value) else default

    def clear(self):
        lib.RomPointClear(self._h)

    def copy_to(self, other):
        lib.RomPointCopyTo(self._h, other._h)

    def __eq__(self, other):
        """The library's comparison: every parameter of this point has the same value in other."""
        return isinstance(other, UserPoint) and bool(get(self, "RomPointEquals", c_uint32, other))

    __hash__ = None


class CacheEntry(Object):
    __slots__ = ()
    input_point = child_prop("RomSnapshotCacheEntryGetInputPoint", UserPoint)
    output_point = child_prop("RomSnapshotCacheEntryGetOutputPoint", UserPoint)
    snapshot_file = text_prop("RomSnasphotCacheEntryGetSnapshotFile")


class SnapshotCache(Persistable):
    """Input point -> (output point, snapshot file) of the runs made so far (".romcch")."""
    __slots__ = ()
    _factory = "RomFactoryCreateSnapshotCache"

    def clear(self):
        lib.RomSnapshotCacheClear(self._h)
        self._renewed(False)

    def pull(self, input):
        """The entry whose input point matches `input`, or None."""
        return child(self, "RomSnapshotCachePull", CacheEntry, input)

    def push(self, input, output, snapshot_file):
        """Adds the run unless an entry matches `input` already; whether it was added."""
        return bool(get(self, "RomSnapshotCachePush", c_uint32, input, output, str(snapshot_file)))


class Project(Persistable):
    """A project: an identity saved as ".rompjt"; equal projects are the same project."""
    __slots__ = ()
    _factory = "RomFactoryCreateProject"
    _rebuilds = False

    def __eq__(self, other):
        return isinstance(other, Project) and bool(get(self, "RomProjectComparison", c_uint32, other))

    __hash__ = None


_memcmp = ctypes.CDLL(None).memcmp
_memcmp.argtypes, _memcmp.restype = (c_void_p, c_void_p, c_size_t), ctypes.c_int


def _equal(a, b):
    """Whether two contiguous arrays of one dtype hold the same values, compared as bytes:
    no temporary array, unlike numpy's comparison."""
    return a.shape == b.shape and (a.nbytes == 0 or _memcmp(a.ctypes.data, b.ctypes.data, a.nbytes) == 0)


class ColumnReader:
    """Reads the values of one (component, support) pair from snapshot files, in ascending
    entity id, through one snapshot object reused for every file (one thread at a time)."""

    def __init__(self, component, support):
        self.component, self.support = component, support
        self.snapshot = Snapshot()

    def pair(self, path):
        """(ids, values): views of the file's pair, valid until this reader reads again."""
        try:
            self.snapshot.resume(path)
            data = self.snapshot.component_data(self.component, self.support)
        except Error as failure:
            raise Error("%s: %s" % (path, failure)) from None
        return data.ids, data.values

    def first(self, path):
        """(ids ascending, values in that order) of a first file."""
        ids, values = self.pair(path)
        if len(ids) > 1 and not (ids[1:] > ids[:-1]).all():
            order = np.argsort(ids, kind="stable")
            ids, values = ids[order], values[order]
            if (ids[1:] == ids[:-1]).any():
                raise Error("%s: the component %s on the support %s repeats entity ids"
                            % (path, self.component, self.support))
        return ids.copy(), values.copy()

    def place(self, path, found, values, ids, out):
        """Writes `values` (read from `path` for the entities `found`) into `out` in the
        order of `ids`, which the file must hold."""
        same = len(found) == len(ids)
        if same and _equal(found, ids):
            out[:] = values
            return
        if same:
            order = np.argsort(found, kind="stable")
            same = np.array_equal(found[order], ids)
        if not same:
            raise Error("%s: the component %s on the support %s has other entity ids than the "
                        "first file" % (path, self.component, self.support))
        out[:] = values[order]

    def read_into(self, path, ids, out):
        """Writes the file's values into `out` in the order of `ids`, which the file must hold."""
        self.place(path, *self.pair(path), ids, out)


def snapshot_matrix(files, component, support):
    """(ids, matrix): the entity ids in ascending order and the (entities x files) float64
    matrix of the pair's values, one column per file. Files with another id set are refused.
    While one file's values are copied into the matrix, a helper thread reads the next one
    (the library and the copy both run without the interpreter lock)."""
    files = [os.fspath(path) for path in files]
    if not files:
        raise Error("snapshot_matrix needs at least one file")
    readers = (ColumnReader(component, support), ColumnReader(component, support))
    ids, first = readers[0].first(files[0])
    matrix = np.empty((len(ids), len(files)), order="F")
    matrix[:, 0] = first
    with ThreadPoolExecutor(max_workers=1) as helper:
        following = helper.submit(readers[1].pair, files[1]) if len(files) > 1 else None
        for column in range(1, len(files)):
            found, values = following.result()
            if column + 1 < len(files):  # the other reader, whose views are gone
                following = helper.submit(readers[(column + 1) % 2].pair, files[column + 1])
            try:
                readers[column % 2].place(files[column], found, values, ids, matrix[:, column])
            finally:
                del found, values
    return ids, matrix
