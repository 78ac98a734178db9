"""A small mixed mesh (the workflow example's) and its set-up, written once per session."""
import types

import numpy as np
import pytest

import tervikrom

NODES = np.array([[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0], [0, 0, 1], [1, 0, 1], [1, 1, 1], [0, 1, 1],
                  [0.5, 0.5, 2], [2, 0, 0], [3, 0, 0], [2, 1, 0]], dtype=np.float64)
ELEMENTS = [("Hex8", [0, 1, 2, 3, 4, 5, 6, 7]), ("Tet4", [4, 5, 6, 8]), ("Tri3", [9, 10, 11])]
POLYGONS = [[9, 10, 11], [4, 5, 6, 7]]
PYRAMID = [[4, 5, 6, 7], [4, 5, 8], [5, 6, 8], [6, 7, 8], [7, 4, 8]]
SUPPORTS = {"solid-nodes": (1, np.arange(100, 112)), "solid-cells": (2, np.arange(1, 4))}
COMPONENTS = ("ux", "uy")


def flat(lists, counted=True):
    """Count-prefixed lists back to back, as the polygon and polyhedron tables hold them."""
    return [value for nodes in lists for value in ([len(nodes)] if counted else []) + list(nodes)]


@pytest.fixture(scope="session")
def files(tmp_path_factory):
    setup = tervikrom.SetupCfg()
    mesh = setup.configure_mesh_data(unit="m")
    mesh.configure_node_data(count=len(NODES), dimension=3)
    elements = mesh.configure_element_data()
    elements.configure_std_element_data(count=len(ELEMENTS), connectivity_table_size=15)
    user = elements.configure_user_element_data()
    user.configure_polygon_data(count=len(POLYGONS), connectivity_table_size=9)
    user.configure_polyhedron_data(count=1, connectivity_table_size=22)
    region = mesh.add_region(solver_id="solid", caption="Solid")
    for solver_id, (kind, entities) in SUPPORTS.items():
        region.add_support(solver_id=solver_id, entity_count=len(entities), entities_type=kind)
    field = setup.add_field(solver_id="u", caption="displacement", quantity="length", unit="m", entities_type=1)
    for component in COMPONENTS:
        field.add_component(solver_id=component, caption=component)
    field.add_support("solid-nodes")
    setup.check()
    folder = tmp_path_factory.mktemp("files")
    paths = types.SimpleNamespace(folder=folder, setup=folder / "setup.romcfg", mesh_cfg=folder / "mesh.romcfg",
                                  snapshot_cfg=folder / "snapshot.romcfg", mesh=folder / "mesh.rommsh")
    setup.save(paths.setup)
    setup.save_mesh_configuration(paths.mesh_cfg)
    setup.save_snapshot_configuration(paths.snapshot_cfg)
    builder = tervikrom.Mesh(paths.mesh_cfg)
    for index, xyz in enumerate(NODES):
        builder.add_node(id=100 + index, coordinates=xyz)
    for index, (kind, nodes) in enumerate(ELEMENTS):
        builder.add_element(kind, id=index + 1, nodes=nodes)
    for index, nodes in enumerate(POLYGONS):
        builder.add_polygon(id=10 + index, nodes=nodes)
    builder.add_polyhedron(id=20, faces=PYRAMID)
    for solver_id, (_, entities) in SUPPORTS.items():
        builder.add_support(solver_id, entities)
    builder.save(paths.mesh)
    return paths
