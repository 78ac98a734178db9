"""tervikrom.meshio: Gmsh's meshes imported by `tervikrom import` and compared with meshio's reading of them,
their node orders checked against VTK's own cells, and a mesh of every kind out through meshio's writers and back."""
import itertools
import os
import subprocess
import sys

import meshio
import numpy as np
import pytest

import tervikrom
from tervikrom import meshio as tmeshio

COMMAND = os.environ["TERVIKROM"]

# Hexahedra and prisms extruded from a quad and a triangle patch, tetrahedra and pyramids
# above them; physical groups of every dimension.
GEO = """
lc = 0.5;
Point(1) = {0, 0, 0, lc}; Point(2) = {1, 0, 0, lc}; Point(3) = {1, 1, 0, lc}; Point(4) = {0, 1, 0, lc};
Point(5) = {2, 0, 0, lc}; Point(6) = {2, 1, 0, lc};
Line(1) = {1, 2}; Line(2) = {2, 3}; Line(3) = {3, 4}; Line(4) = {4, 1};
Line(5) = {2, 5}; Line(6) = {5, 6}; Line(7) = {6, 3};
Curve Loop(1) = {1, 2, 3, 4}; Plane Surface(1) = {1};
Curve Loop(2) = {5, 6, 7, -2}; Plane Surface(2) = {2};
Transfinite Curve{1, 2, 3, 4} = 3; Transfinite Surface{1}; Recombine Surface{1};
low[] = Extrude {0, 0, 1} { Surface{1, 2}; Layers{2}; Recombine; };
high[] = Extrude {0, 0, 1} { Surface{low[0], low[6]}; };
Physical Volume("solid") = {low[1], low[7]};
Physical Volume("cap") = {high[1], high[7]};
Physical Surface("bottom") = {1, 2};
Physical Curve("edge") = {1, 5};
Physical Point("corner") = {1};
"""


def run(*args):
    return subprocess.run([*map(str, args)], capture_output=True, text=True, timeout=300)


def vtk_faults(vtu):
    """(VTK cell type, fault) of the cells VTK reads from vtu: a mid-edge node off the middle
    of its edge (VTK's edges of the cell), a face of a solid turned inwards (VTK's faces)."""
    import vtk
    from vtk.util.numpy_support import vtk_to_numpy
    reader = vtk.vtkXMLUnstructuredGridReader()
    reader.SetFileName(str(vtu))
    reader.Update()
    grid = reader.GetOutput()
    points = vtk_to_numpy(grid.GetPoints().GetData())
    faults = set()
    for c in range(grid.GetNumberOfCells()):
        cell = grid.GetCell(c)
        centre = points[[cell.GetPointId(k) for k in range(cell.GetNumberOfPoints())]].mean(axis=0)
        for e in range(cell.GetNumberOfEdges()):
            edge = [cell.GetEdge(e).GetPointId(k) for k in range(cell.GetEdge(e).GetNumberOfPoints())]
            if len(edge) == 3 and not np.allclose(points[edge[2]], points[edge[:2]].mean(axis=0)):
                faults.add((grid.GetCellType(c), "mid-edge node"))
        for f in range(cell.GetNumberOfFaces() if cell.GetCellDimension() == 3 else 0):
            face = points[[cell.GetFace(f).GetPointId(k) for k in range(cell.GetFace(f).GetNumberOfPoints())]]
            if np.dot(np.cross(face[1] - face[0], face[2] - face[0]), face.mean(axis=0) - centre) <= 0:
                faults.add((grid.GetCellType(c), "face turned inwards"))
    return faults


def merged(cells):
    """meshio's blocks, those of one type in a row as one (as the tables keep them)."""
    return [(kind, np.concatenate([block.data for block in blocks]))
            for kind, blocks in itertools.groupby(cells, key=lambda block: block.type)]


