"""Configurations: the set-up, the mesh data configuration with its regions, supports and
table sizes, fields and components, and the snapshot configuration.

Every `add_...` and `configure_...` method returns the new (or existing) member with the
attributes given as keywords set; attributes left out keep the library's default (0 or "",
"not defined"). Entity type codes are the solver's own: the library gives them no names.
"""
from __future__ import annotations

from ctypes import byref, c_int32, c_void_p
from typing import Any, List, Optional, Tuple

from . import _files
from ._core import (Container, Object, PathLike, Persistable, SolverIdentified, child, child_prop, container_prop,
                    count, lib, name_arg, prop, text, text_prop)
from ._errors import Error, UnknownNameError, unknown_name, write_failure


def _configured(obj: Any, **attributes: Any) -> Any:
    """`obj` with the attributes that are not None set."""
    for name, value in attributes.items():
        if value is not None:
            setattr(obj, name, value)
    return obj


def _try_get(export: str, cls: type, doc: str) -> property:
    """The sub-configuration, or None when it was not configured."""
    def fget(self) -> Optional[Any]:
        out = c_void_p()
        found = getattr(lib, export)(self._h, byref(out))
        return cls._wrap(out.value, self) if found and out.value else None
    fget.__annotations__ = {"return": Optional[cls]}
    return property(fget, doc=doc)


def _supports_text(supports: Container) -> str:
    return ", ".join("%s (%d)" % (support.solver_id, support.entity_count) for support in supports)


class _Checked(Persistable):
    """A configuration saved as a ".romcfg" document."""
    __slots__ = ()
    _found_kind = staticmethod(_files.document_kind)

    def check(self) -> None:
        """Raises Error with the first inconsistency of the configuration (the library's text)."""
        lib.RomConfigurationCheck(self._h)

    def _before_resume(self, path: str) -> None:
        _files.check_size(path)


class SupportCfg(SolverIdentified):
    """A support: a set of mesh entities (nodes, or elements of one kind) on which field
    values are given, named by its solver id across the whole set-up."""
    __slots__ = ()
    entity_count = prop("RomSupportCfgGetEntityCount", "RomSupportCfgSetEntityCount",
                        doc="The number of entities (0: not defined); unsigned 32-bit.")
    entities_type = prop("RomSupportCfgGetEntitiesType", "RomSupportCfgSetEntitiesType", c_int32,
                         doc="The solver's code for the kind of its entities (0: not defined); signed 32-bit.")

    def _describe(self) -> str:
        return ' "%s": %s of type %d' % (self.solver_id, count(self.entity_count, "entity"), self.entities_type)


class RegionCfg(SolverIdentified):
    """A region of the mesh, holding supports."""
    __slots__ = ()
    caption = text_prop("RomRegionCfgGetCaption", "RomRegionCfgSetCaption", "The region's caption, for people.")
    parent_region = text_prop("RomRegionCfgGetParentRegion", "RomRegionCfgSetParentRegion",
                              "The solver id of the region it lies in (kept in memory only, not saved).")
    supports = container_prop("RomRegionCfgGetSupportCfgs", SupportCfg, "The region's supports (SupportCfg).")

    def add_support(self, solver_id: Optional[str] = None, *, entity_count: Optional[int] = None,
                    entities_type: Optional[int] = None) -> SupportCfg:
        """Adds a support to the region and returns it. A region's support needs a solver
        id, an entity count and an entity type to pass the check."""
        return _configured(child(self, "RomRegionCfgAddSupport", SupportCfg), solver_id=solver_id,
                           entity_count=entity_count, entities_type=entities_type)

    def _describe(self) -> str:
        return ' "%s"%s: supports %s' % (self.solver_id, " (%s)" % self.caption if self.caption else "",
                                         _supports_text(self.supports) or "none")


class NodeDataCfg(Object):
    """The size of the node table: node count and dimension."""
    __slots__ = ()
    count = prop("RomNodeDataCfgGetCount", "RomNodeDataCfgSetCount", doc="The number of nodes.")
    dimension = prop("RomNodeDataCfgGetDimension", "RomNodeDataCfgSetDimension", c_int32,
                     doc="The number of coordinates of a node (1, 2 or 3).")
    coordinate_table_size = prop("RomNodeDataCfgGetCoordinateTableSize",
                                 doc="count x dimension: the entries of the coordinate table.")

    def _describe(self) -> str:
        return ": %s in %d-D" % (count(self.count, "node"), self.dimension)


class _SizedCfg(Object):
    """The sizes of a table of elements: their count and connectivity entries."""
    __slots__ = ()
    _prefix = ""
    _what = "elements"

    def _describe(self) -> str:
        return ": %s, %s" % (count(self.count, self._what), count(self.connectivity_table_size, "connectivity entry"))


