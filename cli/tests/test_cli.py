"""The tervikrom command (TERVIKROM) on the files of the workflow example and of cli_test_files
(in TERVIKROM_FILES). The library's own values come from `tervikrom info --json --tables`; the
VTK cases read each export with VTK's XML reader and compare it with what the tables imply."""
import functools
import json
import operator
import os
import resource
import shutil
import signal
import struct
import subprocess
import xml.etree.ElementTree as ElementTree

import numpy as np
import pytest

COMMAND = os.environ["TERVIKROM"]
FILES = os.environ["TERVIKROM_FILES"]


def path(name):
    return os.path.join(FILES, name)


def run(*args, **options):
    options.setdefault("timeout", 60)
    return subprocess.run([COMMAND, *map(str, args)], capture_output=True, text=True, **options)


def info(*files, tables=False):
    result = run("info", "--json", *(["--tables"] if tables else []), *files)
    assert result.returncode == 0, result.stderr
    return {os.path.basename(entry["file"]): entry for entry in json.loads(result.stdout)["files"]}


KINDS = {"setup.romcfg": "setup", "mesh.romcfg": "meshDataConfiguration", "snapshot.romcfg": "snapshotConfiguration",
         "mesh.rommsh": "mesh", "run-1.romsnp": "snapshot", "runs.romcch": "snapshotCache", "project.rompjt": "project"}


def test_info_json_gives_the_kind_and_versions_of_every_file():
    files = info(*map(path, KINDS))
    for name, kind in KINDS.items():
        versions = files[name]["versions"]
        assert (files[name]["kind"], versions["productVersion"]) == (kind, "18.2")
        assert [versions.get(key) for key in ("frameVersion", "typeVersion", "fileVersion")] == \
            ([1, 1, None] if name.endswith((".rommsh", ".romsnp", ".rompjt")) else [None, None, 1])


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
    assert functools.reduce(operator.getitem, keys, info(path(name))[name]) == expected


def test_info_text_lists_readable_files_and_fails_on_the_others():
    result = run("info", path("mesh.rommsh"), path("absent.rommsh"), path("notes.txt"))
    assert result.returncode == 1 and path("mesh.rommsh") + ": mesh" in result.stdout
    assert "error" not in result.stdout  # said once, on the error stream
    assert "absent.rommsh: cannot open the file: No such file or directory" in result.stderr, result.stderr
    assert 'unknown file kind ".txt"' in result.stderr, result.stderr


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


def swap(old, new, last=False):
    """Damage: the first (or last) occurrence of old replaced by new."""
    def damage(data):
        at = data.rindex(old) if last else data.index(old)
        return data[:at] + new + data[at + len(old):]
    return damage


def wrapped(data):
    """The workflow's mesh with 65,536 nodes of dimension 65,537 announced by both of its
    configurations, and node tables as large as the size wrapped to 32 bits (65,536)."""
    old, new = b'"count":12,"dim":3', b'"count":65536,"dim":65537'
    mesh = data.index(old)
    nodes = data.index(old, mesh + 1)  # the node data's own configuration, then its tables
    for at in nodes, mesh:  # each in its length-prefixed JSON text
        text = data.rindex(b'{"data":', 0, at)
        length, = struct.unpack_from("<i", data, text - 4)
        if at == nodes:
            end = text + length
            data = data[:end] + ints("i", *range(100, 100 + 65536)) + bytes(8 * 65536) + data[end + 12 * 4 + 36 * 8:]
        data = data[:text - 4] + ints("i", length + len(new) - len(old)) + data[text:at] + new + data[at + len(old):]
    return data


POLYHEDRON = ints("i", 5, 4, 104, 105, 106, 107)  # 5 faces, the first of 4 nodes
LAST_FACE = ints("i", 3, 107, 104, 108)


