"""The tervikrom command on the files of the workflow example and of all_kinds_files.

TERVIKROM names the command, TERVIKROM_FILES the folder holding those files. The library's
own values come from `tervikrom info --json --tables`; the VTK cases read each export with
VTK's XML reader and compare it with what the tables imply."""
import json
import os
import struct
import subprocess
import xml.etree.ElementTree as ElementTree

import numpy as np
import pytest

COMMAND = os.environ["TERVIKROM"]
FILES = os.environ["TERVIKROM_FILES"]


def path(name):
    return os.path.join(FILES, name)


def run(*args):
    return subprocess.run([COMMAND, *map(str, args)], capture_output=True, text=True)


def info(*files, tables=False):
    result = run("info", "--json", *(["--tables"] if tables else []), *files)
    assert result.returncode == 0, result.stderr
    return {os.path.basename(entry["file"]): entry for entry in json.loads(result.stdout)["files"]}


KINDS = {
    "setup.romcfg": "setup",
    "mesh.romcfg": "meshDataConfiguration",
    "snapshot.romcfg": "snapshotConfiguration",
    "mesh.rommsh": "mesh",
    "run-1.romsnp": "snapshot",
    "runs.romcch": "snapshotCache",
    "project.rompjt": "project",
}


def test_info_json_gives_the_kind_and_versions_of_every_file():
    files = info(*map(path, KINDS))
    for name, kind in KINDS.items():
        versions = files[name]["versions"]
        assert files[name]["kind"] == kind
        assert versions["productVersion"] == "18.2"
        if name.endswith((".rommsh", ".romsnp", ".rompjt")):
            assert (versions["frameVersion"], versions["typeVersion"]) == (1, 1)
        else:
            assert versions["fileVersion"] == 1


@pytest.mark.parametrize("name, keys, expected", [
    ("mesh.rommsh", ("nodes",), {"count": 12, "dimension": 3}),
    ("mesh.rommsh", ("standardElements", "kinds"), {"Hex8": 1, "Tet4": 1, "Tri3": 1}),
    ("mesh.rommsh", ("polyhedrons",), {"count": 1, "connectivitySize": 22}),
    ("mesh.rommsh", ("regions", 1, "supports", 0), {"solverId": "skin-faces", "entityType": 3, "entityCount": 2}),
    ("setup.romcfg", ("fields", 1, "supports"), ["solid-cells", "skin-faces"]),
    ("setup.romcfg", ("fields", 0, "components"), ["ux", "uy", "uz"]),
    ("snapshot.romcfg", ("supports", 2), {"solverId": "skin-faces", "entityCount": 2, "components": ["p"]}),
    ("run-1.romsnp", ("pairs", 4),
     {"component": "p", "support": "skin-faces", "assigned": 2, "expected": 2, "filled": True}),
    ("runs.romcch", ("entries", 0, "input"), {"load": 1500.0}),
    ("runs.romcch", ("entries", 0, "output"), {"max-displacement": 0.0123}),
    ("kinds.rommsh", ("standardElements", "count"), 17),
])
def test_info_json_describes_what_a_file_holds(name, keys, expected):
    value = info(path(name))[name]
    for key in keys:
        value = value[key]
    assert value == expected


def test_info_text_lists_readable_files_and_fails_on_the_others():
    result = run("info", path("mesh.rommsh"), path("absent.rommsh"), path("notes.txt"))
    assert result.returncode == 1
    assert path("mesh.rommsh") + ": mesh" in result.stdout
    assert "absent.rommsh: resume:" in result.stderr
    assert 'unknown file kind ".txt"' in result.stderr


@pytest.mark.parametrize("args", [
    list(map(path, KINDS)),
    ["--mesh", path("mesh.rommsh"), path("run-1.romsnp")],
    ["--mesh", path("kinds.rommsh"), *map(path, ["kinds.rommsh", "kinds-a.romsnp", "kinds-b.romsnp"])],
])
def test_validate_accepts_sound_files(args):
    result = run("validate", *args)
    assert (result.returncode, result.stderr) == (0, "")


def ints(format, *values):
    return struct.pack("<" + format * len(values), *values)


