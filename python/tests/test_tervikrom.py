import ctypes
import gc
import weakref

import dask
import dask.array as da
import numpy as np
import pytest

import tervikrom
import tervikrom.dask
import tervikrom.xarray
from tervikrom import Error, lib
from conftest import COMPONENTS, ELEMENTS, NODES, POLYGONS, PYRAMID, SUPPORTS, flat

# (table, the C getter of its live storage, its C element type, the values the workflow wrote)
TABLES = [
    (lambda m: m.node_data, "coordinates", "RomNodeDataGetCoordinateTable", ctypes.c_double, NODES),
    (lambda m: m.node_data, "ids", "RomNodeDataGetIds", ctypes.c_int32, np.arange(100, 112)),
    (lambda m: m.std_element_data, "types", "RomStdElementDataGetTypes", ctypes.c_int32, [11, 9, 5]),
    (lambda m: m.std_element_data, "ids", "RomStdElementDataGetIds", ctypes.c_int32, [1, 2, 3]),
    (lambda m: m.std_element_data, "connectivity", "RomStdElementDataGetConnectivityTable", ctypes.c_int32,
     flat([nodes for _, nodes in ELEMENTS], counted=False)),
    (lambda m: m.polygon_data, "connectivity", "RomPolygonDataGetConnectivityTable", ctypes.c_int32, flat(POLYGONS)),
    (lambda m: m.polygon_data, "ids", "RomPolygonDataGetIds", ctypes.c_int32, [10, 11]),
    (lambda m: m.polyhedron_data, "connectivity", "RomPolyhedronDataGetConnectivityTable", ctypes.c_int32,
     [len(PYRAMID)] + flat(PYRAMID)),
    (lambda m: m.polyhedron_data, "ids", "RomPolyhedronDataGetIds", ctypes.c_int32, [20]),
    (lambda m: m.support_data("solid-cells"), "entities", "RomSupportDataGetEntities", ctypes.c_int32, [1, 2, 3]),
    (lambda m: m.support_data("solid-nodes"), "entities", "RomSupportDataGetEntities", ctypes.c_int32,
     np.arange(100, 112)),
]
TABLE_IDS = ["%s-%d" % (table[2], index) for index, table in enumerate(TABLES)]


def _write_snapshots(files, name, count, order=None, entities=SUPPORTS["solid-nodes"][1]):
    """Snapshot files of the set-up: column j holds j + 0.001 * id on ux, 0.5 more on uy."""
    paths = []
    for run in range(count):
        with tervikrom.Snapshot(files.snapshot_cfg) as snapshot:
            ids = entities if order is None else entities[order]
            for index, component in enumerate(COMPONENTS):
                snapshot.component_data(component, "solid-nodes").fill(ids, run + 0.001 * ids + 0.5 * index)
            paths.append(files.folder / ("%s-%d.romsnp" % (name, run)))
            snapshot.save(paths[-1])
    return paths


@pytest.mark.parametrize("part, name, getter, ctype, expected", TABLES, ids=TABLE_IDS)
def test_views_are_the_live_tables(files, tmp_path, part, name, getter, ctype, expected):
    mesh = tervikrom.load(files.mesh)
    table = getattr(part(mesh), name)
    np.testing.assert_array_equal(table, np.asarray(expected).reshape(table.shape))
    address = ctypes.POINTER(ctype)()
    getattr(lib, getter)(part(mesh)._handle, ctypes.byref(address))
    assert table.ctypes.data == ctypes.cast(address, ctypes.c_void_p).value
    table[-1] += 7  # seen by the library: it saves what the view holds
    changed = table.copy()
    mesh.save(tmp_path / "changed.rommsh")
    np.testing.assert_array_equal(getattr(part(tervikrom.load(tmp_path / "changed.rommsh")), name), changed)


def test_mesh_from_numpy_equals_the_built_one(files, tmp_path):
    built, mesh = tervikrom.load(files.mesh), tervikrom.MeshData(files.mesh_cfg)
    for part, name, *_ in TABLES:
        array = getattr(part(built), name).copy()
        setattr(part(mesh), name, array)
        assert getattr(part(mesh), name).ctypes.data == array.ctypes.data  # borrowed, not copied
    del array  # the tables keep what they borrowed alive
    gc.collect()
    mesh.save(tmp_path / "numpy.rommsh")
    again = tervikrom.load(tmp_path / "numpy.rommsh")
    for part, name, *_ in TABLES:
        np.testing.assert_array_equal(getattr(part(again), name), getattr(part(built), name))
    assert again.std_element_data.offsets.tolist() == [0, 8, 12, 15]
    assert [again.polygon_data.polygon(i).tolist() for i in range(2)] == POLYGONS
    assert [face.tolist() for face in again.polyhedron_data.polyhedron(0)] == PYRAMID