# (damage, findings): the library refuses these at resume, in its words (the first finding);
# the command walks the slices itself too, in its own (the second), for a library that does not.
@pytest.mark.parametrize("damage, findings", [
    (swap(ints("i", 4, 104, 105, 106, 107), ints("i", 5, 104, 105, 106, 107)),
     ("its polygon 0 (nodes) announces 5, where the connectivity table of 5 entries holds 4 after it",
      "polygon 0 (id 4) announces 5 nodes at entry 0, past the end of the polygon connectivity table of 5 entries")),
    (swap(POLYHEDRON, ints("i", 50) + POLYHEDRON[4:]),
     ("its polyhedron 0 (faces) announces 50, where the connectivity table of 22 entries holds 21 after it",
      "polyhedron 0 (id 5) announces 50 faces at entry 0, and the polyhedron connectivity table of 22 entries "
      "ends after 5 of them")),
    (swap(POLYHEDRON, ints("i", 2**31 - 1) + POLYHEDRON[4:]),
     ("its polyhedron 0 (faces) announces 2147483647", "polyhedron 0 (id 5) announces 2147483647 faces")),
    (swap(LAST_FACE, ints("i", 2**31 - 1) + LAST_FACE[4:]),
     ("face 4 of its polyhedron 0 (nodes) announces 2147483647",
      "polyhedron 0 (id 5) face 4 announces 2147483647 nodes, past the end of the polyhedron connectivity table")),
    (wrapped, ("65536 nodes of dimension 65537",)),
    # The mesh's configuration announces more than the polyhedron data's own.
    (swap(b'"connectivityTableSize":22', b'"connectivityTableSize":23'), ()),
])
def test_tables_that_do_not_hold_their_counts_are_refused(tmp_path, damage, findings):
    damaged = tmp_path / "mesh.rommsh"
    damaged.write_bytes(damage(open(path("mesh.rommsh"), "rb").read()))
    for command in ["validate"], ["export", "-o", tmp_path / "out"], ["info", "--json", "--tables"]:
        result = run(*command, damaged)
        assert result.returncode == 1 and str(damaged) in result.stderr, result.stderr
        assert not findings or any(result.stderr.count(finding) == 1 for finding in findings), result.stderr
    assert sorted(p.name for p in tmp_path.iterdir()) == ["mesh.rommsh"]


# (file, damage, options, status, finding): status 1 for a fault, 0 for a warning alone,
# None where either will do (the library may come to refuse the file itself).
CORRUPTIONS = [
    ("mesh.rommsh", lambda data: data[:-20], [], 1, "System error while trying to read from a file."),
    ("mesh.rommsh", swap(ints("i", 107, 104, 105, 106, 108), ints("i", 99, 104, 105, 106, 108)), [], 1,
     "standard elements: 1 references to no node; first: element 0 (id 1, Hex8) entry 7 names node 99"),
    ("mesh.rommsh", swap(ints("I", 11, 9, 5), ints("I", 11, 42, 5)), [], 1,
     "standard elements: 1 elements of unknown type codes (0 to 16 are known); first: element 1 (id 2) has code 42"),
    ("mesh.rommsh", lambda data: data, ["--indices"], 1,
     "polygons: 4 references to no node; first: polygon 0 (id 4) entry 1 names node 104"),
    ("run-1.romsnp", swap(ints("I", 100, 101), ints("I", 100, 100)), [], 1, "ids given more than once; first: id 100"),
    # The library accepts these, but no writer of ours writes them.
    ("mesh.rommsh", lambda data: data + b"xyz", [], 0, "file: warning: 3 bytes after the object"),
    ("run-1.romsnp", lambda data: data + bytes(600), [], 0, "file: warning: 600 bytes after the object"),
    ("snapshot.romcfg", lambda data: data + b"{}", [], 0, "file: warning: a strict JSON reader refuses it: line 56"),
    ("mesh.romcfg", swap(b'"unit"', b'"note" : "x",\n\t\t"unit"'), [], 0,
     "file: warning: the library writes what it read back otherwise, from /meshData/note (not written back) on"),
    ("mesh.romcfg", swap(b'"version"', b'"setup" : 1,\n\t"version"'), [], 0,
     'file: warning: the member "setup" is read by nobody'),
    ("mesh.rommsh", swap(ints("i", 3, 4), ints("i", 3, 4000), last=True), [], 0,
     "support skin-faces: warning: 1 entities that are neither node ids nor element ids; first: entity 1 has id 4000"),
    ("run-1.romsnp", swap(ints("I", 110, 111), ints("I", 110, 999)), ["--mesh", path("mesh.rommsh")], 0,
     "component ux on support solid-nodes: warning: 1 ids that are not entities of the mesh's support solid-nodes; "
     "first: value 11 has id 999"),
    # A configuration of 24 entities over records of 12 values, padded to fill; a support's
    # components given twice.
    ("run-1.romsnp", lambda data: swap(b'"size":12', b'"size":24')(data) + bytes(600), [], 1, None),
    ("run-1.romsnp", swap(b'"solid-cells":["p"]', b'"skin-faces":["p"] '), [], 1, None),
    ("snapshot.romcfg", swap(b'"solid-cells" : [ "p" ]', b'"skin-faces" : [ "p" ]'), [], None, "skin-faces"),
]


