"""Mesh data as numpy views of the library's tables, and the item-by-item mesh builder."""
from ctypes import c_double, c_int32, c_uint32

import numpy as np

from ._core import (Configurable, Error, Object, Persistable, create, as_pointer, checked_array, child, child_prop,
                    container_prop, lib, pointer_address, view)
from ._lib import ELEMENT_KINDS  # (name, type code, node count) of each standard element kind
from .configuration import MeshDataCfg

NODE_COUNTS = np.array([count for _, _, count in ELEMENT_KINDS], dtype=np.int64)
TYPE_CODES = {name: code for name, code, _ in ELEMENT_KINDS}

_CTYPES = {np.dtype(np.float64): c_double, np.dtype(np.int32): c_int32, np.dtype(np.uint32): c_uint32}


class Table:
    """A table of the library: reading gives a numpy view of its live storage (writes go
    straight to the library); assigning a numpy array makes the table borrow it (no copy;
    the array is kept alive as long as the table uses it); `copy_<name>(data, offset=0)`
    copies values into the table."""

    def __init__(self, family, export, dtype, shape):
        self.family, self.export, self.dtype, self.shape = family, export, np.dtype(dtype), shape
        self.ctype = _CTYPES[self.dtype]

    def __set_name__(self, owner, name):
        self.name = name
        table = self

        def copy(obj, data, offset=0):
            table.copy(obj, data, offset)
        copy.__name__ = "copy_" + name
        copy.__doc__ = "Copies `data` into the %s table from entry `offset` on." % name
        setattr(owner, copy.__name__, copy)

    def _what(self, obj):
        return "%s.%s" % (type(obj).__name__, self.name)

    def __get__(self, obj, owner=None):
        if obj is None:
            return self
        address = pointer_address(obj, "Rom%sGet%s" % (self.family, self.export), self.ctype)
        return view(obj, address, self.shape(obj), self.dtype, (obj._handle, self.name))

    def __set__(self, obj, array):
        size = int(np.prod(self.shape(obj)))
        array = checked_array(array, self.dtype, size, self._what(obj), borrow=True)
        # the table's storage until now is freed (when the library owned it) or let go
        obj._keeper.renew("set " + self._what(obj), (obj._handle, self.name))
        getattr(lib, "Rom%sSet%s" % (self.family, self.export))(obj._h, as_pointer(array, self.ctype))
        obj._keeper.borrowed[(obj._handle, self.name)] = array

    def copy(self, obj, data, offset=0):
        size = int(np.prod(self.shape(obj)))
        data = np.asarray(data) if not isinstance(data, np.ndarray) else data
        count = data.size
        if not 0 <= offset or offset + count > size:
            raise Error("%s holds %d values: %d from entry %d do not fit" % (self._what(obj), size, count, offset))
        if count == 0:
            return  # the library reads a count of 0 at offset 0 as the whole table
        data = checked_array(data.reshape(-1), self.dtype, count, self._what(obj), borrow=False)
        getattr(lib, "Rom%sCopy%s" % (self.family, self.export))(
            obj._h, as_pointer(data, self.ctype), c_uint32(offset), c_uint32(count))


class _MeshPart(Object):
    """A part of a mesh data; its table sizes come from the mesh data's configuration."""
    __slots__ = ()

    @property
    def _configuration(self):
        owner = self._parent
        while not isinstance(owner, MeshData):
            owner = owner._parent
        return owner.configuration


class NodeData(_MeshPart):
    __slots__ = ()

    def _sizes(self):
        cfg = self._configuration.node_data
        return cfg.count, cfg.dimension

    ids = Table("NodeData", "Ids", np.int32, lambda self: self._sizes()[:1])
    coordinates = Table("NodeData", "CoordinateTable", np.float64, lambda self: self._sizes())

    def __len__(self):
        return self._sizes()[0]