@pytest.mark.parametrize("array, message", [
    (np.zeros(12, dtype=np.int64), "NodeData.ids takes int32 values, not int64"),
    (np.zeros(11, dtype=np.int32), "NodeData.ids takes 12 values, not 11"),
    (np.zeros(24, dtype=np.int32)[::2], "NodeData.ids borrows the array, which must be C-contiguous"),
    (np.frombuffer(bytes(48), dtype=np.int32), "NodeData.ids borrows the array, which must be writable"),
    (list(range(12)), "NodeData.ids borrows a numpy array, not a list"),
])
def test_set_refuses_before_the_library_sees_it(files, array, message):
    nodes = tervikrom.MeshData(files.mesh_cfg).node_data
    with pytest.raises(Error, match="^" + message):
        nodes.ids = array
    with pytest.raises(Error, match="^In CNodeData, trying to access ids table but this table is not available yet!$"):
        nodes.ids


def test_views_outlive_their_owner_hold_off_resume_and_set_and_stale_or_closed_objects_refuse_calls(files, tmp_path):
    coordinates = tervikrom.load(files.mesh).node_data.coordinates
    keeper = weakref.ref(coordinates.base.keeper)
    gc.collect()
    np.testing.assert_array_equal(coordinates[3:], NODES[3:])
    assert keeper() is not None
    del coordinates
    gc.collect()
    assert keeper() is None  # released with its last view
    mesh = tervikrom.load(files.mesh)
    nodes, coordinates, ids = mesh.node_data, mesh.node_data.coordinates, mesh.node_data.ids
    with pytest.raises(Error, match="views of its tables are in use"):
        mesh.resume(files.mesh)
    with pytest.raises(Error, match="Cannot set NodeData.ids while numpy views of it are in use"):
        nodes.ids = np.arange(12, dtype=np.int32)
    del coordinates, ids
    nodes.ids = np.arange(50, 62, dtype=np.int32)
    mesh.save(tmp_path / "again.rommsh")
    mesh.resume(tmp_path / "again.rommsh")  # same configuration: read into the borrowed array
    gc.collect()
    np.testing.assert_array_equal(mesh.node_data.ids, np.arange(50, 62))
    with pytest.raises(Error, match="fetch it again"):
        nodes.coordinates
    mesh.close()
    assert repr(mesh) == "<Closed tervikrom.MeshData>"
    with pytest.raises(Error, match="MeshData is closed"):
        mesh.node_data


def test_snapshot_roundtrip_and_matrix(files, monkeypatch):
    paths = _write_snapshots(files, "run", 4, np.random.default_rng(1).permutation(12))
    assert tervikrom.load(paths[0]).pairs() == [("ux", "solid-nodes"), ("uy", "solid-nodes")]  # none on solid-cells
    data = tervikrom.load(paths[2]).component_data("uy", "solid-nodes")
    assert (data.component_id, data.support_id, len(data), data.assigned_count) == ("uy", "solid-nodes", 12, 12)
    np.testing.assert_array_equal(data.ids, np.arange(100, 112))  # saved in ascending id order
    address = ctypes.POINTER(ctypes.c_double)()
    lib.RomSnapshotComponentDataGetValueArray(data._handle, ctypes.byref(address))
    assert data.values.ctypes.data == ctypes.cast(address, ctypes.c_void_p).value
    data.values[5] = -1.0
    assert data.value(5) == (105, -1.0)
    ids, matrix = tervikrom.snapshot_matrix(paths, "ux", "solid-nodes")
    expected = np.arange(4)[None, :] + 0.001 * np.arange(100, 112)[:, None]
    np.testing.assert_equal((ids, matrix), (np.arange(100, 112), expected))
    lazy_ids, lazy = tervikrom.dask.snapshot_matrix(paths, "ux", "solid-nodes")
    assert lazy.chunks == ((12,), (1,) * 4)
    np.testing.assert_equal((lazy_ids, lazy.compute(scheduler="threads")), (ids, expected))
    reads, read_into = [], tervikrom.snapshot.ColumnReader.read_into
    monkeypatch.setattr(tervikrom.snapshot.ColumnReader, "read_into",
                        lambda reader, path, *rest: reads.append(path) or read_into(reader, path, *rest))
    u, s, vt = dask.compute(*da.linalg.svd(lazy.rechunk((6, 4))), scheduler="threads")
    np.testing.assert_allclose((u * s) @ vt, expected, rtol=1e-12)
    assert sorted(reads) == sorted(map(str, paths))  # each file once per compute
    monkeypatch.undo()
    other = _write_snapshots(files, "other", 1, entities=np.arange(200, 212))[0]
    for matrix_of in (tervikrom.snapshot_matrix,
                      lambda *a: tervikrom.dask.snapshot_matrix(*a)[1].compute(scheduler="sync")):
        with pytest.raises(Error, match="other-0.romsnp: the component ux on the support solid-nodes has other"):
            matrix_of(paths + [other], "ux", "solid-nodes")