def _sized(kind: str, what: str) -> type:
    """The configuration of a table of `kind` elements: a count and a connectivity size."""
    prefix = "Rom" + kind + "DataCfg"
    return type(kind + "DataCfg", (_SizedCfg,), {
        "__slots__": (),
        "__doc__": "The sizes of the %s table: the number of %ss and of connectivity entries." % (kind, what),
        "__module__": __name__,
        "_what": what,
        "count": prop(prefix + "GetCount", prefix + "SetCount", doc="The number of %ss." % what),
        "connectivity_table_size": prop(prefix + "GetConnectivityTableSize", prefix + "SetConnectivityTableSize",
                                        doc="The number of entries of the connectivity table."),
    })


StdElementDataCfg = _sized("StdElement", "standard element")
PolygonDataCfg = _sized("Polygon", "polygon")
PolyhedronDataCfg = _sized("Polyhedron", "polyhedron")


class UserElementDataCfg(Object):
    """The polygon and polyhedron tables' sizes, each configured or not."""
    __slots__ = ()
    polygon_data = _try_get("RomUserElementDataCfgTryGetPolygonDataCfg", PolygonDataCfg,
                            "The polygon table's sizes, or None when not configured.")
    polyhedron_data = _try_get("RomUserElementDataCfgTryGetPolyhedronDataCfg", PolyhedronDataCfg,
                               "The polyhedron table's sizes, or None when not configured.")

    def configure_polygon_data(self, *, count: Optional[int] = None,
                               connectivity_table_size: Optional[int] = None) -> PolygonDataCfg:
        """The polygon table's sizes, created when absent, with the given ones set."""
        return _configured(child(self, "RomUserElementDataCfgConfigurePolygonData", PolygonDataCfg),
                           count=count, connectivity_table_size=connectivity_table_size)

    def configure_polyhedron_data(self, *, count: Optional[int] = None,
                                  connectivity_table_size: Optional[int] = None) -> PolyhedronDataCfg:
        """The polyhedron table's sizes, created when absent, with the given ones set."""
        return _configured(child(self, "RomUserElementDataCfgConfigurePolyhedronData", PolyhedronDataCfg),
                           count=count, connectivity_table_size=connectivity_table_size)


class ElementDataCfg(Object):
    """The element tables' sizes: standard elements and user elements, each configured or not."""
    __slots__ = ()
    std_element_data = _try_get("RomElementDataCfgTryGetStdElementDataCfg", StdElementDataCfg,
                                "The standard element table's sizes, or None when not configured.")
    user_element_data = _try_get("RomElementDataCfgTryGetUserElementDataCfg", UserElementDataCfg,
                                 "The polygon and polyhedron configuration, or None when not configured.")

    def configure_std_element_data(self, *, count: Optional[int] = None,
                                   connectivity_table_size: Optional[int] = None) -> StdElementDataCfg:
        """The standard element table's sizes, created when absent, with the given ones set."""
        return _configured(child(self, "RomElementDataCfgConfigureStdElementData", StdElementDataCfg),
                           count=count, connectivity_table_size=connectivity_table_size)

    def configure_user_element_data(self) -> UserElementDataCfg:
        """The polygon and polyhedron configuration, created when absent."""
        return child(self, "RomElementDataCfgConfigureUserElementData", UserElementDataCfg)


def element_counts(element_data: ElementDataCfg) -> List[str]:
    """The counts of the configured element tables, for a repr."""
    user = element_data.user_element_data
    tables = (element_data.std_element_data, user and user.polygon_data, user and user.polyhedron_data)
    return [count(cfg.count, cfg._what) for cfg in tables if cfg is not None]