@pytest.mark.parametrize("name, damage, options, status, finding", CORRUPTIONS)
def test_validate_names_the_problem_of_a_damaged_file(tmp_path, name, damage, options, status, finding):
    damaged = tmp_path / name
    damaged.write_bytes(damage(open(path(name), "rb").read()))
    result = run("validate", *options, damaged)
    assert result.stderr and all(line.startswith(f"{damaged}: ") for line in result.stderr.splitlines()), result.stderr
    assert (result.returncode == 1 or "warning" in result.stderr) if status is None else \
        (result.returncode, result.stdout) == (status, "" if status else f"{damaged}: valid (1 warning)\n")
    assert finding is None or result.stderr.count(finding) == 1, result.stderr


SPECIAL_FILES = {"fifo": os.mkfifo, "zero": lambda file: os.symlink("/dev/zero", file),
                 "urandom": lambda file: os.symlink("/dev/urandom", file),
                 "sparse": lambda file: subprocess.run(["truncate", "-s", "4G", file], check=True),
                 "nested": lambda file: file.write_text('{"meshData": ' + "[" * 100000 + "]" * 100000 + "}")}


@pytest.mark.parametrize("extension", ["romcfg", "romcch", "rommsh"])
@pytest.mark.parametrize("special", SPECIAL_FILES)
def test_special_files_fail_at_once_naming_the_file(tmp_path, special, extension):
    file = tmp_path / f"{special}.{extension}"
    SPECIAL_FILES[special](file)
    for command in ["info"], ["info", "--json"], ["validate"], ["export", "-o", tmp_path / "out"]:
        result = run(*command, file, timeout=10)
        assert result.returncode == 1 and result.stderr.count("\n") == 1 and str(file) in result.stderr, result.stderr


def test_outputs_replace_links_and_stay_as_they_were_when_an_export_is_stopped_leaving_no_temporary_file(tmp_path):
    victims, out = [tmp_path / "victim-1", tmp_path / "victim-2"], tmp_path / "out.vtu"
    for victim, link in zip(victims, ["out.vtu.part", "out.vtu"]):
        victim.write_text("kept")  # made as the output should be: 0666 less the umask
        os.symlink(victim, tmp_path / link)
    assert run("export", path("mesh.rommsh"), "-o", tmp_path / "out").returncode == 0
    assert [victim.read_text() for victim in victims] == ["kept", "kept"]
    assert out.stat().st_mode == victims[0].stat().st_mode
    written = out.read_bytes()
    limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (1000, 1000))  # SIGXFSZ past 1000 bytes
    result = run("export", path("kinds.rommsh"), "-o", tmp_path / "out", preexec_fn=limit)
    assert result.returncode == -signal.SIGXFSZ and out.read_bytes() == written
    assert sorted((p.name, p.is_symlink()) for p in tmp_path.iterdir()) == [
        ("out.vtu", False), ("out.vtu.part", True), ("victim-1", False), ("victim-2", False)]