@pytest.mark.parametrize("damage", [
    lambda data: data[:-8],                 # the last values cut short
    lambda data: data[:len(data) // 2],     # cut in the first record
    lambda data: data[:5] + b"\x7f" + data[6:],  # the frame's file version
    lambda data: data.replace(b'"size":12', b'"size":13'),  # the configuration, as long
])
def test_matrix_refuses_a_damaged_file_as_its_resume_does(files, damage):
    # The first file gives the layout the others are read by; the damaged one is the last.
    paths = _write_snapshots(files, "damaged", 3)
    paths[2].write_bytes(damage(paths[2].read_bytes()))
    with pytest.raises(Error) as resumed:
        tervikrom.Snapshot().resume(paths[2])
    for matrix_of in (lambda: tervikrom.snapshot_matrix(paths, "ux", "solid-nodes"),
                      lambda: tervikrom.snapshot_matrix(paths, field="u", setup=files.setup)):
        with pytest.raises(type(resumed.value)) as raised:
            matrix_of()
        assert str(raised.value) == str(resumed.value)


def test_field_matrix_stacks_the_components_and_xarray_labels_the_runs(files, monkeypatch):
    paths = _write_snapshots(files, "field", 3, np.random.default_rng(2).permutation(12))
    cache = tervikrom.SnapshotCache()
    for run, path in enumerate(paths):
        cache.push({"load": 10.0 * run, "speed": 1.0} if run else {"load": 0.0}, {"max": run}, path.name)
    cache.save(files.folder / "field.romcch")
    monkeypatch.chdir("/")  # the snapshot files are stored relative to the cache's folder
    single = [tervikrom.snapshot_matrix(paths, component, "solid-nodes")[1] for component in COMPONENTS]
    stacked = np.stack(single, axis=1).reshape(24, 3)
    setup = tervikrom.load(files.setup)
    for field in ("u", setup.fields[0]):
        ids, matrix = tervikrom.snapshot_matrix(paths, field=field, setup=files.setup, progress=True)
        np.testing.assert_array_equal(matrix, stacked)
    np.testing.assert_array_equal(tervikrom.dask.snapshot_matrix(paths, field="u", setup=setup)[1], stacked)
    for lazy, chunks in ((False, None), (True, 2)):
        array = tervikrom.xarray.dataarray(files.folder / "field.romcch", "u", setup=files.setup, lazy=lazy,
                                           chunks=chunks)
        assert array.dims == ("run", "entity", "component") and array.attrs["unit"] == "m"
        assert array.chunks == (((2, 1), (12,), (2,)) if lazy else None)
        np.testing.assert_array_equal(array.entity, ids)
        np.testing.assert_array_equal([array.coords["load"], array.coords["speed"]], [[0, 10, 20], [np.nan, 1, 1]])
        assert array.component.values.tolist() == list(COMPONENTS)
        assert array.snapshot_file.values.tolist() == list(map(str, paths))
        np.testing.assert_array_equal(array.values.reshape(3, -1).T, stacked)
    runs = tervikrom.xarray.dataset(files.folder / "field.romcch", setup=files.setup)
    assert list(runs.data_vars) == ["ux", "uy", "max"] and runs.ux.attrs["field"] == "u"
    np.testing.assert_array_equal(runs.uy.T, single[1])


def test_project_identity(files, tmp_path):
    project = tervikrom.Project()
    project.save(tmp_path / "p.rompjt")
    assert tervikrom.load(tmp_path / "p.rompjt") == project != tervikrom.Project()


@pytest.mark.parametrize("part, table, message", [
    ("polygon_data", [3, 9, 10, 11, 5, 4, 5, 6, 7], "the last one ends at 10"),  # past the end
    ("polygon_data", [3, 9, 10, 11, 3, 4, 5, 6, 7], "3 found"),
    ("polyhedron_data", [5] + flat(PYRAMID[:4]) + [4, 7, 4, 8], "the last face ends at 23"),
    ("polyhedron_data", [6] + flat(PYRAMID), "polyhedron 0 announces 6 faces, 5 fit"),
    ("std_element_data", [11, 9, len(tervikrom.ELEMENT_KINDS)],  # the first code past the kinds
     "element 2 has the unknown type code %d" % len(tervikrom.ELEMENT_KINDS)),
])
def test_offsets_refuse_inconsistent_tables(files, part, table, message):
    data = getattr(tervikrom.load(files.mesh), part)
    getattr(data, "copy_types" if part == "std_element_data" else "copy_connectivity")(np.array(table, dtype=np.int32))
    with pytest.raises(Error, match=message):
        data.offsets
