"""The implementation of tervikrom.meshio (see there); imported with the package, so that
the format is registered with meshio, without importing meshio itself.

The element kinds come from the library's one list (its manifest): each kind's VTK cell
type and the nodes that cell takes; the meshio cell type and node order follow from meshio's
own VTK tables. The library's node order is VTK's, except that a beam's last node (which
orients it) is left out of its cell.
"""
from __future__ import annotations

import argparse
import importlib.abc
import importlib.util
import os
import sys
import warnings
from typing import TYPE_CHECKING, Any, Callable, Dict, List, NamedTuple, Optional, Sequence, Tuple

import numpy as np

from . import _lib
from ._lib import Error
from .configuration import MeshDataCfg, SetupCfg
from .mesh import MeshData

if TYPE_CHECKING:  # meshio is imported when first needed
    import meshio as meshio_module

FORMAT = "tervikrom"
EXTENSION = ".rommsh"
NODE_ENTITIES = 1  # the entity type code of node supports: `tervikrom export` puts their values on the points
ELEMENT_ENTITIES = 2  # that of element supports: on the cells

# Debian's meshio 5.0.0 reads a Gmsh Prism15 with Gmsh's corner order (the triangle 0-1-2
# turned towards 3-4-5) but VTK's mid-edge order: gmsh's Prism15 in VTK's order, checked
# with Gmsh's meshes by the tests. The correction is worked out from meshio's own table,
# so it vanishes once meshio reads the prism in VTK's order.
_GMSH_IN_VTK_ORDER = {"wedge15": [0, 2, 1, 3, 5, 4, 7, 9, 6, 13, 14, 12, 8, 11, 10]}


class Kind(NamedTuple):
    """A standard element kind: its library name and type code, its node count, its VTK cell
    (type and the number of its first nodes the cell takes) and meshio's name of that cell,
    with `meshio_order`, the library's node of each meshio node (None: the same order)."""

    name: str
    type: int
    node_count: int
    vtk_type: int
    vtk_nodes: int
    meshio_type: Optional[str]
    meshio_order: Optional[Tuple[int, ...]]


def _kinds() -> Tuple[Kind, ...]:
    import meshio._vtk_common as vtk_common
    manifest, _ = _lib._read_manifest(_lib.LIBRARY_PATH, _lib.HEADER_PATH)
    kinds = []
    for kind in manifest["elementKinds"]:
        vtk_type = kind["vtkType"]
        order = vtk_common.vtk_to_meshio_order(vtk_type)
        kinds.append(Kind(kind["name"], kind["type"], kind["nodeCount"], vtk_type, kind["vtkNodes"],
                          vtk_common.vtk_to_meshio_type.get(vtk_type),
                          None if order is None else tuple(int(node) for node in order)))
    return tuple(kinds)


_KINDS: Optional[Tuple[Kind, ...]] = None


def kinds() -> Tuple[Kind, ...]:
    """The element kinds in type-code order, with their VTK cells and meshio names."""
    global _KINDS
    if _KINDS is None:
        _KINDS = _kinds()
    return _KINDS


def _by_meshio_type() -> Dict[str, Kind]:
    """The kind each meshio cell type imports as: the one whose cell takes all its nodes."""
    return {kind.meshio_type: kind for kind in kinds() if kind.meshio_type and kind.vtk_nodes == kind.node_count}


def _positions(ids: np.ndarray, wanted: np.ndarray, what: str) -> np.ndarray:
    """The index in `ids` of each of `wanted` (any shape); Error for one that is not there."""
    wanted = np.asarray(wanted, dtype=np.int64)
    if len(ids) == 0:
        if wanted.size:
            raise Error("%s names %d, and there is none" % (what, wanted.flat[0]))
        return wanted
    first = int(ids[0])
    if int(ids[-1]) - first == len(ids) - 1 and np.array_equal(ids, np.arange(first, first + len(ids))):
        positions = wanted - first
        bad = (positions < 0) | (positions >= len(ids))
    else:
        order = np.argsort(ids, kind="stable")
        ordered = ids[order]
        slots = np.minimum(np.searchsorted(ordered, wanted), len(ids) - 1)
        bad = ordered[slots] != wanted
        positions = order[slots]
    if bad.any():
        raise Error("%s names %d, which is not one of the ids" % (what, wanted[bad].flat[0]))
    return positions


