"""Mesh data as numpy views of the library's tables, and the item-by-item mesh builder."""
from __future__ import annotations

import os
from ctypes import c_double, c_int32, c_uint32
from typing import Any, List, Optional, Sequence, Tuple

import numpy as np

from ._core import (Configurable, Object, PathLike, Persistable, as_pointer, checked_array, child,
                    child_prop, container_prop, count, create, integer, integers, lib, name_arg, pointer_address, text,
                    view)
from ._errors import ArgumentError, Error, read_failure, unknown_name
from ._files import check_size, document_kind
from ._lib import ELEMENT_KINDS  # (name, type code, node count) of each standard element kind
from .configuration import MeshDataCfg, element_counts

NODE_COUNTS = np.array([count for _, _, count in ELEMENT_KINDS], dtype=np.int64)
TYPE_CODES = {name: code for name, code, _ in ELEMENT_KINDS}

_CTYPES = {np.dtype(np.float64): c_double, np.dtype(np.int32): c_int32, np.dtype(np.uint32): c_uint32}


class Table:
    """A table of the library: reading gives a numpy view of its live storage (writes go
    straight to the library); assigning a numpy array makes the table borrow it (no copy;
    the array is kept alive as long as the table uses it); `copy_<name>(data, offset=0)`
    copies values into the table."""

    def __init__(self, family: str, export: str, dtype: Any, shape: Any, doc: str) -> None:
        self.family, self.export, self.dtype, self.shape = family, export, np.dtype(dtype), shape
        self.ctype = _CTYPES[self.dtype]
        self.__doc__ = doc + (" Assigning a C-contiguous writable %s array of that shape makes the table "
                              "borrow it." % self.dtype.name)

    def __set_name__(self, owner: type, name: str) -> None:
        self.name = name
        table = self

        def copy(obj: Any, data: Any, offset: int = 0) -> None:
            table.copy(obj, data, offset)
        copy.__name__ = copy.__qualname__ = "copy_" + name
        copy.__doc__ = ("Copies `data` (%s values, or integral ones for an integer table) into the %s table "
                        "from entry `offset` on; ArgumentError when they do not fit." % (self.dtype.name, name))
        setattr(owner, copy.__name__, copy)

    def _what(self, obj):
        return "%s.%s" % (type(obj).__name__, self.name)

    def __get__(self, obj: Any, owner: Optional[type] = None) -> np.ndarray:
        if obj is None:
            return self
        address = pointer_address(obj, "Rom%sGet%s" % (self.family, self.export), self.ctype)
        return view(obj, address, self.shape(obj), self.dtype, (obj._handle, self.name))

    def __set__(self, obj: Any, array: np.ndarray) -> None:
        size = int(np.prod(self.shape(obj)))
        array = checked_array(array, self.dtype, size, self._what(obj), borrow=True)
        # the table's storage until now is freed (when the library owned it) or let go
        obj._keeper.renew("set " + self._what(obj), (obj._handle, self.name))
        getattr(lib, "Rom%sSet%s" % (self.family, self.export))(obj._h, as_pointer(array, self.ctype))
        obj._keeper.borrowed[(obj._handle, self.name)] = array

    def copy(self, obj: Any, data: Any, offset: int = 0) -> None:
        """Copies `data` into the table of `obj` from entry `offset` on."""
        size = int(np.prod(self.shape(obj)))
        data = np.asarray(data) if not isinstance(data, np.ndarray) else data
        count = data.size
        offset = integer(offset, "the offset")
        if offset + count > size:
            raise ArgumentError("%s holds %d values: %d from entry %d do not fit"
                                % (self._what(obj), size, count, offset))
        if count == 0:
            return  # the library reads a count of 0 at offset 0 as the whole table
        if self.dtype.kind in "iu":
            data = integers(data, self.dtype, self._what(obj))
        elif data.dtype.kind in "iuf":
            data = data.astype(self.dtype, copy=False)
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
    """The nodes: their ids and coordinates."""
    __slots__ = ()

    def _sizes(self):
        cfg = self._configuration.node_data
        return cfg.count, cfg.dimension

    ids = Table("NodeData", "Ids", np.int32, lambda self: self._sizes()[:1],
                "The node ids, an int32 view (nodes,) of the live table.")
    coordinates = Table("NodeData", "CoordinateTable", np.float64, lambda self: self._sizes(),
                        "The coordinates, a float64 view (nodes, dimension) of the live table, in the mesh's unit.")

    def __len__(self) -> int:
        return self._sizes()[0]

    def _describe(self) -> str:
        return ": %s in %d-D" % (count(self._sizes()[0], "node"), self._sizes()[1])