class StdElementData(_MeshPart):
    __slots__ = ()

    def _sizes(self):
        cfg = self._configuration.element_data.std_element_data
        return cfg.count, cfg.connectivity_table_size

    ids = Table("StdElementData", "Ids", np.int32, lambda self: self._sizes()[:1])
    types = Table("StdElementData", "Types", np.int32, lambda self: self._sizes()[:1])
    connectivity = Table("StdElementData", "ConnectivityTable", np.int32, lambda self: self._sizes()[1:])

    def __len__(self):
        return self._sizes()[0]

    @property
    def offsets(self):
        """Where each element's nodes start in `connectivity`, with the table's end last."""
        types = self.types
        unknown = np.flatnonzero((types < 0) | (types >= len(NODE_COUNTS)))
        if unknown.size:
            raise Error("StdElementData: element %d has the unknown type code %d"
                        % (unknown[0], types[unknown[0]]))
        offsets = np.zeros(len(types) + 1, dtype=np.int64)
        np.cumsum(NODE_COUNTS[types], out=offsets[1:])
        if offsets[-1] != self._sizes()[1]:
            raise Error("StdElementData: the element types take %d connectivity entries, the table holds %d"
                        % (offsets[-1], self._sizes()[1]))
        return offsets

    def element(self, index):
        """The node list of one element, a view of `connectivity`."""
        offsets = self.offsets
        return self.connectivity[offsets[index]:offsets[index + 1]]


def _hops(table):
    """p -> p + 1 + table[p]: from a count to what follows its run; len(table) is the end."""
    end = len(table)
    hop = np.arange(1, end + 2, dtype=np.int64)
    hop[:end] += np.where(table < 0, end, table)
    np.minimum(hop, end, out=hop)
    return hop


def _chains(hop, starts, limits):
    """Every position reached from each start by repeated hops while below its limit,
    sorted: the runs of all chains found in O(n log n) by pointer doubling."""
    keep = starts < limits
    positions, bounds = starts[keep], limits[keep]
    while True:
        following = np.take(hop, positions)
        keep = following < bounds
        if not keep.any():
            return np.sort(positions)
        positions = np.concatenate((positions, following[keep]))
        bounds = np.concatenate((bounds, bounds[keep]))
        hop = np.take(hop, hop)  # twice as far (take gathers faster than indexing)


def _runs_end(hop, starts, counts):
    """Where `counts[i]` hops from `starts[i]` lead, for every i at once (binary lifting)."""
    positions = starts.copy()
    counts = np.clip(counts, 0, len(hop)).astype(np.int64)
    bit = 0
    while (counts >> bit).any():
        chosen = ((counts >> bit) & 1).astype(bool)
        positions[chosen] = np.take(hop, positions[chosen])
        hop = np.take(hop, hop)
        bit += 1
    return positions


class _UserTable(_MeshPart):
    __slots__ = ()
    _kind = None

    def _sizes(self):
        cfg = getattr(self._configuration.element_data.user_element_data, self._kind + "_data")
        return cfg.count, cfg.connectivity_table_size

    def __len__(self):
        return self._sizes()[0]

    def _refuse(self, detail):
        raise Error("%s: the connectivity table does not hold %d %ss back to back: %s"
                    % (type(self).__name__, len(self), self._kind, detail))


class PolygonData(_UserTable):
    """Polygons: each is its node count n followed by its n nodes in `connectivity`."""
    __slots__ = ()
    _kind = "polygon"
    ids = Table("PolygonData", "Ids", np.int32, lambda self: self._sizes()[:1])
    connectivity = Table("PolygonData", "ConnectivityTable", np.int32, lambda self: self._sizes()[1:])

    @property
    def offsets(self):
        """Where each polygon (its node count) starts in `connectivity`."""
        table = self.connectivity
        end = np.array([len(table)], dtype=np.int64)
        starts = _chains(_hops(table), np.zeros(1, dtype=np.int64), end) if len(table) else end[:0]
        if len(starts) != len(self):
            self._refuse("%d found" % len(starts))
        if len(starts) and starts[-1] + 1 + int(table[starts[-1]]) != len(table):
            self._refuse("the last one ends at %d" % (starts[-1] + 1 + int(table[starts[-1]])))
        return starts

    def polygon(self, index):
        """The node list of one polygon, a view of `connectivity`."""
        start = self.offsets[index]
        table = self.connectivity
        return table[start + 1:start + 1 + table[start]]