def _runs(values: np.ndarray) -> List[Tuple[int, int]]:
    """(start, end) of each run of equal consecutive values."""
    if len(values) == 0:
        return []
    starts = np.concatenate(([0], np.flatnonzero(values[1:] != values[:-1]) + 1, [len(values)]))
    return list(zip(starts[:-1].tolist(), starts[1:].tolist()))


# ---- .rommsh -> meshio ---------------------------------------------------------------

def to_meshio(mesh: MeshData, indices: bool = False) -> "meshio_module.Mesh":
    """The mesh as a `meshio.Mesh`: points (nodes x dimension, float64) with point data
    "NodeId"; cell blocks in table order (runs of one kind, then polygons of one node count,
    then polyhedra of one node count, as meshio's "polyhedron<n>" lists of faces) with cell
    data "ElementId"; each support as a point set (entity type 1) or a cell set (any other),
    named by its solver id (a support whose entities are not all nodes, or elements, is left
    out with a warning). `indices`: connectivity holds node indices (from 0), not ids.
    Raises Error for an unknown type code or a reference that names no node."""
    import meshio
    _complete(meshio)
    node_ids = np.asarray(mesh.node_data.ids)
    points = np.array(mesh.node_data.coordinates)

    def nodes(references: np.ndarray, what: str) -> np.ndarray:
        if not indices:
            return _positions(node_ids, references, what + " (by node id)")
        references = np.asarray(references, dtype=np.int64)
        bad = (references < 0) | (references >= len(node_ids))
        if bad.any():
            raise Error("%s names node index %d of %d nodes" % (what, references[bad].flat[0], len(node_ids)))
        return references

    blocks: List[Tuple[str, Any]] = []
    cell_ids: List[np.ndarray] = []
    configuration = mesh.configuration.element_data
    if configuration.std_element_data is not None and len(mesh.std_element_data):
        std = mesh.std_element_data
        types, offsets, ids = np.asarray(std.types), std.offsets, np.asarray(std.ids)
        connectivity = nodes(std.connectivity, "the standard element connectivity")
        table = kinds()
        for start, end in _runs(types):
            kind = table[types[start]]
            if kind.meshio_type is None:
                raise Error("meshio has no cell for the element kind %s (VTK cell type %d)" % (kind.name, kind.vtk_type))
            cells = connectivity[offsets[start]:offsets[end]].reshape(end - start, kind.node_count)[:, :kind.vtk_nodes]
            blocks.append((kind.meshio_type, cells if kind.meshio_order is None else cells[:, kind.meshio_order]))
            cell_ids.append(ids[start:end])
    user = configuration.user_element_data
    if user is not None and user.polygon_data is not None and len(mesh.polygon_data):
        polygons = mesh.polygon_data
        table, starts, ids = np.asarray(polygons.connectivity), polygons.offsets, np.asarray(polygons.ids)
        counts = table[starts]
        for start, end in _runs(counts):
            where = starts[start:end, None] + 1 + np.arange(counts[start])
            blocks.append(("polygon", nodes(table[where], "the polygon connectivity")))
            cell_ids.append(ids[start:end])
    if user is not None and user.polyhedron_data is not None and len(mesh.polyhedron_data):
        polyhedra = mesh.polyhedron_data
        ids, table = np.asarray(polyhedra.ids), np.asarray(polyhedra.connectivity)
        starts, faces = polyhedra.layout()
        firsts = np.searchsorted(faces, starts + 1)
        cells = [[nodes(table[face + 1:face + 1 + table[face]], "the polyhedron connectivity")
                  for face in faces[first:first + table[start]]] for start, first in zip(starts, firsts)]
        sizes = np.array([len(np.unique(np.concatenate(faces))) for faces in cells])
        for start, end in _runs(sizes):
            blocks.append(("polyhedron%d" % sizes[start], cells[start:end]))
            cell_ids.append(ids[start:end])

    point_sets, cell_sets = {}, {}
    all_cell_ids = np.concatenate(cell_ids) if cell_ids else np.zeros(0, dtype=np.int32)
    bounds = np.cumsum([0] + [len(block) for block in cell_ids])
    for support in mesh.configuration.supports:
        entities = np.asarray(mesh.support_data(support.solver_id).entities)
        nodal = support.entities_type == NODE_ENTITIES
        try:
            found = _positions(node_ids if nodal else all_cell_ids, entities,
                               "the support %s (entity type %d)" % (support.solver_id, support.entities_type))
        except Error as failure:
            warnings.warn("%s: left out of meshio's %s sets" % (failure, "point" if nodal else "cell"), stacklevel=2)
            continue
        if nodal:
            point_sets[support.solver_id] = found
        else:
            found = np.sort(found)
            cell_sets[support.solver_id] = [found[(found >= low) & (found < high)] - low
                                            for low, high in zip(bounds[:-1], bounds[1:])]
    return meshio.Mesh(points, blocks, point_data={"NodeId": node_ids.copy()},
                       cell_data={"ElementId": [block.copy() for block in cell_ids]},
                       point_sets=point_sets, cell_sets=cell_sets)