# Usage errors exit with 2, said on the error stream alone; help and version on the output.
@pytest.mark.parametrize("args, text", [
    ([], None), (["info"], None), (["frobnicate"], None), (["info", "--frobnicate", path("mesh.rommsh")], None),
    (["export", path("mesh.rommsh")], None),
    (["export", path("mesh.rommsh"), "-o", "x", "--location", "solid-nodes"], None),
    (["validate", "--mesh", path("absent.rommsh"), path("run-1.romsnp")], None),
    (["--version"], "tervikrom 18.2.0"), (["--help"], "Subcommands:"), (["info", "--help"], "--tables"),
    (["validate", "--help"], "--mesh"), (["export", "--help"], "--location"),
])
def test_usage_errors_help_and_version(args, text):
    result = run(*args)
    assert (result.returncode == 2 and result.stderr and not result.stdout) if text is None else \
        (result.returncode == 0 and text in result.stdout)


# (arguments, exit status, what the one message names): usage errors and outputs that cannot be written, said
# before any file is read; files that cannot be exported, named. Nothing is written.
@pytest.mark.parametrize("args, status, named", [
    (["exprot", "mesh.rommsh"], 2, 'unknown subcommand "exprot"; the subcommands are info, validate, export, rom, '
     "import"),
    (["export", "mesh.rommsh", "-o", "{out}/run.vtk"], 2, "-o {out}/run.vtk: the export writes VTK XML unstructured "
     "grids (.vtu, and a .pvd for several snapshots), not .vtk files; give -o {out}/run or -o {out}/run.vtu"),
    (["export", "mesh.rommsh", "-o", "{out}/absent/run"], 1,
     "-o {out}/absent/run: cannot write into the folder {out}/absent: No such file or directory"),
    (["export", "mesh.rommsh", "-o", "{out}/run", "--location", "skin=cells"], 2,
     "{files}/mesh.rommsh: --location names the support skin, which the mesh does not have; its supports: "
     "solid-nodes, solid-cells, skin-faces"),
    (["export", "mesh.rommsh", "run-1.romsnp", "-o", "{out}/run", "--time", "load"], 2,
     "--time load orders the snapshots of a cache: give --cache"),
    (["export", "--location", "block-nodes=cells", "block/block.rommsh", "block/run-0.romsnp", "-o", "{out}/out"], 1,
     "{files}/block/run-0.romsnp: the value of vx on block-nodes for entity 8001 names no element of the mesh "
     "(--location block-nodes=cells puts the support's values on the cells)"),
    (["export", "--indices", "kinds.rommsh", "kinds-a.romsnp", "-o", "{out}/out"], 1,
     "{files}/kinds.rommsh: standard element 8 names node 30, which the mesh does not hold"),
    (["export", "--indices", "mesh.rommsh", "-o", "{out}/out"], 1,
     "{files}/mesh.rommsh: polygon 0 names node 104, which the mesh does not hold"),
    (["export", "--cache", "{files}/block/runs.romcch", "--time", "speed", "block/block.rommsh", "-o", "{out}/out"], 1,
     "{files}/block/runs.romcch: --time speed: entry 0 (run-0.romsnp) has no input parameter speed; its input "
     "parameters: load, time"),
])
def test_errors_are_said_once_and_name_what_to_change(tmp_path, args, status, named):
    fill = lambda text: text.format(out=tmp_path, files=FILES)
    result = run(*[fill(a) if "{" in a else path(a) if a.endswith((".rommsh", ".romsnp")) else a for a in args])
    said = [line for line in result.stderr.splitlines() if line.startswith("tervikrom")]
    assert result.returncode == status and said == ["tervikrom: " + fill(named)], result.stderr
    assert status == 2 or result.stderr == said[0] + "\n", result.stderr
    assert not list(tmp_path.iterdir())


# ---- Exports read by VTK ---------------------------------------------------------------

# Library kind code -> (node count, VTK cell type, nodes the VTK cell takes).
CELLS = [(1, 1, 1), (2, 3, 2), (3, 21, 3), (3, 3, 2), (4, 21, 3), (3, 5, 3), (6, 22, 6), (4, 9, 4), (8, 23, 8),
         (4, 10, 4), (10, 24, 10), (8, 12, 8), (20, 25, 20), (6, 13, 6), (15, 26, 15), (5, 14, 5), (13, 27, 13)]