class MeshDataCfg(_Checked):
    """The mesh data configuration (a ".romcfg" document under "meshData"): regions with
    their supports, the node table's size and the element tables' sizes."""
    __slots__ = ()
    _factory = "RomFactoryCreateMeshDataCfg"
    _kind = "mesh data configuration"
    unit = text_prop("RomMeshDataCfgGetUnit", "RomMeshDataCfgSetUnit", "The unit of the node coordinates.")
    regions = container_prop("RomMeshDataCfgGetRegionCfgs", RegionCfg, "The regions (RegionCfg).")
    supports = container_prop("RomMeshDataCfgGetSupportCfgs", SupportCfg,
                              "Every support of every region (SupportCfg), region by region.")
    node_data = child_prop("RomMeshDataCfgGetNodeDataCfg", NodeDataCfg, "The node table's size.")
    element_data = child_prop("RomMeshDataCfgGetElementDataCfg", ElementDataCfg, "The element tables' sizes.")

    def add_region(self, solver_id: Optional[str] = None, *, caption: Optional[str] = None,
                   parent_region: Optional[str] = None) -> RegionCfg:
        """Adds a region and returns it."""
        return _configured(child(self, "RomMeshDataCfgAddRegion", RegionCfg), solver_id=solver_id, caption=caption,
                           parent_region=parent_region)

    def configure_node_data(self, *, count: Optional[int] = None, dimension: Optional[int] = None) -> NodeDataCfg:
        """The node table's size, with the given count and dimension set."""
        return _configured(child(self, "RomMeshDataCfgConfigureNodeData", NodeDataCfg), count=count,
                           dimension=dimension)

    def configure_element_data(self) -> ElementDataCfg:
        """The element tables' configuration."""
        return child(self, "RomMeshDataCfgConfigureElementData", ElementDataCfg)

    def support(self, solver_id: str) -> SupportCfg:
        """The support of that solver id, in whichever region. Raises UnknownNameError (a
        KeyError) naming the supports there are."""
        try:
            return child(self, "RomMeshDataCfgGetSupportCfg", SupportCfg, name_arg(solver_id, "a solver id"))
        except Error as failure:
            raise unknown_name(failure, "supports", [s.solver_id for s in self.supports]) from None

    def _describe(self) -> str:
        nodes = self.node_data
        parts = ["%s in %d-D" % (count(nodes.count, "node"), nodes.dimension)] + element_counts(self.element_data)
        return "%s: %s; supports %s" % (self._file_description(), ", ".join(parts),
                                        _supports_text(self.supports) or "none")


class ComponentCfg(SolverIdentified):
    """A component of a field (ux of a displacement, the one value of a temperature)."""
    __slots__ = ()
    caption = text_prop("RomComponentCfgGetCaption", "RomComponentCfgSetCaption", "The component's caption.")


class _SolverIdentifier(Object):
    __slots__ = ()


class FieldCfg(SolverIdentified):
    """A field of the set-up: what it measures, its unit, its components and the supports
    it is given on."""
    __slots__ = ()
    caption = text_prop("RomFieldCfgGetCaption", "RomFieldCfgSetCaption", "The field's caption.")
    quantity = text_prop("RomFieldCfgGetQuantity", "RomFieldCfgSetQuantity",
                         "The physical quantity it measures (\"length\", \"temperature\", ...).")
    unit = text_prop("RomFieldCfgGetUnit", "RomFieldCfgSetUnit", "The unit of its values.")
    entities_type = prop("RomFieldCfgGetEntitiesType", "RomFieldCfgSetEntitiesType", c_int32,
                         doc="The solver's code for the kind of entities it is given on (0: not defined).")
    components = container_prop("RomFieldCfgGetComponentCfgs", ComponentCfg, "Its components (ComponentCfg), in order.")

    def add_component(self, solver_id: Optional[str] = None, *, caption: Optional[str] = None) -> ComponentCfg:
        """Adds a component and returns it."""
        return _configured(child(self, "RomFieldCfgAddComponent", ComponentCfg), solver_id=solver_id, caption=caption)

    def add_support(self, solver_id: str) -> None:
        """Puts the field on the support of that solver id (a support of the mesh data
        configuration, checked by `SetupCfg.check()`)."""
        lib.RomFieldCfgAddSupport(self._h, name_arg(solver_id, "a solver id"))

    @property
    def support_ids(self) -> List[str]:
        """The solver ids of the field's supports."""
        ids = container_prop("RomFieldCfgGetSupportCfgIds", _SolverIdentifier, "").fget(self)
        return [text(lib.RomSolverIdentifierGetId(identifier._h)) for identifier in ids]

    @property
    def component_ids(self) -> List[str]:
        """The solver ids of its components, in order."""
        return [component.solver_id for component in self.components]

    def _describe(self) -> str:
        about = ", ".join(part for part in (self.caption, self.unit) if part)
        return ' "%s"%s: components %s on %s' % (self.solver_id, " (%s)" % about if about else "",
                                                ", ".join(self.component_ids) or "none",
                                                ", ".join(self.support_ids) or "no support")