@pytest.mark.parametrize("dimension, order, cells", [
    (2, 1, ["vertex", "line", "quad", "triangle"]),
    (2, 2, ["vertex", "line3", "quad8", "triangle6"]),
    (3, 1, ["vertex", "line", "quad", "triangle", "hexahedron", "wedge", "tetra", "pyramid", "tetra"]),
    (3, 2, ["vertex", "line3", "quad8", "triangle6", "hexahedron20", "wedge15", "tetra10", "pyramid13", "tetra10"]),
])
def test_gmsh_meshes_import_as_meshio_reads_them_and_export_in_vtk_node_order(tmp_path, dimension, order, cells):
    (tmp_path / "part.geo").write_text(GEO)
    msh, mine = tmp_path / "part.msh", tmp_path / "part.rommsh"
    made = run("gmsh", "-%d" % dimension, "-order", order, "-setnumber", "Mesh.SecondOrderIncomplete", 1,
               tmp_path / "part.geo", "-o", msh)
    assert made.returncode == 0, made.stdout + made.stderr
    result = run(COMMAND, "import", msh, "-o", mine)
    assert result.returncode == 0 and os.path.isfile(tmp_path / "part.romcfg"), result.stderr
    reference, mesh = meshio.read(msh), tervikrom.load(mine)
    back = mesh.to_meshio()
    np.testing.assert_array_equal(back.points, reference.points)
    assert [block.type for block in back.cells] == [cell_type for cell_type, _ in merged(reference.cells)] == cells
    for ours, (cell_type, theirs) in zip(back.cells, merged(reference.cells)):
        ours = ours.data
        if cell_type == "wedge15":  # meshio reads Gmsh's Prism15 turned over; the export checks ours below
            ours, theirs = np.sort(ours, axis=1), np.sort(theirs, axis=1)
        np.testing.assert_array_equal(ours, theirs, err_msg=cell_type)
    numbers = np.cumsum([0] + [len(block) for block in reference.cells])  # element ids: meshio's order from 1
    groups = {name: members for name, members in reference.cell_sets.items() if not name.startswith("gmsh:")}
    assert sum(any(len(m) for m in members if m is not None) for members in groups.values()) == 2 * dimension - 1
    for name, members in groups.items():
        found = [(numbers[b] + np.asarray(m) + 1, reference.cells[b].data[m]) for b, m in enumerate(members)
                 if m is not None and len(m)]
        if not found:
            continue
        np.testing.assert_array_equal(mesh.support_data(name + "-elements").entities,
                                      np.sort(np.concatenate([ids for ids, _ in found])))
        np.testing.assert_array_equal(mesh.support_data(name + "-nodes").entities,
                                      np.unique(np.concatenate([nodes.reshape(-1) for _, nodes in found])) + 1)
    exported = run(COMMAND, "export", mine, "-o", tmp_path / "part")
    assert exported.returncode == 0 and vtk_faults(tmp_path / "part.vtu") == set(), exported.stderr
    read = meshio.read(tmp_path / "part.vtu")
    np.testing.assert_array_equal(read.points, reference.points)
    assert [(block.type, block.data.tolist()) for block in read.cells] == \
        [(block.type, block.data.tolist()) for block in back.cells]