# (file, bytes replaced, replacement, options, finding); None cuts the file short, b""
# keeps it as it is.
CORRUPTIONS = [
    ("mesh.rommsh", None, None, [], "System error while trying to read from a file."),
    ("mesh.rommsh", ints("i", 107, 104, 105, 106, 108), ints("i", 99, 104, 105, 106, 108), [],
     "standard elements: 1 references to no node; first: element 0 (id 1, Hex8) entry 7 names node 99"),
    ("mesh.rommsh", ints("I", 11, 9, 5), ints("I", 11, 42, 5), [],
     "standard elements: 1 elements of unknown type codes (0 to 16 are known); first: element 1 (id 2) has code 42"),
    ("mesh.rommsh", ints("i", 4, 104, 105, 106, 107), ints("i", 5, 104, 105, 106, 107), [],
     "polygons: polygon 0 (entries 0 on) runs past the end of the table of 5"),
    ("mesh.rommsh", b"", b"", ["--indices"],
     "polygons: 4 references to no node; first: polygon 0 (id 4) entry 1 names node 104"),
    ("run-1.romsnp", ints("I", 100, 101), ints("I", 100, 100), [], "ids given more than once; first: id 100"),
    ("run-1.romsnp", ints("I", 110, 111), ints("I", 110, 999), ["--mesh", path("mesh.rommsh")],
     "component ux on support solid-nodes: 1 ids that are not entities of the mesh's support solid-nodes; "
     "first: value 11 has id 999"),
]


@pytest.mark.parametrize("name, old, new, options, finding", CORRUPTIONS)
def test_validate_names_the_problem_of_a_damaged_file(tmp_path, name, old, new, options, finding):
    data = open(path(name), "rb").read()
    if old is None:
        data = data[:-20]
    else:
        assert data.count(old) >= 1
        data = data.replace(old, new, 1)
    damaged = tmp_path / name
    damaged.write_bytes(data)
    result = run("validate", *options, damaged)
    assert result.returncode == 1
    assert f"{damaged}: " in result.stderr and finding in result.stderr, result.stderr


@pytest.mark.parametrize("args", [
    [], ["info"], ["frobnicate"], ["info", "--frobnicate", path("mesh.rommsh")],
    ["export", path("mesh.rommsh")], ["export", path("mesh.rommsh"), "-o", "x", "--location", "solid-nodes"],
    ["validate", "--mesh", path("absent.rommsh"), path("run-1.romsnp")],
])
def test_usage_errors_exit_with_2(args):
    result = run(*args)
    assert result.returncode == 2 and result.stderr and not result.stdout


@pytest.mark.parametrize("args, text", [
    (["--version"], "tervikrom 18.2.0"), (["--help"], "Subcommands:"), (["info", "--help"], "--tables"),
    (["validate", "--help"], "--mesh"), (["export", "--help"], "--location"),
])
def test_help_and_version(args, text):
    result = run(*args)
    assert result.returncode == 0 and text in result.stdout


@pytest.mark.parametrize("files, options, blamed, message", [
    (["kinds.rommsh", "kinds-a.romsnp"], [], "kinds-a.romsnp",
     "every entity of the support cells names a node and an element alike; "
     "give --location cells=points or --location cells=cells"),
    (["kinds.rommsh", "kinds-a.romsnp"], ["--indices", "--location", "cells=cells"], "kinds.rommsh",
     "standard element 8 names node 30, which the mesh does not hold"),
    (["mesh.rommsh"], ["--indices"], "mesh.rommsh", "polygon 0 names node 104, which the mesh does not hold"),
])
def test_export_failures_name_the_file_and_leave_no_output(tmp_path, files, options, blamed, message):
    result = run("export", *options, *map(path, files), "-o", tmp_path / "out")
    assert (result.returncode, result.stderr) == (1, f"tervikrom: {path(blamed)}: {message}\n")
    assert not list(tmp_path.iterdir())


# ---- Exports read by VTK ---------------------------------------------------------------

# Library kind code -> (node count, VTK cell type, nodes the VTK cell takes).
CELLS = [(1, 1, 1), (2, 3, 2), (3, 21, 3), (3, 3, 2), (4, 21, 3), (3, 5, 3), (6, 22, 6), (4, 9, 4), (8, 23, 8),
         (4, 10, 4), (10, 24, 10), (8, 12, 8), (20, 25, 20), (6, 13, 6), (15, 26, 15), (5, 14, 5), (13, 27, 13)]

EXPORTS = [
    ("workflow", "mesh.rommsh", ["run-1.romsnp"], [],
     {"solid-nodes": "points", "solid-cells": "cells", "skin-faces": "cells"}),
    ("kinds", "kinds.rommsh", ["kinds-a.romsnp", "kinds-b.romsnp"], ["--location", "cells=cells"],
     {"nodes": "points", "cells": "cells", "corner": "points"}),
]