# ---- meshio -> .rommsh ---------------------------------------------------------------

def _from_gmsh(mesh: "meshio_module.Mesh") -> bool:
    """Whether meshio's Gmsh reader made the mesh (it marks points and cells with gmsh tags)."""
    return any(key.startswith("gmsh:") for key in list(mesh.point_data) + list(mesh.cell_data))


def _gmsh_correction(cell_type: str) -> Optional[np.ndarray]:
    """The columns that put meshio's reading of a Gmsh cell into the library's order."""
    if cell_type not in _GMSH_IN_VTK_ORDER:
        return None
    from meshio.gmsh.common import _gmsh_to_meshio_order
    wanted = np.array(_GMSH_IN_VTK_ORDER[cell_type])
    meshio_order = _gmsh_to_meshio_order(cell_type, np.arange(len(wanted))[None, :])[0]
    correction = np.argsort(meshio_order)[wanted]
    return None if np.array_equal(correction, np.arange(len(wanted))) else correction


class _Parts:
    """The element tables being made from meshio's blocks, and each block's element ids."""

    def __init__(self) -> None:
        self.types: List[np.ndarray] = []
        self.connectivity: List[np.ndarray] = []
        self.std_ids: List[np.ndarray] = []
        self.polygons: List[np.ndarray] = []
        self.polygon_ids: List[np.ndarray] = []
        self.polyhedra: List[np.ndarray] = []
        self.polyhedron_ids: List[np.ndarray] = []
        self.block_ids: List[np.ndarray] = []  # meshio's order
        self.block_nodes: List[Callable[[np.ndarray], np.ndarray]] = []  # node ids of some cells of a block


def _counted(lists: Sequence[np.ndarray]) -> np.ndarray:
    return np.concatenate([np.concatenate(([len(nodes)], nodes)) for nodes in lists]) if len(lists) else np.zeros(0)


def _ascending(ids: np.ndarray) -> bool:
    return len(ids) < 2 or bool(np.all(ids[1:] > ids[:-1]))


def _node_ids_of(cells: Any, node_ids: np.ndarray, first: Optional[int], cell_type: str) -> np.ndarray:
    """The node ids of meshio's point indices; ids that ascend by one from `first` are the
    indices shifted (no gather, no 64-bit copy). Raises Error for an index naming no point."""
    cells = np.asarray(cells)
    if cells.size:
        low, high = int(cells.min()), int(cells.max())
        if low < 0 or high >= len(node_ids):
            raise Error("meshio's cells of type %r name the point %d; the mesh has the points 0 to %d"
                        % (cell_type, low if low < 0 else high, len(node_ids) - 1))
    if first is None:
        return node_ids[cells]
    return np.add(cells, first, out=np.empty(cells.shape, np.int32), casting="unsafe")


