"""tervikrom from Python: the library's objects over its exported C functions, numpy views
of its tables without copies, the snapshot cache as a mapping, snapshot matrices of a
component or a field (tervikrom.dask for the lazy kind, tervikrom.xarray for labelled
arrays of a cache's runs).

    mesh = tervikrom.load("mesh.rommsh")
    xyz = mesh.node_data.coordinates          # (nodes, dimension) float64, the live table
    ids, X = tervikrom.snapshot_matrix(files, field="u", setup="setup.romcfg")
"""
from __future__ import annotations

import os
from typing import Union

from . import _errors, _files
from ._core import Container, Object, PathLike
from ._errors import ArgumentError, Error, FileError, FormatError, MissingFileError, UnknownNameError
from ._lib import HEADER_PATH, LIBRARY_PATH, lib
from ._version import __version__
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

Loaded = Union[SetupCfg, MeshDataCfg, SnapshotCfg, MeshData, Snapshot, SnapshotCache, Project]


def _configuration_class(path: str) -> type:
    """The configuration class of the document's top-level key. The document is read with
    the library's guards (a regular file, of bounded size and nesting); one that cannot be
    opened is left to the library, which says why in its words."""
    if _errors.not_openable(path) is not None:
        return SetupCfg
    document = _files.read_document(path)
    if isinstance(document, dict):
        for key, cls in _CONFIGURATIONS.items():
            if key in document:
                return cls
    raise FormatError("%s: the document holds none of the configurations (%s)" % (path, ", ".join(_CONFIGURATIONS)),
                      filename=path, expected="configuration")


def load(path: PathLike) -> Loaded:
    """The object saved in `path`, chosen by the file's extension and, for a configuration
    document, by its top-level key. Raises MissingFileError (a FileNotFoundError) or
    FileError (an OSError) when the file cannot be read, FormatError when it is damaged,
    ArgumentError for an extension of no object."""
    path = os.fspath(path)
    extension = os.path.splitext(path)[1][1:]
    if extension == EXTENSIONS["configuration"]:
        cls = _configuration_class(path)
    elif extension in _BY_EXTENSION:
        cls = _BY_EXTENSION[extension]
    else:
        raise ArgumentError("%s: no object is saved with the extension %r (known: %s)"
                            % (path, extension, ", ".join(sorted(set(EXTENSIONS.values()) - {EXTENSIONS["rom"]}))))
    obj = cls()
    try:
        obj.resume(path)
    except Error:
        obj.close()
        raise
    return obj


__all__ = [
    "__version__", "Error", "ArgumentError", "FileError", "MissingFileError", "FormatError", "UnknownNameError",
    "load", "snapshot_matrix", "from_meshio", "EXTENSIONS", "ELEMENT_KINDS", "LIBRARY_PATH", "HEADER_PATH",
    "Object", "Container",
    "SetupCfg", "MeshDataCfg", "SnapshotCfg", "RegionCfg", "SupportCfg", "FieldCfg", "ComponentCfg",
    "NodeDataCfg", "ElementDataCfg", "StdElementDataCfg", "UserElementDataCfg", "PolygonDataCfg", "PolyhedronDataCfg",
    "MeshData", "NodeData", "ElementData", "StdElementData", "UserElementData", "PolygonData", "PolyhedronData",
    "SupportData", "Mesh", "Node", "StdElement", "Polygon", "Polyhedron", "Support",
    "Snapshot", "ComponentData", "SnapshotCache", "CacheEntry", "UserPoint", "Project",
]