@pytest.mark.parametrize("broken", [None, 54321])
def test_a_mesh_of_several_pieces_exports_its_cells_as_its_tables_give_them(tmp_path, broken):
    """Mixed kinds over several of the pieces the export makes and writes at a time (points of
    4.8 MB among them), polygons and a polyhedron after them; a reference to no node in a
    later piece names its element."""
    rng = np.random.default_rng(7)
    kinds = {kind.type: kind for kind in tmeshio.kinds() if kind.vtk_nodes == kind.node_count}
    codes = rng.choice(sorted(kinds), 70000).astype(np.int32)
    sizes = np.array([kinds[c].node_count for c in codes])
    nodes, first = 200000, 1001
    refs = rng.integers(first, first + nodes, sizes.sum()).astype(np.int32)
    polygons = np.array([3, first, first + 1, first + 2, 4, first + 3, first + 4, first + 5, first + 6], np.int32)
    a, b, c, d = range(first + 7, first + 11)
    polyhedron = np.array([4, 3, a, b, c, 3, a, b, d, 3, b, c, d, 3, a, c, d], dtype=np.int32)
    cfg = tervikrom.MeshDataCfg()
    cfg.configure_node_data(count=nodes, dimension=3)
    elements = cfg.configure_element_data()
    elements.configure_std_element_data(count=len(codes), connectivity_table_size=len(refs))
    user = elements.configure_user_element_data()
    user.configure_polygon_data(count=2, connectivity_table_size=len(polygons))
    user.configure_polyhedron_data(count=1, connectivity_table_size=len(polyhedron))
    cfg.add_region(solver_id="all", caption="all").add_support(
        solver_id="all-nodes", entity_count=nodes, entities_type=tmeshio.NODE_ENTITIES)
    cfg.check()
    data = tervikrom.MeshData(cfg)
    data.support_data("all-nodes").entities = np.arange(first, first + nodes, dtype=np.int32)
    points = rng.random((nodes, 3))
    data.node_data.coordinates = points
    data.node_data.ids = np.arange(first, first + nodes, dtype=np.int32)
    ends = np.cumsum(sizes)
    if broken is not None:
        refs[ends[broken] - 1] = first + nodes
    std = data.std_element_data
    std.types, std.ids, std.connectivity = codes, np.arange(1, len(codes) + 1, dtype=np.int32), refs
    data.polygon_data.ids = np.array([70001, 70002], dtype=np.int32)
    data.polygon_data.connectivity = polygons
    data.polyhedron_data.ids = np.array([70003], dtype=np.int32)
    data.polyhedron_data.connectivity = polyhedron
    data.save(tmp_path / "mixed.rommsh")
    exported = run(COMMAND, "export", tmp_path / "mixed.rommsh", "-o", tmp_path / "mixed")
    if broken is not None:
        assert exported.returncode == 1 and exported.stderr == "tervikrom: %s: standard element %d names node %d, " \
            "which the mesh does not hold (give --indices if references are node indices)\n" \
            % (tmp_path / "mixed.rommsh", broken, first + nodes)
        assert not (tmp_path / "mixed.vtu").exists()
        return
    assert exported.returncode == 0, exported.stderr
    import vtk
    from vtk.util.numpy_support import vtk_to_numpy
    reader = vtk.vtkXMLUnstructuredGridReader()
    reader.SetFileName(str(tmp_path / "mixed.vtu"))
    reader.Update()
    grid = reader.GetOutput()
    np.testing.assert_array_equal(vtk_to_numpy(grid.GetPoints().GetData()), points)
    np.testing.assert_array_equal(vtk_to_numpy(grid.GetCellTypesArray()),
                                  [kinds[c].vtk_type for c in codes] + [7, 7, 42])
    cells = grid.GetCells()
    user_nodes = np.array([0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10])
    np.testing.assert_array_equal(vtk_to_numpy(cells.GetConnectivityArray()),
                                  np.concatenate([refs - first, user_nodes]))
    np.testing.assert_array_equal(vtk_to_numpy(cells.GetOffsetsArray()),
                                  np.concatenate([[0], ends, ends[-1] + np.array([3, 7, 11])]))