def _parts(mesh: "meshio_module.Mesh", node_ids: np.ndarray, first: Optional[int]) -> _Parts:
    by_type = _by_meshio_type()
    gmsh = _from_gmsh(mesh)
    given = mesh.cell_data.get("ElementId")
    parts, next_id = _Parts(), 1
    for number, block in enumerate(mesh.cells):
        count = len(block.data)
        if given is not None:
            ids = np.asarray(given[number]).astype(np.int32).reshape(-1)
        else:
            ids = np.arange(next_id, next_id + count, dtype=np.int32)
        next_id += count
        parts.block_ids.append(ids)
        if block.type == "polygon":
            data = _node_ids_of(block.data, node_ids, first, block.type)
            parts.polygons.append(np.column_stack((np.full(count, data.shape[1]), data)).reshape(-1))
            parts.polygon_ids.append(ids)
            parts.block_nodes.append(lambda cells, data=data: data[cells].reshape(-1))
        elif block.type.startswith("polyhedron"):
            faces = [[node_ids[np.asarray(face, dtype=np.int64)] for face in cell] for cell in block.data]
            parts.polyhedra += [np.concatenate(([len(cell)], _counted(cell))) for cell in faces]
            parts.polyhedron_ids.append(ids)
            parts.block_nodes.append(lambda cells, faces=faces: np.concatenate(
                [face for cell in cells for face in faces[cell]]) if len(cells) else np.zeros(0, dtype=np.int32))
        else:
            kind = by_type.get(block.type)
            if kind is None:
                known = ", ".join(sorted(set(by_type) | {"polygon", "polyhedron<n>"}))
                raise Error("meshio's cells of type %r have no element kind here; the kinds take: %s"
                            % (block.type, known))
            data = np.asarray(block.data)
            correction = _gmsh_correction(block.type) if gmsh else None
            if correction is not None:  # in place of meshio's order
                data = data[:, correction]
            elif kind.meshio_order is not None:
                data = data[:, np.argsort(kind.meshio_order)]
            data = _node_ids_of(data, node_ids, first, block.type)
            parts.types.append(np.full(count, kind.type, dtype=np.int32))
            parts.connectivity.append(data.reshape(-1))
            parts.std_ids.append(ids)
            parts.block_nodes.append(lambda cells, data=data: data[cells].reshape(-1))
    return parts


def _joined(arrays: Sequence[np.ndarray]) -> np.ndarray:
    if len(arrays) == 1:
        return np.ascontiguousarray(arrays[0].reshape(-1), dtype=np.int32)
    return np.ascontiguousarray(np.concatenate(arrays), dtype=np.int32) if arrays else np.zeros(0, dtype=np.int32)