# The supports' entity types place the values (1: nodes, 2 and 3: elements); the workflow's
# set-up, found beside its mesh, would group its components.
EXPORTS = [
    ("workflow", "mesh.rommsh", ["run-1.romsnp"], ["--split-components"],
     {"solid-nodes": "points", "solid-cells": "cells", "skin-faces": "cells"}),
    ("kinds", "kinds.rommsh", ["kinds-a.romsnp", "kinds-b.romsnp"], [],
     {"nodes": "points", "cells": "cells", "corner": "points"}),
]


def expected_grid(tables, dimension):
    """Points (padded to 3-D), cells (VTK type, points, faces) and ids as the mesh tables imply."""
    node_ids = tables["nodeIds"]
    node = {nid: i for i, nid in enumerate(node_ids)}.__getitem__
    cells, at, connectivity = [], 0, tables["connectivity"]
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
        cells.append((42, list(dict.fromkeys(p for face in faces for p in face)), faces))
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
        faces = [[cell.GetFace(f).GetPointId(k) for k in range(cell.GetFace(f).GetNumberOfPoints())]
                 for f in range(cell.GetNumberOfFaces())] if grid.GetCellType(c) == 42 else None
        cells.append((grid.GetCellType(c), points, faces))
    data, read_vtu.labels = {}, {}
    for where, attributes in (("points", grid.GetPointData()), ("cells", grid.GetCellData())):
        for a in range(attributes.GetNumberOfArrays()):
            array = attributes.GetArray(a)
            data[(where, array.GetName())] = vtk_to_numpy(array)
            names = [array.GetComponentName(c) for c in range(array.GetNumberOfComponents())]
            read_vtu.labels[(where, array.GetName())] = (names, array.GetInformation().Get(array.UNITS_LABEL()))
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
    points, cells, node_ids, element_ids = expected_grid(library[mesh]["tables"], library[mesh]["nodes"]["dimension"])
    if len(snapshots) == 1:
        outputs = [(tmp_path / f"{case}.vtu", snapshots[0])]
    else:
        datasets = ElementTree.parse(tmp_path / f"{case}.pvd").getroot().find("Collection").findall("DataSet")
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


def test_vtk_reads_one_whole_export_after_two_at_once_to_one_output(tmp_path):
    points = {"mesh.rommsh": 12, "kinds.rommsh": 30}
    for _ in range(20):
        exports = [subprocess.Popen([COMMAND, "export", path(mesh), "-o", tmp_path / "out"], stdout=subprocess.DEVNULL)
                   for mesh in points]
        assert [export.wait() for export in exports] == [0, 0]
        assert len(read_vtu(tmp_path / "out.vtu")[0]) in points.values()
    assert [p.name for p in tmp_path.iterdir()] == ["out.vtu"]


# ---- The block: fields, units and series --------------------------------------------

def block_data(run):
    """The arrays cli_test_files writes for a run (a block of 20^3 cells), as the export names them with the set-up."""
    nodes, elements = np.arange(1, 21 ** 3 + 1), np.arange(1, 20 ** 3 + 1)
    velocity = (run + 1.0) * np.column_stack((nodes, -nodes, np.full(len(nodes), 0.5)))
    return {("points", "NodeId"): nodes, ("cells", "ElementId"): elements, ("points", "velocity"): velocity,
            ("cells", "pressure"): 1000.0 * run + elements}