def every_kind(folder):
    """A mesh of one element of each kind (node ids from 101, element ids from 1), two polygons,
    a polyhedron, and a node and an element support."""
    kinds = tmeshio.kinds()
    count = sum(kind.node_count for kind in kinds) + 11
    cfg = tervikrom.MeshDataCfg()
    cfg.unit = "mm"
    cfg.configure_node_data(count=count, dimension=3)
    elements = cfg.configure_element_data()
    elements.configure_std_element_data(count=len(kinds), connectivity_table_size=count - 11)
    user = elements.configure_user_element_data()
    user.configure_polygon_data(count=2, connectivity_table_size=9)
    user.configure_polyhedron_data(count=1, connectivity_table_size=17)
    region = cfg.add_region(solver_id="all", caption="all")
    region.add_support(solver_id="all-nodes", entity_count=count, entities_type=tmeshio.NODE_ENTITIES)
    region.add_support(solver_id="all-elements", entity_count=len(kinds) + 3, entities_type=tmeshio.ELEMENT_ENTITIES)
    cfg.check()
    data = tervikrom.MeshData(cfg)
    data.node_data.coordinates = np.random.default_rng(5).random((count, 3))
    data.node_data.ids = np.arange(101, 101 + count, dtype=np.int32)
    std = data.std_element_data
    std.types = np.array([kind.type for kind in kinds], dtype=np.int32)
    std.ids = np.arange(1, len(kinds) + 1, dtype=np.int32)
    std.connectivity = np.arange(101, 101 + count - 11, dtype=np.int32)
    last = 101 + count - 11
    data.polygon_data.ids = np.array([18, 19], dtype=np.int32)
    data.polygon_data.connectivity = np.array([3, *range(last, last + 3), 4, *range(last + 3, last + 7)], np.int32)
    a, b, c, d = range(last + 7, last + 11)  # a tetrahedron as a polyhedron
    data.polyhedron_data.ids = np.array([20], dtype=np.int32)
    data.polyhedron_data.connectivity = np.array([4, 3, a, b, c, 3, a, b, d, 3, b, c, d, 3, a, c, d], dtype=np.int32)
    data.support_data("all-nodes").entities = data.node_data.ids.copy()
    data.support_data("all-elements").entities = np.arange(1, len(kinds) + 4, dtype=np.int32)
    data.save(folder / "kinds.rommsh")
    return tervikrom.load(folder / "kinds.rommsh")


def same(first, second):
    """Equal points, cell blocks (a polyhedron as its faces) and element ids."""
    def listed(mesh):
        return [(block.type, [[np.asarray(face).tolist() for face in cell] if block.type.startswith("polyhedron")
                              else np.asarray(cell).tolist() for cell in block.data]) for block in mesh.cells]
    np.testing.assert_array_equal(first.points, second.points)
    assert listed(first) == listed(second)
    np.testing.assert_equal(first.cell_data["ElementId"], second.cell_data["ElementId"])


def test_every_kind_goes_through_meshio_to_vtu_xdmf_and_the_format_it_registers_and_back(tmp_path):
    mesh = every_kind(tmp_path)
    out = mesh.to_meshio()
    types = [block.type for block in out.cells]
    assert types == [kind.meshio_type for kind in tmeshio.kinds()] + ["polygon", "polygon", "polyhedron4"]
    assert out.point_sets["all-nodes"].tolist() == list(range(len(out.points)))
    assert [len(cells) for cells in out.cell_sets["all-elements"]] == [1] * len(types)
    # meshio's VTU writer takes polyhedra only alone; its XDMF reader reads mixed grids of a
    # few kinds only, and neither polygons nor polyhedra: one file a kind
    parts = {"vtu": slice(0, -1), "polyhedron.vtu": slice(-1, None)}
    parts.update({"%d.xdmf" % index: slice(index, index + 1) for index in range(len(types) - 3)})
    for name, blocks in parts.items():
        part = meshio.Mesh(out.points, out.cells[blocks], point_data=out.point_data,
                           cell_data={"ElementId": out.cell_data["ElementId"][blocks]})
        file = tmp_path / ("kinds." + name)
        meshio.write(file, part, **({"data_format": "XML"} if name.endswith("xdmf") else {}))
        same(meshio.read(file), part)
    back = tervikrom.from_meshio(meshio.read(tmp_path / "kinds.vtu"))
    beams = {"Beam3": "Line2", "Beam4": "Line3"}  # their orienting node stays a point of no cell
    names = [kind.name for kind in tmeshio.kinds()]
    assert [names[code] for code in back.std_element_data.types] == [beams.get(name, name) for name in names]
    for index, kind in enumerate(tmeshio.kinds()):
        np.testing.assert_array_equal(back.std_element_data.element(index),
                                      mesh.std_element_data.element(index)[:kind.vtk_nodes])
    np.testing.assert_array_equal(back.polygon_data.connectivity, mesh.polygon_data.connectivity)
    np.testing.assert_array_equal(back.node_data.ids, mesh.node_data.ids)
    same(meshio.read(tmp_path / "kinds.rommsh"), out)
    part = meshio.Mesh(np.eye(3), [("triangle", np.array([[0, 1, 2]]))], point_sets={"tip": np.array([2])})
    meshio.write(tmp_path / "tri.rommsh", part)
    assert [s.solver_id for s in tervikrom.load(tmp_path / "tri.romcfg").supports] == \
        ["mesh-nodes", "mesh-elements", "tip-nodes"]
    assert tervikrom.load(tmp_path / "tri.rommsh").support_data("tip-nodes").entities.tolist() == [3]
    meshio.write(tmp_path / "tri.vtu", part)
    # meshio imported after the package registers the format too; meshio's command line knows it
    script = "import tervikrom, meshio; print(len(meshio.read(%r).points))" % str(tmp_path / "tri.rommsh")
    assert run(sys.executable, "-c", script).stdout == "3\n"
    converted = run(sys.executable, "-m", "tervikrom.meshio", "convert", tmp_path / "tri.vtu", tmp_path / "c.rommsh")
    assert converted.returncode == 0 and len(tervikrom.load(tmp_path / "c.rommsh").node_data) == 3, converted.stderr


