"""tervikrom from Python: the library's objects over its exported C functions, numpy views
of its tables without copies, and snapshot matrices (tervikrom.dask for the lazy kind).

    mesh = tervikrom.load("mesh.rommsh")
    xyz = mesh.node_data.coordinates          # (nodes, dimension) float64, the live table
    ids, X = tervikrom.snapshot_matrix(files, "ux", "solid-nodes")
"""
import json
import os

from ._core import Container, Object
from ._lib import HEADER_PATH, LIBRARY_PATH, Error, lib
from .configuration import (ComponentCfg, ElementDataCfg, FieldCfg, MeshDataCfg, NodeDataCfg, PolygonDataCfg,
                            PolyhedronDataCfg, RegionCfg, SetupCfg, SnapshotCfg, StdElementDataCfg, SupportCfg,
                            UserElementDataCfg)
from .mesh import (ELEMENT_KINDS, ElementData, Mesh, MeshData, Node, NodeData, Polygon, PolygonData, Polyhedron,
                   PolyhedronData, StdElement, StdElementData, Support, SupportData, UserElementData)
from ._meshio import from_meshio  # and .rommsh registered with meshio once meshio is imported
from .snapshot import (CacheEntry, ComponentData, Project, Snapshot, SnapshotCache, UserPoint,
                       snapshot_matrix)


def _extension(getter):
    return getter().decode("ascii")


EXTENSIONS = {
    "configuration": _extension(lib.RomGetConfigurationFileExtension),
    "mesh": _extension(lib.RomGetMeshFileExtension),
    "project": _extension(lib.RomGetProjectFileExtension),
    "rom": _extension(lib.RomGetRomFileExtension),
    "snapshot": _extension(lib.RomGetSnapshotFileExtension),
    "snapshot cache": _extension(lib.RomGetSnapshotCacheFileExtension),
}

_BY_EXTENSION = {
    EXTENSIONS["mesh"]: MeshData,
    EXTENSIONS["snapshot"]: Snapshot,
    EXTENSIONS["snapshot cache"]: SnapshotCache,
    EXTENSIONS["project"]: Project,
}
_CONFIGURATIONS = {"setup": SetupCfg, "meshData": MeshDataCfg, "snapshot": SnapshotCfg}


def _configuration_class(path):
    try:
        with open(path, encoding="utf-8") as stream:
            document = json.load(stream)
    except (OSError, ValueError):
        document = None  # resuming reports why, in the library's words
    if isinstance(document, dict):
        for key, cls in _CONFIGURATIONS.items():
            if key in document:
                return cls
        raise Error("%s holds none of the configurations (%s)" % (path, ", ".join(_CONFIGURATIONS)))
    return SetupCfg


def load(path):
    """The object saved in `path`, chosen by the file's extension and, for a configuration
    document, by its top-level key."""
    path = os.fspath(path)
    extension = os.path.splitext(path)[1][1:]
    if extension == EXTENSIONS["configuration"]:
        cls = _configuration_class(path)
    elif extension in _BY_EXTENSION:
        cls = _BY_EXTENSION[extension]
    else:
        raise Error("%s: no object is saved with the extension %r (known: %s)"
                    % (path, extension, ", ".join(sorted(set(EXTENSIONS.values()) - {EXTENSIONS["rom"]}))))
    obj = cls()
    try:
        obj.resume(path)
    except Error:
        obj.close()
        raise
    return obj


__all__ = [
    "Error", "load", "snapshot_matrix", "from_meshio", "EXTENSIONS", "ELEMENT_KINDS", "LIBRARY_PATH", "HEADER_PATH",
    "Object", "Container",
    "SetupCfg", "MeshDataCfg", "SnapshotCfg", "RegionCfg", "SupportCfg", "FieldCfg", "ComponentCfg",
    "NodeDataCfg", "ElementDataCfg", "StdElementDataCfg", "UserElementDataCfg", "PolygonDataCfg", "PolyhedronDataCfg",
    "MeshData", "NodeData", "ElementData", "StdElementData", "UserElementData", "PolygonData", "PolyhedronData",
    "SupportData", "Mesh", "Node", "StdElement", "Polygon", "Polyhedron", "Support",
    "Snapshot", "ComponentData", "SnapshotCache", "CacheEntry", "UserPoint", "Project",
]
