"""Configurations: the set-up, the mesh data configuration with its regions, supports and
table sizes, fields and components, and the snapshot configuration."""
from ctypes import c_int32, c_void_p, byref

from ._core import (Container, Object, Persistable, SolverIdentified, arg, child, child_prop, container_prop,
                    lib, prop, text, text_prop)


def _configure(obj, attributes):
    for name, value in attributes.items():
        if not hasattr(type(obj), name):
            raise TypeError("%s has no attribute %r" % (type(obj).__name__, name))
        setattr(obj, name, value)
    return obj


def _adder(export, cls, doc):
    def add(self, **attributes):
        return _configure(child(self, export, cls), attributes)
    add.__doc__ = doc + " Keyword arguments set its attributes."
    return add


def _try_get(export, cls):
    """The sub-configuration, or None when it was not configured."""
    def fget(self):
        out = c_void_p()
        found = getattr(lib, export)(self._h, byref(out))
        return cls(out.value, self) if found and out.value else None
    return property(fget)


class _Checked(Persistable):
    __slots__ = ()

    def check(self):
        """Raises Error with the first inconsistency of the configuration."""
        lib.RomConfigurationCheck(self._h)


class SupportCfg(SolverIdentified):
    __slots__ = ()
    entity_count = prop("RomSupportCfgGetEntityCount", "RomSupportCfgSetEntityCount")
    entities_type = prop("RomSupportCfgGetEntitiesType", "RomSupportCfgSetEntitiesType", c_int32)


class RegionCfg(SolverIdentified):
    __slots__ = ()
    caption = text_prop("RomRegionCfgGetCaption", "RomRegionCfgSetCaption")
    parent_region = text_prop("RomRegionCfgGetParentRegion", "RomRegionCfgSetParentRegion")
    supports = container_prop("RomRegionCfgGetSupportCfgs", SupportCfg)
    add_support = _adder("RomRegionCfgAddSupport", SupportCfg, "Adds a support to the region.")


class NodeDataCfg(Object):
    __slots__ = ()
    count = prop("RomNodeDataCfgGetCount", "RomNodeDataCfgSetCount")
    dimension = prop("RomNodeDataCfgGetDimension", "RomNodeDataCfgSetDimension", c_int32)
    coordinate_table_size = prop("RomNodeDataCfgGetCoordinateTableSize")


def _sized(kind):
    """The configuration of a table of `kind` elements: a count and a connectivity size."""
    prefix = "Rom" + kind + "DataCfg"
    return type(kind + "DataCfg", (Object,), {
        "__slots__": (),
        "__doc__": "Sizes of the %s table." % kind,
        "count": prop(prefix + "GetCount", prefix + "SetCount"),
        "connectivity_table_size": prop(prefix + "GetConnectivityTableSize",
                                        prefix + "SetConnectivityTableSize"),
    })


StdElementDataCfg = _sized("StdElement")
PolygonDataCfg = _sized("Polygon")
PolyhedronDataCfg = _sized("Polyhedron")


def _holder(name, parts):
    """A configuration holding optional sub-configurations: for each (attribute, kind, class),
    `configure_<attribute>()` creates it when absent and `<attribute>` is it, or None."""
    members = {"__slots__": ()}
    for attribute, kind, cls in parts:
        members["configure_" + attribute] = _adder("Rom%sConfigure%s" % (name, kind), cls,
                                                   "The %s configuration, created when absent." % kind)
        members[attribute] = _try_get("Rom%sTryGet%sCfg" % (name, kind), cls)
    return type(name, (Object,), members)


UserElementDataCfg = _holder("UserElementDataCfg", (("polygon_data", "PolygonData", PolygonDataCfg),
                                                    ("polyhedron_data", "PolyhedronData", PolyhedronDataCfg)))
ElementDataCfg = _holder("ElementDataCfg", (("std_element_data", "StdElementData", StdElementDataCfg),
                                            ("user_element_data", "UserElementData", UserElementDataCfg)))