class StdElementData(_MeshPart):
    """The standard elements: ids, type codes (ELEMENT_KINDS) and their nodes back to back."""
    __slots__ = ()

    def _sizes(self):
        cfg = self._configuration.element_data.std_element_data
        return cfg.count, cfg.connectivity_table_size

    ids = Table("StdElementData", "Ids", np.int32, lambda self: self._sizes()[:1],
                "The element ids, an int32 view (elements,) of the live table.")
    types = Table("StdElementData", "Types", np.int32, lambda self: self._sizes()[:1],
                  "The element type codes (tervikrom.ELEMENT_KINDS), an int32 view (elements,) of the live table.")
    connectivity = Table("StdElementData", "ConnectivityTable", np.int32, lambda self: self._sizes()[1:],
                         "The elements' nodes back to back, an int32 view of the live table.")

    def __len__(self) -> int:
        return self._sizes()[0]

    def _describe(self) -> str:
        return ": %s, %s" % (count(self._sizes()[0], "element"), count(self._sizes()[1], "connectivity entry"))

    @property
    def offsets(self) -> np.ndarray:
        """Where each element's nodes start in `connectivity`, with the table's end last
        (int64, elements + 1). Raises Error for an unknown type code or a table whose size
        disagrees with the types."""
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

    def element(self, index: int) -> np.ndarray:
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

    def __len__(self) -> int:
        return self._sizes()[0]

    def _describe(self) -> str:
        return ": %s, %s" % (count(self._sizes()[0], self._kind), count(self._sizes()[1], "connectivity entry"))

    def _refuse(self, detail):
        raise Error("%s: the connectivity table does not hold %d %ss back to back: %s"
                    % (type(self).__name__, len(self), self._kind, detail))


class PolygonData(_UserTable):
    """Polygons: each is its node count n followed by its n nodes in `connectivity`."""
    __slots__ = ()
    _kind = "polygon"
    ids = Table("PolygonData", "Ids", np.int32, lambda self: self._sizes()[:1],
                "The polygon ids, an int32 view (polygons,) of the live table.")
    connectivity = Table("PolygonData", "ConnectivityTable", np.int32, lambda self: self._sizes()[1:],
                         "The polygons back to back, each its node count then its nodes, an int32 view.")

    @property
    def offsets(self) -> np.ndarray:
        """Where each polygon (its node count) starts in `connectivity` (int64, polygons).
        Raises Error when the table does not hold the configured polygons back to back."""
        table = self.connectivity
        end = np.array([len(table)], dtype=np.int64)
        starts = _chains(_hops(table), np.zeros(1, dtype=np.int64), end) if len(table) else end[:0]
        if len(starts) != len(self):
            self._refuse("%d found" % len(starts))
        if len(starts) and starts[-1] + 1 + int(table[starts[-1]]) != len(table):
            self._refuse("the last one ends at %d" % (starts[-1] + 1 + int(table[starts[-1]])))
        return starts

    def polygon(self, index: int) -> np.ndarray:
        """The node list of one polygon, a view of `connectivity`."""
        start = self.offsets[index]
        table = self.connectivity
        return table[start + 1:start + 1 + table[start]]


class PolyhedronData(_UserTable):
    """Polyhedrons: each is its face count F followed by F faces, each its node count n
    followed by its n nodes, in `connectivity`."""
    __slots__ = ()
    _kind = "polyhedron"
    ids = Table("PolyhedronData", "Ids", np.int32, lambda self: self._sizes()[:1],
                "The polyhedron ids, an int32 view (polyhedrons,) of the live table.")
    connectivity = Table("PolyhedronData", "ConnectivityTable", np.int32, lambda self: self._sizes()[1:],
                         "The polyhedrons back to back, an int32 view: each its face count, then each face "
                         "as its node count and its nodes.")

    def layout(self) -> Tuple[np.ndarray, np.ndarray]:
        """(offsets, face_offsets): where each polyhedron (its face count) starts in
        `connectivity`, and where each of their faces (its node count) starts, in order
        (int64). Raises Error when the table does not hold the configured polyhedrons."""
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
    def offsets(self) -> np.ndarray:
        """Where each polyhedron (its face count) starts in `connectivity` (int64)."""
        return self.layout()[0]

    def polyhedron(self, index: int) -> List[np.ndarray]:
        """The faces of one polyhedron, each a view of `connectivity` holding its nodes."""
        starts, faces = self.layout()
        table = self.connectivity
        first = np.searchsorted(faces, starts[index] + 1)
        return [table[f + 1:f + 1 + table[f]] for f in faces[first:first + table[starts[index]]]]