class PolyhedronData(_UserTable):
    """Polyhedrons: each is its face count F followed by F faces, each its node count n
    followed by its n nodes, in `connectivity`."""
    __slots__ = ()
    _kind = "polyhedron"
    ids = Table("PolyhedronData", "Ids", np.int32, lambda self: self._sizes()[:1])
    connectivity = Table("PolyhedronData", "ConnectivityTable", np.int32, lambda self: self._sizes()[1:])

    def layout(self):
        """(offsets, face_offsets): where each polyhedron (its face count) starts in
        `connectivity`, and where each of their faces (its node count) starts, in order."""
        table = self.connectivity
        size = len(table)
        hop = _hops(table)
        positions = np.arange(size + 1, dtype=np.int64)
        ends = _runs_end(hop, np.minimum(positions + 1, size), np.append(table, 0))
        ends[size] = size
        zero, end = np.zeros(1, dtype=np.int64), np.array([size], dtype=np.int64)
        starts = _chains(ends, zero, end) if size else end[:0]
        if len(starts) != len(self):
            self._refuse("%d found" % len(starts))
        faces = _chains(hop, starts + 1, ends[starts])
        first = np.searchsorted(faces, starts + 1)
        found = np.diff(np.append(first, len(faces)))
        short = np.flatnonzero(found != table[starts])
        if short.size:
            self._refuse("polyhedron %d announces %d faces, %d fit" % (short[0], table[starts[short[0]]], found[short[0]]))
        if len(faces) and faces[-1] + 1 + int(table[faces[-1]]) != size:
            self._refuse("the last face ends at %d" % (faces[-1] + 1 + int(table[faces[-1]])))
        return starts, faces

    @property
    def offsets(self):
        return self.layout()[0]

    def polyhedron(self, index):
        """The faces of one polyhedron, each a view of `connectivity` holding its nodes."""
        starts, faces = self.layout()
        table = self.connectivity
        first = np.searchsorted(faces, starts[index] + 1)
        return [table[f + 1:f + 1 + table[f]] for f in faces[first:first + table[starts[index]]]]


class UserElementData(Object):
    __slots__ = ()
    polygon_data = child_prop("RomUserElementDataGetPolygonData", PolygonData)
    polyhedron_data = child_prop("RomUserElementDataGetPolyhedronData", PolyhedronData)


class ElementData(Object):
    __slots__ = ()
    std_element_data = child_prop("RomElementDataGetStdElementData", StdElementData)
    user_element_data = child_prop("RomElementDataGetUserElementData", UserElementData)


class SupportData(_MeshPart):
    __slots__ = ()

    @property
    def solver_id(self):
        return lib.RomGetSolverId(self._h).decode("utf-8")

    def __len__(self):
        return self._configuration.support(self.solver_id).entity_count

    entities = Table("SupportData", "Entities", np.int32, lambda self: (len(self),))


class MeshData(Configurable):
    """A whole mesh as tables (".rommsh"). `MeshData(configuration)` initialises it from a
    mesh data configuration object or ".romcfg" file."""
    __slots__ = ()
    _factory = "RomFactoryCreateMeshData"
    _create_and_init = "RomFactoryCreateAndInitMeshData"
    _initialize = "RomMeshDataInitialize"
    configuration = child_prop("RomMeshDataGetConfiguration", MeshDataCfg)
    node_data = child_prop("RomMeshDataGetNodeData", NodeData)
    element_data = child_prop("RomMeshDataGetElementData", ElementData)
    support_datas = container_prop("RomMeshDataGetSupportDatas", SupportData)

    def support_data(self, solver_id):
        return child(self, "RomMeshDataGetSupportData", SupportData, solver_id)

    @property
    def std_element_data(self):
        return self.element_data.std_element_data

    @property
    def polygon_data(self):
        return self.element_data.user_element_data.polygon_data

    @property
    def polyhedron_data(self):
        return self.element_data.user_element_data.polyhedron_data

    def to_meshio(self, indices: bool = False) -> "meshio.Mesh":  # noqa: F821
        """The mesh as a `meshio.Mesh` (see `tervikrom.meshio.to_meshio`)."""
        from ._meshio import to_meshio
        return to_meshio(self, indices)