def expected_grid(tables, dimension, indices):
    """Points (padded to three coordinates), cells (VTK type, points, faces) and ids as the
    mesh tables imply."""
    node_ids = tables["nodeIds"]
    node = (lambda ref: ref) if indices else {nid: i for i, nid in enumerate(node_ids)}.__getitem__
    cells, at = [], 0
    connectivity = tables["connectivity"]
    for code in tables["types"]:
        count, vtk_type, taken = CELLS[code]
        cells.append((vtk_type, [node(r) for r in connectivity[at:at + taken]], None))
        at += count
    polygons, at = tables["polygonConnectivity"], 0
    for _ in tables["polygonIds"]:
        cells.append((7, [node(r) for r in polygons[at + 1:at + 1 + polygons[at]]], None))
        at += 1 + polygons[at]
    polyhedrons, at = tables["polyhedronConnectivity"], 0
    for _ in tables["polyhedronIds"]:
        faces, at = [], at + 1
        for _ in range(polyhedrons[at - 1]):
            faces.append([node(r) for r in polyhedrons[at + 1:at + 1 + polyhedrons[at]]])
            at += 1 + polyhedrons[at]
        points = list(dict.fromkeys(p for face in faces for p in face))
        cells.append((42, points, faces))
    element_ids = tables["elementIds"] + tables["polygonIds"] + tables["polyhedronIds"]
    points = np.zeros((len(node_ids), 3))
    points[:, :dimension] = np.array(tables["coordinates"]).reshape(-1, dimension)
    return points, cells, np.array(node_ids), np.array(element_ids)


def read_vtu(file):
    import vtk
    from vtk.util.numpy_support import vtk_to_numpy
    reader = vtk.vtkXMLUnstructuredGridReader()
    reader.SetFileName(str(file))
    reader.Update()
    assert not reader.GetErrorCode()
    grid = reader.GetOutput()
    cells = []
    for c in range(grid.GetNumberOfCells()):
        cell = grid.GetCell(c)
        points = [cell.GetPointId(k) for k in range(cell.GetNumberOfPoints())]
        faces = None
        if grid.GetCellType(c) == 42:
            faces = [[cell.GetFace(f).GetPointId(k) for k in range(cell.GetFace(f).GetNumberOfPoints())]
                     for f in range(cell.GetNumberOfFaces())]
        cells.append((grid.GetCellType(c), points, faces))
    data = {}
    for where, attributes in (("points", grid.GetPointData()), ("cells", grid.GetCellData())):
        for a in range(attributes.GetNumberOfArrays()):
            data[(where, attributes.GetArrayName(a))] = vtk_to_numpy(attributes.GetArray(a))
    return vtk_to_numpy(grid.GetPoints().GetData()), cells, data


def expected_data(node_ids, element_ids, snapshot, locations):
    data = {("points", "NodeId"): node_ids, ("cells", "ElementId"): element_ids}
    for pair in snapshot["pairs"]:
        where = locations[pair["support"]]
        ids = node_ids if where == "points" else element_ids
        values = np.full(len(ids), np.nan)
        position = {entity: i for i, entity in enumerate(ids)}
        for entity, value in zip(pair["ids"], pair["values"]):
            values[position[entity]] = value
        data[(where, pair["component"] + "@" + pair["support"])] = values
    return data


@pytest.mark.parametrize("case, mesh, snapshots, options, locations", EXPORTS, ids=[e[0] for e in EXPORTS])
def test_vtk_reads_the_export_as_the_library_holds_it(tmp_path, case, mesh, snapshots, options, locations):
    result = run("export", *options, path(mesh), *map(path, snapshots), "-o", tmp_path / case)
    assert result.returncode == 0, result.stderr
    library = info(path(mesh), *map(path, snapshots), tables=True)
    points, cells, node_ids, element_ids = expected_grid(
        library[mesh]["tables"], library[mesh]["nodes"]["dimension"], "--indices" in options)
    if len(snapshots) == 1:
        outputs = [(tmp_path / f"{case}.vtu", snapshots[0])]
    else:
        collection = ElementTree.parse(tmp_path / f"{case}.pvd").getroot().find("Collection")
        datasets = collection.findall("DataSet")
        assert [(d.get("timestep"), d.get("name")) for d in datasets] == \
            [(str(i), s[:-len(".romsnp")]) for i, s in enumerate(snapshots)]
        outputs = [(tmp_path / d.get("file"), s) for d, s in zip(datasets, snapshots)]
    for vtu, snapshot in outputs:
        read_points, read_cells, read_data = read_vtu(vtu)
        np.testing.assert_array_equal(read_points, points)
        assert read_cells == cells
        expected = expected_data(node_ids, element_ids, library[snapshot], locations)
        assert sorted(read_data) == sorted(expected)
        for key, values in expected.items():
            np.testing.assert_array_equal(read_data[key], values, err_msg=str(key))