def from_meshio(mesh: "meshio_module.Mesh", setup: Optional[SetupCfg] = None, unit: str = "",
                whole: Optional[str] = "mesh") -> MeshData:
    """A MeshData of a `meshio.Mesh`, its configuration made to fit:

    - nodes: the points (dimension: their columns), ids from point data "NodeId" or 1, 2, ...;
    - standard elements of every kind meshio names (node orders mapped), polygons and
      polyhedra (meshio's "polygon" and "polyhedron<n>" blocks); element ids from cell data
      "ElementId" or 1, 2, ... in meshio's cell order; connectivity holds node ids;
    - regions: `whole` (unless None) with the supports "<whole>-nodes" (every node, entity
      type 1) and "<whole>-elements" (every element, entity type 2); each point set a region
      <name> with the support "<name>-nodes"; each cell set (a Gmsh physical group) a region
      <name> with "<name>-elements" and "<name>-nodes" (the nodes of its elements, unless a
      support has that name already). A set named "<name>-nodes" or "<name>-elements" is that
      support of region <name> (as `to_meshio` names them). Empty sets and meshio's own
      ("gmsh:...") are left out; two sets making one support with other entities are refused.

    With `setup`, the set-up's (empty) mesh data configuration is the one made, so that
    fields can be added on these supports. `unit` is the mesh's length unit. The tables
    borrow the arrays made here (no copy). Raises Error for a cell type without an element
    kind, ids given twice, or names that clash."""
    points = np.ascontiguousarray(mesh.points, dtype=np.float64)
    if points.ndim != 2 or points.shape[1] not in (1, 2, 3):
        raise Error("meshio's points have the shape %s; nodes take 1 to 3 coordinates" % (points.shape,))
    count = len(points)
    given = mesh.point_data.get("NodeId")
    node_ids = (np.asarray(given).astype(np.int32).reshape(-1) if given is not None
                else np.arange(1, count + 1, dtype=np.int32))
    ascending = _ascending(node_ids)
    if not ascending and len(np.unique(node_ids)) != len(node_ids):
        raise Error("meshio's point data NodeId gives a node id twice")
    by_one = count > 0 and ascending and int(node_ids[-1]) - int(node_ids[0]) == count - 1
    parts = _parts(mesh, node_ids, int(node_ids[0]) if by_one else None)
    all_ids = _joined(parts.block_ids)
    ascending = _ascending(all_ids)
    if not ascending and len(np.unique(all_ids)) != len(all_ids):
        raise Error("meshio's cell data ElementId gives an element id twice")

    supports: Dict[str, Tuple[str, int, np.ndarray]] = {}  # support -> (region, entity type, entities)

    def add(name: str, suffix: str, kind: int, entities: np.ndarray, companion: bool = False) -> None:
        """The support "<name><suffix>" (or name itself when it ends so) in the region <name>;
        a companion gives way to a support of its name, a set must agree with it."""
        region, support = (name[:-len(suffix)], name) if name.endswith(suffix) else (name, name + suffix)
        entities = np.ascontiguousarray(entities, dtype=np.int32)
        if not len(entities) or (companion and support in supports):
            return
        if support in supports:
            if np.array_equal(supports[support][2], entities):
                return
            raise Error("two sets of the mesh make the support %s: rename one (or pass whole=None)" % support)
        supports[support] = (region, kind, entities)

    if whole is not None:
        add(whole, "-nodes", NODE_ENTITIES, node_ids)
        add(whole, "-elements", ELEMENT_ENTITIES, all_ids.copy() if ascending else np.sort(all_ids))
    for name, members in mesh.point_sets.items():
        add(name, "-nodes", NODE_ENTITIES, np.unique(node_ids[np.asarray(members, dtype=np.int64)]))
    companions = []
    for name, members in mesh.cell_sets.items():
        if name.startswith("gmsh:"):
            continue
        elements, nodes = [], []
        for number, cells in enumerate(members):
            if cells is None or number >= len(parts.block_ids):
                continue
            cells = np.asarray(cells, dtype=np.int64).reshape(-1)
            elements.append(parts.block_ids[number][cells])
            nodes.append(parts.block_nodes[number](cells))
        add(name, "-elements", ELEMENT_ENTITIES, np.sort(_joined(elements)))
        base = name[:-len("-elements")] if name.endswith("-elements") else name
        companions.append((base, np.unique(_joined(nodes))))
    for base, nodes in companions:
        add(base, "-nodes", NODE_ENTITIES, nodes, companion=True)
    if not supports:
        raise Error("the mesh makes no region: it has no point or cell set, and whole is None")
    regions: Dict[str, List[Tuple[str, int, np.ndarray]]] = {}
    for support, (region, kind, entities) in supports.items():
        regions.setdefault(region, []).append((support, kind, entities))

    types, connectivity, std_ids = _joined(parts.types), _joined(parts.connectivity), _joined(parts.std_ids)
    polygons, polygon_ids = _joined(parts.polygons), _joined(parts.polygon_ids)
    polyhedra, polyhedron_ids = _joined(parts.polyhedra), _joined(parts.polyhedron_ids)

    if setup is None:
        configuration = MeshDataCfg()
    else:
        configuration = setup.configure_mesh_data()
        if configuration.node_data.count or len(configuration.regions):
            raise Error("the set-up already describes a mesh; from_meshio fills an empty one")
    configuration.unit = unit
    configuration.configure_node_data(count=count, dimension=points.shape[1])
    elements = configuration.configure_element_data()
    if len(types):
        elements.configure_std_element_data(count=len(types), connectivity_table_size=len(connectivity))
    if len(polygon_ids) or len(polyhedron_ids):
        user = elements.configure_user_element_data()
        if len(polygon_ids):
            user.configure_polygon_data(count=len(polygon_ids), connectivity_table_size=len(polygons))
        if len(polyhedron_ids):
            user.configure_polyhedron_data(count=len(polyhedron_ids), connectivity_table_size=len(polyhedra))
    for region, members in regions.items():
        added = configuration.add_region(solver_id=region, caption=region)
        for support, kind, entities in members:
            added.add_support(solver_id=support, entity_count=len(entities), entities_type=kind)
    configuration.check()

    data = MeshData(configuration)
    data.node_data.coordinates = points
    data.node_data.ids = node_ids
    if len(types):
        data.std_element_data.types = types
        data.std_element_data.ids = std_ids
        data.std_element_data.connectivity = connectivity
    if len(polygon_ids):
        data.polygon_data.ids = polygon_ids
        data.polygon_data.connectivity = polygons
    if len(polyhedron_ids):
        data.polyhedron_data.ids = polyhedron_ids
        data.polyhedron_data.connectivity = polyhedra
    for support, (_, _, entities) in supports.items():
        data.support_data(support).entities = entities
    return data