class UserElementData(Object):
    """The polygons and polyhedrons."""
    __slots__ = ()
    polygon_data = child_prop("RomUserElementDataGetPolygonData", PolygonData, "The polygons.")
    polyhedron_data = child_prop("RomUserElementDataGetPolyhedronData", PolyhedronData, "The polyhedrons.")


class ElementData(Object):
    """The standard elements and the user elements."""
    __slots__ = ()
    std_element_data = child_prop("RomElementDataGetStdElementData", StdElementData, "The standard elements.")
    user_element_data = child_prop("RomElementDataGetUserElementData", UserElementData,
                                   "The polygons and polyhedrons.")


class SupportData(_MeshPart):
    """The entities of one support: node or element ids."""
    __slots__ = ()

    @property
    def solver_id(self) -> str:
        """The support's solver id."""
        return text(lib.RomGetSolverId(self._h))

    def __len__(self) -> int:
        return self._configuration.support(self.solver_id).entity_count

    def _describe(self) -> str:
        return ' "%s": %s' % (self.solver_id, count(len(self), "entity"))

    entities = Table("SupportData", "Entities", np.int32, lambda self: (len(self),),
                     "The ids of the support's entities, an int32 view (entities,) of the live table.")


class MeshData(Configurable):
    """A whole mesh as tables (".rommsh"). `MeshData(configuration)` initialises it from a
    mesh data configuration object or ".romcfg" file; `MeshData()` is empty until
    `initialize()` or `resume()`."""
    __slots__ = ()
    _factory = "RomFactoryCreateMeshData"
    _create_and_init = "RomFactoryCreateAndInitMeshData"
    _initialize = "RomMeshDataInitialize"
    _kind = "mesh"
    _configuration_kind = "mesh data configuration"
    configuration = child_prop("RomMeshDataGetConfiguration", MeshDataCfg,
                               "The mesh data configuration the tables are sized by.")
    node_data = child_prop("RomMeshDataGetNodeData", NodeData, "The nodes.")
    element_data = child_prop("RomMeshDataGetElementData", ElementData, "The elements.")
    support_datas = container_prop("RomMeshDataGetSupportDatas", SupportData, "Every support's entities (SupportData).")

    def support_data(self, solver_id: str) -> SupportData:
        """The entities of the support of that solver id. Raises UnknownNameError (a
        KeyError) naming the supports there are."""
        try:
            return child(self, "RomMeshDataGetSupportData", SupportData, name_arg(solver_id, "a solver id"))
        except Error as failure:
            raise unknown_name(failure, "supports", [data.solver_id for data in self.support_datas]) from None

    @property
    def std_element_data(self) -> StdElementData:
        """The standard elements (a shortcut through `element_data`)."""
        return self.element_data.std_element_data

    @property
    def polygon_data(self) -> PolygonData:
        """The polygons (a shortcut through `element_data`)."""
        return self.element_data.user_element_data.polygon_data

    @property
    def polyhedron_data(self) -> PolyhedronData:
        """The polyhedrons (a shortcut through `element_data`)."""
        return self.element_data.user_element_data.polyhedron_data

    def _describe(self) -> str:
        try:
            cfg = self.configuration
        except Error:  # the library's answer before initialisation
            cfg = None
        if cfg is None:
            return "%s (not initialised)" % self._file_description()
        nodes = cfg.node_data
        parts = (["%s in %d-D" % (count(nodes.count, "node"), nodes.dimension)] + element_counts(cfg.element_data)
                 + [count(len(cfg.supports), "support")])
        return "%s: %s%s" % (self._file_description(), ", ".join(parts), ' (unit "%s")' % cfg.unit if cfg.unit else "")

    def to_meshio(self, indices: bool = False) -> "meshio.Mesh":  # noqa: F821
        """The mesh as a `meshio.Mesh` (see `tervikrom.meshio.to_meshio`)."""
        from ._meshio import to_meshio
        return to_meshio(self, indices)


def _index(value: Any, what: str) -> c_uint32:
    return c_uint32(integer(value, what))


class _Entity(Object):
    """An item the builder just added; the next Add of the same kind re-points it."""
    __slots__ = ()

    def set_id(self, id: int) -> None:
        """Gives the item its id (a whole number in [0, 2**32 - 1])."""
        lib.RomSupportEntitySetId(self._h, _index(id, "an id"))


class Node(_Entity):
    """The node the builder just added."""
    __slots__ = ()

    def set_coordinates(self, coordinates: Sequence[float]) -> None:
        """Sets its coordinates, in the mesh's unit."""
        for index, value in enumerate(coordinates):
            lib.RomNodeSetCoordinate(self._h, c_uint32(index), c_double(value))