@pytest.mark.parametrize("options, names, times", [
    ([], ["run-0", "run-1", "run-2"], ["0", "1", "2"]),
    (["--time", "time"], ["run-1", "run-2", "run-0"], ["0.5", "1", "2"]),
    (["--time", "load", "--split-components"], ["run-0", "run-1", "run-2"], ["0", "10", "20"]),
])
def test_vtk_and_meshio_read_a_cache_as_a_series_ordered_by_its_parameter(tmp_path, options, names, times):
    import meshio
    result = run("export", path("block/block.rommsh"), "--cache", path("block/runs.romcch"), *options,
                 "-o", tmp_path / "series.pvd")
    assert result.returncode == 0 and result.stderr == "", result.stderr
    points, cells, _, _ = expected_grid(info(path("block/block.rommsh"), tables=True)["block.rommsh"]["tables"], 3)
    datasets = ElementTree.parse(tmp_path / "series.pvd").getroot().find("Collection").findall("DataSet")
    assert [(d.get("name"), d.get("timestep")) for d in datasets] == list(zip(names, times))
    for dataset, name in zip(datasets, names):
        read_points, read_cells, data = read_vtu(tmp_path / dataset.get("file"))
        mesh = meshio.read(tmp_path / dataset.get("file"))
        np.testing.assert_equal((read_points, mesh.points), (points, points))
        assert read_cells == cells
        assert [(block.type, block.data.tolist()) for block in mesh.cells] == [("hexahedron", [c[1] for c in cells])]
        expected = block_data(int(name[-1]))
        if "--split-components" in options:
            velocity = expected.pop(("points", "velocity"))
            expected.update({("points", c + "@block-nodes"): velocity[:, i] for i, c in enumerate(["vx", "vy", "vz"])})
            expected[("cells", "p@block-cells")] = expected.pop(("cells", "pressure"))
            assert read_vtu.labels[("points", "vy@block-nodes")] == ([None], "m/s")
        else:
            assert read_vtu.labels[("points", "velocity")] == (["vx", "vy", "vz"], "m/s")
            assert read_vtu.labels[("cells", "pressure")] == ([None], "Pa")
        meshio_data = {("points", key): values for key, values in mesh.point_data.items()}
        meshio_data.update({("cells", key): np.concatenate(values) for key, values in mesh.cell_data.items()})
        for read in data, meshio_data:
            assert sorted(read) == sorted(expected)
            for key, values in expected.items():
                np.testing.assert_array_equal(read[key], values, err_msg=str(key))


# The set-up is the one beside the mesh that has the mesh's supports, or --setup; none, or
# several, leave the components apart. In renamed.romcfg, vy is vw, which the snapshot lacks.
@pytest.mark.parametrize("setups, options, grouped, note", [
    (["setup.romcfg"], [], True, False),
    ([], [], False, False),
    (["setup.romcfg", "copy.romcfg"], [], False, True),
    (["setup.romcfg", "copy.romcfg"], ["--setup", "copy.romcfg"], True, False),
    (["setup.romcfg", "renamed.romcfg"], ["--setup", "renamed.romcfg"], True, False),
])
def test_the_set_up_beside_the_mesh_names_the_arrays(tmp_path, setups, options, grouped, note):
    for name in ["block.rommsh", "run-0.romsnp", "mesh.romcfg", "snapshot.romcfg"]:
        shutil.copy(path("block/" + name), tmp_path / name)
    for name in setups:
        setup = open(path("block/setup.romcfg")).read()
        renamed = setup.replace('"solverId" : "vy"', '"solverId" : "vw"')
        (tmp_path / name).write_text(renamed if name == "renamed.romcfg" else setup)
    shutil.copy(path("setup.romcfg"), tmp_path / "workflow.romcfg")  # a set-up of another mesh
    options = [str(tmp_path / o) if o.endswith(".romcfg") else o for o in options]
    result = run("export", tmp_path / "block.rommsh", tmp_path / "run-0.romsnp", *options, "-o", tmp_path / "out")
    assert result.returncode == 0 and ("note: several set-ups" in result.stderr) == note, result.stderr
    data = read_vtu(tmp_path / "out.vtu")[2]
    names = {name for _, name in data}
    assert ({"velocity", "pressure"} <= names, "vx@block-nodes" in names) == (grouped, not grouped)
    if "renamed.romcfg" in setups:  # the snapshot's vy apart, NaN in the field where vw is
        velocity = block_data(0)[("points", "velocity")]
        np.testing.assert_array_equal(data[("points", "vy@block-nodes")], velocity[:, 1])
        velocity[:, 1] = np.nan
        np.testing.assert_array_equal(data[("points", "velocity")], velocity)
        assert read_vtu.labels[("points", "velocity")] == (["vx", "vw", "vz"], "m/s")