def configuration_path(path: str) -> str:
    """The mesh configuration file written beside a mesh file: "x.rommsh" -> "x.romcfg"."""
    base, extension = os.path.splitext(os.fspath(path))
    return (base if extension == EXTENSION else os.fspath(path)) + ".romcfg"


def write(path: str, mesh: "meshio_module.Mesh", **options: Any) -> MeshData:
    """Writes a `meshio.Mesh` as the mesh file `path` (".rommsh") and its mesh data
    configuration beside it (`configuration_path`), each through a temporary file renamed
    into place; `options` go to `from_meshio`. Returns the MeshData."""
    data = from_meshio(mesh, **options)
    data.configuration.save(configuration_path(path))
    data.save(path)
    return data


def read(path: str) -> "meshio_module.Mesh":
    """The mesh file `path` (".rommsh") as a `meshio.Mesh` (see `to_meshio`)."""
    data = MeshData()
    try:
        data.resume(os.fspath(path))
        return to_meshio(data)
    except Error as failure:
        raise Error("%s: %s" % (path, failure)) from None
    finally:
        data.close()


def import_mesh(source: str, output: str, file_format: Optional[str] = None, **options: Any) -> MeshData:
    """Reads `source` with meshio (`file_format`: meshio's name of its format, when its
    extension does not tell) and writes it as `output` with its configuration (`write`)."""
    import meshio
    _complete(meshio)
    try:
        open(os.fspath(source), "rb").close()
    except OSError as failure:
        raise Error("%s: cannot open the file: %s" % (source, failure.strerror or failure)) from None
    try:
        mesh = meshio.read(os.fspath(source), file_format=file_format)
    except Exception as failure:  # meshio raises many kinds: its own, OSError, KeyError, ...
        text = failure.strerror if isinstance(failure, OSError) and failure.strerror else str(failure) or type(
            failure).__name__
        raise Error("%s: meshio cannot read it: %s" % (source, text)) from None
    try:
        return write(output, mesh, **options)
    except Error as failure:
        raise Error("%s: %s" % (source, failure)) from None


# ---- meshio's registry -----------------------------------------------------------------

def _complete(meshio: Any) -> None:
    """meshio 5.0's table of cell dimensions lacks two of the cells it reads and writes
    ("wedge15", "pyramid13"), so that it cannot make a block of them; they are added."""
    dimensions = meshio._mesh.topological_dimension
    for cell_type in ("wedge15", "pyramid13"):
        dimensions.setdefault(cell_type, 3)


def register(meshio: Any = None) -> None:
    """Registers the format "tervikrom" (".rommsh") with meshio; done when meshio is
    imported, or at once when it already is."""
    if meshio is None:
        import meshio
    _complete(meshio)
    if FORMAT not in meshio._helpers.reader_map:
        meshio.register_format(FORMAT, [EXTENSION], read, {FORMAT: write})