class StdElement(_Entity):
    """The standard element the builder just added."""
    __slots__ = ()

    def set_nodes(self, nodes: Sequence[int]) -> None:
        """Sets its nodes, as many as its kind has."""
        for index, node in enumerate(nodes):
            lib.RomStdElementSetConnectivity(self._h, c_uint32(index), _index(node, "a node"))


class Polygon(_Entity):
    """The polygon the builder just added."""
    __slots__ = ()

    def set_nodes(self, nodes: Sequence[int]) -> None:
        """Sets its node count and its nodes."""
        lib.RomPolygonSetNodeCount(self._h, c_uint32(len(nodes)))
        for index, node in enumerate(nodes):
            lib.RomPolygonSetConnectivity(self._h, c_uint32(index), _index(node, "a node"))


class Polyhedron(_Entity):
    """The polyhedron the builder just added."""
    __slots__ = ()

    def set_faces(self, faces: Sequence[Sequence[int]]) -> None:
        """Sets its faces, each a sequence of nodes."""
        lib.RomPolyhedronSetFaceCount(self._h, c_uint32(len(faces)))
        for face, nodes in enumerate(faces):
            lib.RomPolyhedronSetNodeCount(self._h, c_uint32(face), c_uint32(len(nodes)))
            for index, node in enumerate(nodes):
                lib.RomPolyhedronSetConnectivity(self._h, c_uint32(face), c_uint32(index), _index(node, "a node"))


class Support(Object):
    """The support the builder just added."""
    __slots__ = ()

    def set_entities(self, ids: Sequence[int], first: int = 0) -> None:
        """Sets its entity ids from position `first` on."""
        for index, id in enumerate(ids, integer(first, "the first position")):
            lib.RomSupportSetEntityId(self._h, c_uint32(index), _index(id, "an entity id"))


class Mesh(Persistable):
    """The mesh builder: `Mesh(path)` initialises it from a mesh data configuration file;
    each add_... checks the configured sizes and returns the item's accessor. Meant for
    meshes made item by item; from numpy arrays, fill a MeshData's tables instead."""
    __slots__ = ()
    _kind = "mesh"

    def __init__(self, configuration: PathLike) -> None:
        path = os.fspath(configuration)
        check_size(path)
        try:
            handle = create("RomFactoryCreateAndInitMesh", path)
        except Error as failure:
            raise read_failure(failure, path, "mesh data configuration", document_kind) from None
        super().__init__(handle)

    def _describe(self) -> str:
        return self._file_description()

    def add_node(self, id: Optional[int] = None, coordinates: Sequence[float] = ()) -> Node:
        """Adds a node with that id and coordinates and returns it."""
        node = child(self, "RomMeshAddNode", Node)
        if id is not None:
            node.set_id(id)
        node.set_coordinates(coordinates)
        return node

    def add_element(self, kind: str, id: Optional[int] = None, nodes: Sequence[int] = ()) -> StdElement:
        """Adds a standard element of `kind` ("Hex8", ...: see ELEMENT_KINDS) and returns it."""
        if kind not in TYPE_CODES:
            raise ArgumentError("unknown element kind %r; the kinds are %s" % (kind, ", ".join(TYPE_CODES)))
        element = child(self, "RomMeshAdd" + kind, StdElement)
        if id is not None:
            element.set_id(id)
        element.set_nodes(nodes)
        return element

    def add_polygon(self, id: Optional[int] = None, nodes: Optional[Sequence[int]] = None) -> Polygon:
        """Adds a polygon and returns it."""
        polygon = child(self, "RomMeshAddPolygon", Polygon)
        if id is not None:
            polygon.set_id(id)
        if nodes is not None:
            polygon.set_nodes(nodes)
        return polygon

    def add_polyhedron(self, id: Optional[int] = None, faces: Optional[Sequence[Sequence[int]]] = None) -> Polyhedron:
        """Adds a polyhedron and returns it."""
        polyhedron = child(self, "RomMeshAddPolyhedron", Polyhedron)
        if id is not None:
            polyhedron.set_id(id)
        if faces is not None:
            polyhedron.set_faces(faces)
        return polyhedron

    def add_support(self, solver_id: str, entities: Sequence[int] = ()) -> Support:
        """Adds the support of that solver id with its entity ids and returns it."""
        support = child(self, "RomMeshAddSupport", Support, name_arg(solver_id, "a solver id"))
        support.set_entities(entities)
        return support