class _Entity(Object):
    """An item the builder just added; the next Add of the same kind re-points it."""
    __slots__ = ()

    def set_id(self, id):
        lib.RomSupportEntitySetId(self._h, c_uint32(id))


class Node(_Entity):
    __slots__ = ()

    def set_coordinates(self, coordinates):
        for index, value in enumerate(coordinates):
            lib.RomNodeSetCoordinate(self._h, c_uint32(index), c_double(value))


class StdElement(_Entity):
    __slots__ = ()

    def set_nodes(self, nodes):
        for index, node in enumerate(nodes):
            lib.RomStdElementSetConnectivity(self._h, c_uint32(index), c_uint32(node))


class Polygon(_Entity):
    __slots__ = ()

    def set_nodes(self, nodes):
        lib.RomPolygonSetNodeCount(self._h, c_uint32(len(nodes)))
        for index, node in enumerate(nodes):
            lib.RomPolygonSetConnectivity(self._h, c_uint32(index), c_uint32(node))


class Polyhedron(_Entity):
    __slots__ = ()

    def set_faces(self, faces):
        lib.RomPolyhedronSetFaceCount(self._h, c_uint32(len(faces)))
        for face, nodes in enumerate(faces):
            lib.RomPolyhedronSetNodeCount(self._h, c_uint32(face), c_uint32(len(nodes)))
            for index, node in enumerate(nodes):
                lib.RomPolyhedronSetConnectivity(self._h, c_uint32(face), c_uint32(index), c_uint32(node))


class Support(Object):
    __slots__ = ()

    def set_entities(self, ids, first=0):
        for index, id in enumerate(ids, first):
            lib.RomSupportSetEntityId(self._h, c_uint32(index), c_uint32(id))


class Mesh(Persistable):
    """The mesh builder: `Mesh(path)` initialises it from a mesh data configuration file;
    each add_... checks the configured sizes and returns the item's accessor. Meant for
    meshes made item by item; from numpy arrays, fill a MeshData's tables instead."""
    __slots__ = ()

    def __init__(self, configuration):
        super().__init__(create("RomFactoryCreateAndInitMesh", str(configuration)))

    def add_node(self, id=None, coordinates=()):
        node = child(self, "RomMeshAddNode", Node)
        if id is not None:
            node.set_id(id)
        node.set_coordinates(coordinates)
        return node

    def add_element(self, kind, id=None, nodes=()):
        """Adds a standard element of `kind` ("Hex8", ...: see ELEMENT_KINDS)."""
        if kind not in TYPE_CODES:
            raise Error("unknown element kind %r; the kinds are %s" % (kind, ", ".join(TYPE_CODES)))
        element = child(self, "RomMeshAdd" + kind, StdElement)
        if id is not None:
            element.set_id(id)
        element.set_nodes(nodes)
        return element

    def add_polygon(self, id=None, nodes=None):
        polygon = child(self, "RomMeshAddPolygon", Polygon)
        if id is not None:
            polygon.set_id(id)
        if nodes is not None:
            polygon.set_nodes(nodes)
        return polygon

    def add_polyhedron(self, id=None, faces=None):
        polyhedron = child(self, "RomMeshAddPolyhedron", Polyhedron)
        if id is not None:
            polyhedron.set_id(id)
        if faces is not None:
            polyhedron.set_faces(faces)
        return polyhedron

    def add_support(self, solver_id, entities=()):
        support = child(self, "RomMeshAddSupport", Support, solver_id)
        support.set_entities(entities)
        return support