class _RegisterWithMeshio(importlib.abc.MetaPathFinder):
    """Registers the format right after meshio is imported, without importing it first."""

    def find_spec(self, name: str, path: Any = None, target: Any = None) -> Any:
        """meshio's own spec, its loader made to register the format after loading it."""
        if name != "meshio":
            return None
        sys.meta_path.remove(self)
        spec = importlib.util.find_spec(name)
        if spec is None or spec.loader is None or not hasattr(spec.loader, "exec_module"):
            return spec
        loader = spec.loader
        load = loader.exec_module

        def exec_module(module: Any) -> None:
            load(module)
            register(module)

        loader.exec_module = exec_module  # type: ignore[method-assign]
        return spec


if "meshio" in sys.modules:
    register(sys.modules["meshio"])
elif not any(isinstance(finder, _RegisterWithMeshio) for finder in sys.meta_path):
    sys.meta_path.insert(0, _RegisterWithMeshio())


# ---- the command line ------------------------------------------------------------------

def main(argv: Optional[Sequence[str]] = None) -> int:
    """`import MESHFILE -o OUT.rommsh [--format F] [--unit U]` (what `tervikrom import`
    runs); any other command is meshio's own command line (convert, info, ...) with the
    format registered. Returns the exit status: 0 success, 1 failure, 2 usage error."""
    argv = list(sys.argv[1:] if argv is None else argv)
    if not argv or argv[0] != "import":
        import meshio._cli
        register()
        return meshio._cli.main(argv) or 0
    parser = argparse.ArgumentParser(
        prog="tervikrom import", description="Reads a mesh file that meshio reads (Gmsh .msh, VTU, XDMF, Exodus, "
        "Abaqus .inp, ...) and writes it as OUT.rommsh with its mesh data configuration OUT.romcfg beside it.")
    parser.add_argument("mesh", help="the mesh file")
    parser.add_argument("-o", "--output", required=True, help="the mesh file to write (.rommsh)")
    parser.add_argument("--format", help="meshio's name of the input's format, when its extension does not tell")
    parser.add_argument("--unit", default="", help="the length unit of the coordinates (stored in the configuration)")
    parser.add_argument("--whole", default="mesh", help="the region of every node and element (default: mesh); "
                        "its supports are WHOLE-nodes and WHOLE-elements")
    arguments = parser.parse_args(argv[1:])
    output = arguments.output
    if not output.endswith(EXTENSION):
        if os.path.splitext(os.path.basename(output))[1]:
            parser.error("-o %s: the output is a mesh file (%s)" % (output, EXTENSION))
        output += EXTENSION
    folder = os.path.dirname(output) or "."
    if not os.path.isdir(folder) or not os.access(folder, os.W_OK | os.X_OK):
        reason = os.strerror(2) if not os.path.exists(folder) else "not a folder" if not os.path.isdir(
            folder) else os.strerror(13)
        print("tervikrom: -o %s: cannot write into the folder %s: %s" % (arguments.output, folder, reason),
              file=sys.stderr)
        return 1
    try:
        data = import_mesh(arguments.mesh, output, arguments.format, unit=arguments.unit, whole=arguments.whole)
    except Error as failure:
        print("tervikrom: %s" % failure, file=sys.stderr)
        return 1
    configuration = data.configuration
    regions = ", ".join("%s (%s)" % (region.solver_id, ", ".join(support.solver_id for support in region.supports))
                        for region in configuration.regions)
    counts = np.bincount(np.asarray(data.std_element_data.types), minlength=len(kinds())) if \
        configuration.element_data.std_element_data is not None else np.zeros(len(kinds()), dtype=int)
    elements = ", ".join("%d %s" % (n, kind.name) for n, kind in zip(counts, kinds()) if n)
    user = configuration.element_data.user_element_data
    for name in ("polygon", "polyhedron"):
        part = None if user is None else getattr(user, name + "_data")
        if part is not None and part.count:
            elements += "%s%d %ss" % (", " if elements else "", part.count, name)
    print("%s: %d nodes, %s; regions: %s" % (output, len(data.node_data), elements or "no elements",
                                             regions or "none"))
    print("%s: its mesh data configuration" % configuration_path(output))
    return 0