class SetupCfg(_Checked):
    """The set-up (a ".romcfg" document under "setup"): the fields and the mesh data
    configuration. It writes the mesh and snapshot configurations derived from it."""
    __slots__ = ()
    _factory = "RomFactoryCreateSetupCfg"
    _kind = "setup configuration"
    fields = container_prop("RomSetupCfgGetFields", FieldCfg, "The fields (FieldCfg), in order.")
    mesh_data = child_prop("RomSetupCfgGetMeshData", MeshDataCfg,
                           "The mesh data configuration, None before one is configured.")

    def add_field(self, solver_id: Optional[str] = None, *, caption: Optional[str] = None,
                  quantity: Optional[str] = None, unit: Optional[str] = None,
                  entities_type: Optional[int] = None) -> FieldCfg:
        """Adds a field and returns it; give it components and supports next."""
        return _configured(child(self, "RomSetupCfgAddField", FieldCfg), solver_id=solver_id, caption=caption,
                           quantity=quantity, unit=unit, entities_type=entities_type)

    def configure_mesh_data(self, *, unit: Optional[str] = None) -> MeshDataCfg:
        """The mesh data configuration, created when absent, with the unit set."""
        return _configured(child(self, "RomSetupCfgConfigureMeshData", MeshDataCfg), unit=unit)

    def field(self, solver_id: str) -> FieldCfg:
        """The field of that solver id. Raises UnknownNameError (a KeyError) naming the
        fields there are."""
        fields = list(self.fields)
        for field in fields:
            if field.solver_id == solver_id:
                return field
        raise UnknownNameError('The set-up has no field "%s". The fields there are: %s.'
                               % (solver_id, ", ".join('"%s"' % f.solver_id for f in fields) or "none"),
                               names=[f.solver_id for f in fields])

    def save_mesh_configuration(self, path: PathLike) -> None:
        """Writes the mesh data configuration derived from the set-up (".romcfg")."""
        try:
            lib.RomSetupCfgSaveMeshConfiguration(self._h, name_arg(path, "a path"))
        except Error as failure:
            raise write_failure(failure, str(path)) from None

    def save_snapshot_configuration(self, path: PathLike) -> None:
        """Writes the snapshot configuration derived from the set-up (".romcfg"): one
        support per mesh support, each field's components on the field's supports."""
        try:
            lib.RomSetupCfgSaveSnapshotConfiguration(self._h, name_arg(path, "a path"))
        except Error as failure:
            raise write_failure(failure, str(path)) from None

    def _describe(self) -> str:
        fields = ["%s [%s] on %s" % (f.solver_id, ", ".join(f.component_ids), ", ".join(f.support_ids) or "-")
                  for f in self.fields]
        mesh = self.mesh_data
        return "%s: fields %s; supports %s" % (self._file_description(), "; ".join(fields) or "none",
                                               _supports_text(mesh.supports) if mesh is not None else "none")


class SnapshotCfg(_Checked):
    """The snapshot configuration (a ".romcfg" document under "snapshot"): the supports,
    the components, and which components are given on which support."""
    __slots__ = ()
    _factory = "RomFactoryCreateSnapshotCfg"
    _kind = "snapshot configuration"
    components = container_prop("RomSnapshotCfgGetComponentCfgs", ComponentCfg, "The components (ComponentCfg).")
    supports = container_prop("RomSnapshotCfgGetSupportCfgs", SupportCfg, "The supports (SupportCfg).")

    def add_component(self, solver_id: Optional[str] = None, *, caption: Optional[str] = None) -> ComponentCfg:
        """Adds a component and returns it."""
        return _configured(child(self, "RomSnapshotCfgAddComponent", ComponentCfg), solver_id=solver_id,
                           caption=caption)

    def add_support(self, solver_id: Optional[str] = None, *, entity_count: Optional[int] = None,
                    entities_type: Optional[int] = None) -> SupportCfg:
        """Adds a support and returns it (a snapshot support needs a solver id and an
        entity count)."""
        return _configured(child(self, "RomSnapshotCfgAddSupport", SupportCfg), solver_id=solver_id,
                           entity_count=entity_count, entities_type=entities_type)

    def add_component_to_support(self, component: ComponentCfg, support: SupportCfg) -> None:
        """Gives `component` values on `support` (both members of this configuration)."""
        lib.RomSnapshotCfgAddComponentToSupport(self._h, component._h, support._h)

    def components_of_support(self, support: SupportCfg) -> Container:
        """The components given on `support` (ComponentCfg)."""
        out = c_void_p()
        lib.RomSnapshotCfgGetComponentsOfSupport(self._h, support._h, byref(out))
        return Container(out.value, self, ComponentCfg)

    def pairs(self) -> List[Tuple[str, str]]:
        """The (component id, support id) pairs, support by support in the configuration's order."""
        pairs = []
        for support in self.supports:
            try:
                components = list(self.components_of_support(support))
            except Error as failure:
                # how the configuration answers for a support that was given no component
                if failure.text != "invalid map<K, T> key":
                    raise
                components = []
            pairs += [(component.solver_id, support.solver_id) for component in components]
        return pairs

    def _describe(self) -> str:
        components = [c.solver_id for c in self.components]
        return "%s: components %s; supports %s" % (self._file_description(), ", ".join(components) or "none",
                                                   _supports_text(self.supports) or "none")