@pytest.mark.parametrize("mesh, named", [
    (meshio.Mesh(np.zeros((9, 2)), [("quad9", np.arange(9)[None])]), "'quad9' have no element kind"),
    (meshio.Mesh(np.eye(3), [("triangle", np.array([[0, 1, 2]]))], point_data={"NodeId": np.array([4, 4, 5])}),
     "NodeId gives a node id twice"),
    (meshio.Mesh(np.eye(3), [("triangle", np.array([[0, 1, 2]]))], point_sets={"mesh-nodes": np.array([0])}),
     "make the support mesh-nodes"),
    (meshio.Mesh(np.eye(3), [("triangle", np.array([[0, 1, 3]]))]), "'triangle' name the point 3; the mesh has the "
     r"points 0 to 2"),
    (meshio.Mesh(np.eye(3), [("triangle", np.array([[0, -1, 2]]))], point_data={"NodeId": np.array([7, 3, 5])}),
     "'triangle' name the point -1"),
    (meshio.Mesh(np.eye(3), [("triangle", np.array([[0, 1, 2]])), ("line", np.array([[1, 2]]))],
                 cell_data={"ElementId": [np.array([8]), np.array([8])]}), "ElementId gives an element id twice"),
])
def test_meshes_without_a_place_in_the_library_are_refused(mesh, named):
    with pytest.raises(tervikrom.Error, match=named):
        tervikrom.from_meshio(mesh)


@pytest.mark.parametrize("args, status, named", [
    (["{out}/absent.msh", "-o", "{out}/x.rommsh"], 1, "{out}/absent.msh: cannot open the file: No such file"),
    (["{out}/part.geo", "-o", "{out}/x.rommsh"], 1, "{out}/part.geo: meshio cannot read it"),
    (["{out}/part.geo", "-o", "{out}/absent/x.rommsh"], 1, "cannot write into the folder {out}/absent: No such file"),
    (["{out}/part.geo", "-o", "{out}/x.vtu"], 2, "-o {out}/x.vtu: the output is a mesh file (.rommsh)"),
])
def test_import_failures_name_the_file(tmp_path, args, status, named):
    (tmp_path / "part.geo").write_text(GEO)
    result = run(COMMAND, "import", *[a.format(out=tmp_path) for a in args])
    assert result.returncode == status and result.stderr.count(named.format(out=tmp_path)) == 1, result.stderr
    assert sorted(p.name for p in tmp_path.iterdir()) == ["part.geo"]