class MeshDataCfg(_Checked):
    """The mesh data configuration (a ".romcfg" document under "meshData")."""
    __slots__ = ()
    unit = text_prop("RomMeshDataCfgGetUnit", "RomMeshDataCfgSetUnit")
    regions = container_prop("RomMeshDataCfgGetRegionCfgs", RegionCfg)
    supports = container_prop("RomMeshDataCfgGetSupportCfgs", SupportCfg, "Every support of every region.")
    node_data = child_prop("RomMeshDataCfgGetNodeDataCfg", NodeDataCfg)
    element_data = child_prop("RomMeshDataCfgGetElementDataCfg", ElementDataCfg)
    add_region = _adder("RomMeshDataCfgAddRegion", RegionCfg, "Adds a region.")
    configure_node_data = _adder("RomMeshDataCfgConfigureNodeData", NodeDataCfg,
                                 "The node sizes, created when absent.")
    configure_element_data = _adder("RomMeshDataCfgConfigureElementData", ElementDataCfg,
                                    "The element configuration, created when absent.")

    _factory = "RomFactoryCreateMeshDataCfg"

    def support(self, solver_id):
        return child(self, "RomMeshDataCfgGetSupportCfg", SupportCfg, solver_id)


class ComponentCfg(SolverIdentified):
    __slots__ = ()
    caption = text_prop("RomComponentCfgGetCaption", "RomComponentCfgSetCaption")


class _SolverIdentifier(Object):
    __slots__ = ()


class FieldCfg(SolverIdentified):
    __slots__ = ()
    caption = text_prop("RomFieldCfgGetCaption", "RomFieldCfgSetCaption")
    quantity = text_prop("RomFieldCfgGetQuantity", "RomFieldCfgSetQuantity")
    unit = text_prop("RomFieldCfgGetUnit", "RomFieldCfgSetUnit")
    entities_type = prop("RomFieldCfgGetEntitiesType", "RomFieldCfgSetEntitiesType", c_int32)
    components = container_prop("RomFieldCfgGetComponentCfgs", ComponentCfg)
    add_component = _adder("RomFieldCfgAddComponent", ComponentCfg, "Adds a component.")

    def add_support(self, solver_id):
        """Puts the field on the support of that solver id."""
        lib.RomFieldCfgAddSupport(self._h, arg(solver_id))

    @property
    def support_ids(self):
        """The solver ids of the field's supports."""
        ids = container_prop("RomFieldCfgGetSupportCfgIds", _SolverIdentifier).fget(self)
        return [text(lib.RomSolverIdentifierGetId(identifier._h)) for identifier in ids]


class SetupCfg(_Checked):
    """The set-up (a ".romcfg" document under "setup")."""
    __slots__ = ()
    fields = container_prop("RomSetupCfgGetFields", FieldCfg)
    mesh_data = child_prop("RomSetupCfgGetMeshData", MeshDataCfg)
    add_field = _adder("RomSetupCfgAddField", FieldCfg, "Adds a field.")
    configure_mesh_data = _adder("RomSetupCfgConfigureMeshData", MeshDataCfg,
                                 "The mesh data configuration, created when absent.")

    _factory = "RomFactoryCreateSetupCfg"

    def save_mesh_configuration(self, path):
        lib.RomSetupCfgSaveMeshConfiguration(self._h, arg(str(path)))

    def save_snapshot_configuration(self, path):
        lib.RomSetupCfgSaveSnapshotConfiguration(self._h, arg(str(path)))


class SnapshotCfg(_Checked):
    """The snapshot configuration (a ".romcfg" document under "snapshot")."""
    __slots__ = ()
    components = container_prop("RomSnapshotCfgGetComponentCfgs", ComponentCfg)
    supports = container_prop("RomSnapshotCfgGetSupportCfgs", SupportCfg)
    add_component = _adder("RomSnapshotCfgAddComponent", ComponentCfg, "Adds a component.")
    add_support = _adder("RomSnapshotCfgAddSupport", SupportCfg, "Adds a support.")

    _factory = "RomFactoryCreateSnapshotCfg"

    def add_component_to_support(self, component, support):
        lib.RomSnapshotCfgAddComponentToSupport(self._h, component._h, support._h)

    def components_of_support(self, support):
        out = c_void_p()
        lib.RomSnapshotCfgGetComponentsOfSupport(self._h, support._h, byref(out))
        return Container(out.value, self, ComponentCfg)
