"""The package's surface: documented and typed members, reprs, error classes, arguments
refused before the library sees them, special files refused without being read."""
import importlib
import inspect
import os
import re
import shutil
import stat

import numpy as np
import pytest

import tervikrom

MODULES = ["tervikrom", "tervikrom.configuration", "tervikrom.mesh", "tervikrom.snapshot", "tervikrom.dask",
           "tervikrom.xarray"]


def _public(namespace):
    return [(name, value) for name, value in vars(namespace).items() if not name.startswith("_")]


def _members():
    """(qualified name, function or descriptor) of every public function, method and property of the package."""
    seen = set()
    for module in map(importlib.import_module, MODULES):
        for name, value in _public(module):
            if getattr(value, "__module__", "").startswith("tervikrom") and id(value) not in seen:
                seen.add(id(value))
                if inspect.isclass(value) or inspect.isfunction(value):
                    yield module.__name__ + "." + name, value
                if inspect.isclass(value):
                    for klass in value.__mro__:
                        if klass.__module__.startswith("tervikrom"):
                            for member, attribute in _public(klass):
                                if id(attribute) not in seen and not isinstance(attribute, (str, int, tuple)):
                                    seen.add(id(attribute))
                                    yield "%s.%s.%s" % (module.__name__, klass.__name__, member), attribute


def test_every_public_member_is_documented_and_typed():
    undocumented, untyped = [], []
    for name, member in _members():
        if not (member.__doc__ or "").strip():
            undocumented.append(name)
        if isinstance(member, property):
            function = member.fget
        elif hasattr(type(member), "__get__") and not inspect.isfunction(member):
            function = type(member).__get__  # a descriptor of the package (a table)
        else:
            function = member
        if inspect.isfunction(function):
            signature = inspect.signature(function)
            missing = [p.name for p in signature.parameters.values() if p.annotation is p.empty
                       and p.name not in ("self", "cls") and p.kind not in (p.VAR_POSITIONAL, p.VAR_KEYWORD)]
            if missing or signature.return_annotation is signature.empty:
                untyped.append("%s (%s)" % (name, ", ".join(missing) or "return"))
    assert not undocumented, "no docstring: " + ", ".join(undocumented)
    assert not untyped, "no type hints: " + ", ".join(untyped)
    assert tervikrom.__version__ and os.path.isfile(os.path.join(os.path.dirname(tervikrom.__file__), "py.typed"))


@pytest.mark.parametrize("make, pattern", [
    (lambda f: tervikrom.load(f.setup), r'<tervikrom\.SetupCfg "setup\.romcfg": fields u \[ux, uy\] on solid-nodes; '
                                       r'supports solid-nodes \(12\), solid-cells \(3\)>'),
    (lambda f: tervikrom.load(f.mesh_cfg), r'<tervikrom\.MeshDataCfg "mesh\.romcfg": 12 nodes in 3-D, '
                                          r'3 standard elements, 2 polygons, 1 polyhedron; supports solid-nodes'),
    (lambda f: tervikrom.load(f.snapshot_cfg), r'<tervikrom\.SnapshotCfg "snapshot\.romcfg": components ux, uy; '
                                              r'supports solid-nodes \(12\), solid-cells \(3\)>'),
    (lambda f: tervikrom.load(f.snapshot_cfg).supports[0], r'<tervikrom\.SupportCfg "solid-nodes": 12 entities'),
    (lambda f: tervikrom.load(f.setup).fields[0], r'<tervikrom\.FieldCfg "u" \(displacement, m\): components ux, uy '
                                                 r'on solid-nodes>'),
    (lambda f: tervikrom.load(f.setup).fields, r'<tervikrom\.Container of 1 FieldCfg: u>'),
    (lambda f: tervikrom.load(f.mesh), r'<tervikrom\.MeshData "mesh\.rommsh": 12 nodes in 3-D, 3 standard elements, '
                                      r'2 polygons, 1 polyhedron, 2 supports \(unit "m"\)>'),
    (lambda f: tervikrom.load(f.mesh).polygon_data, r"<tervikrom\.PolygonData: 2 polygons, 9 connectivity entries>"),
    (lambda f: tervikrom.MeshData(), r"<tervikrom\.MeshData \(not initialised\)>"),
    (lambda f: tervikrom.Snapshot(f.snapshot_cfg), r"<tervikrom\.Snapshot: 2 component data on 1 support, "
                                                  r"0 of 24 values assigned>"),
    (lambda f: tervikrom.Snapshot(f.snapshot_cfg).component_data("uy", "solid-nodes"),
     r"<tervikrom\.ComponentData uy on solid-nodes: 0 of 12 values>"),
    (lambda f: tervikrom.UserPoint({"b": 2.0, "a": 1.5}), r"<tervikrom\.UserPoint \{a: 1\.5, b: 2\.0\}>"),
])
def test_reprs_show_the_class_load_picks_file_counts_and_state(files, make, pattern):
    assert re.match(pattern, repr(make(files))), repr(make(files))


def _cut(files, tmp_path, name, size):
    target = shutil.copyfile(files.mesh, tmp_path / name)
    os.truncate(target, size)
    return target


# The class raised and the standard class it is too
MISSING, ARGUMENT, FORMAT = (tervikrom.MissingFileError, FileNotFoundError), (tervikrom.ArgumentError, ValueError), \
    (tervikrom.FormatError, OSError)
UNKNOWN, OTHER = (tervikrom.UnknownNameError, KeyError), (tervikrom.Error, Exception)
# (action, those two classes, the library's text in the message)
ERRORS = [
    (lambda f, t: tervikrom.load(t / "missing.rommsh"), MISSING, "Could not open the file {t}/missing.rommsh."),
    (lambda f, t: tervikrom.load(t / "missing.romcch"), MISSING,
     "JsonSerializationFile does not exist!\nProvided complete path to file is :\n{t}/missing.romcch"),
    (lambda f, t: tervikrom.MeshData(t / "missing.romcfg"), MISSING, "{t}/missing.romcfg"),
    (lambda f, t: tervikrom.load(f.mesh).save(t / "no" / "x.rommsh"), MISSING,
     "Could not open the file {t}/no/x.rommsh."),
    (lambda f, t: tervikrom.load(t), ARGUMENT, "no object is saved with the extension"),
    (lambda f, t: tervikrom.MeshData().resume(_cut(f, t, "cut.rommsh", 300)), FORMAT,
     "{t}/cut.rommsh: System error while trying to read from a file. The file is cut short: it ends at byte 300"),
    (lambda f, t: tervikrom.load(shutil.copyfile(f.snapshot_cfg, t / "s.romcch")), FORMAT,
     "JsonSerializationFile cannot find any key named snapshotCache\nin the file\n{t}/s.romcch Expected a "
     "snapshot cache file, found a snapshot configuration file."),
    (lambda f, t: tervikrom.Snapshot(f.mesh_cfg), FORMAT,
     "Expected a snapshot configuration file, found a mesh data configuration file."),
    (lambda f, t: tervikrom.MeshData().resume(f.folder / "snapshot.romcfg"), FORMAT,
     "do not have the expected extension rommsh. Expected a mesh file, found a configuration file."),
    (lambda f, t: tervikrom.Snapshot().resume(shutil.copyfile(f.mesh, t / "m.romsnp")), FORMAT,
     "{t}/m.romsnp holds an object of type D8068C8F-F166-44DE-A1F5-BCF1E20BA05D where an object of type "
     "5B37D1B0-D9FD-4CE1-AB14-3B41E04F4F23 is expected. Expected a snapshot file, found a mesh file."),
    (lambda f, t: tervikrom.load(f.mesh).support_data("nope"), UNKNOWN,
     'In CMeshData, no support has the given solverId.\nGiven solverId is : nope The supports there are: '
     '"solid-nodes", "solid-cells".'),
    (lambda f, t: tervikrom.load(f.mesh_cfg).support("nope"), UNKNOWN, '"solid-nodes", "solid-cells"'),
    (lambda f, t: tervikrom.Snapshot(f.snapshot_cfg).component_data("p", "solid-nodes"), UNKNOWN,
     'unknown according to this configuration. The pairs there are: "ux on solid-nodes", "uy on solid-nodes".'),
    (lambda f, t: tervikrom.load(f.setup).field("v"), UNKNOWN, 'The fields there are: "u"'),
    (lambda f, t: tervikrom.UserPoint(load=1)["speed"], UNKNOWN,
     'The point does not contains the parameter speed. The parameters there are: "load".'),
    (lambda f, t: tervikrom.Snapshot(f.snapshot_cfg).component_data("ux", "solid-nodes").fill(range(20, 33), [0] * 13),
     OTHER, "Impossible to add the value for the entity 32. The component ux on the support solid-nodes is already "
     "full."),
    (lambda f, t: tervikrom.Snapshot(f.snapshot_cfg).save(t / "unfilled.romsnp"), OTHER,
     "The following snapshot component data are not filled:\n"),
]


@pytest.mark.parametrize("action, types, text", ERRORS)
def test_error_classes_name_the_file_and_keep_the_library_text(files, tmp_path, action, types, text):
    with pytest.raises(types[0]) as raised:
        action(files, tmp_path)
    assert isinstance(raised.value, types[1]) and text.format(t=tmp_path) in str(raised.value)
    if isinstance(raised.value, tervikrom.FileError):
        assert str(raised.value.filename) in str(raised.value)


def _fill(ids):
    return lambda f: tervikrom.Snapshot(f.snapshot_cfg).component_data("ux", "solid-nodes").fill(ids, np.zeros(12))


@pytest.mark.parametrize("action, message", [
    (_fill([0.7] + list(range(1, 12))), "the entity ids must be integers, not 0.7"),
    (_fill([np.nan] + list(range(1, 12))), "the entity ids must be integers, not nan"),
    (_fill([-1] + list(range(1, 12))), r"the entity ids must lie in \[0, 4294967295\], not -1"),
    (_fill([2 ** 32] + list(range(1, 12))), r"must lie in \[0, 4294967295\], not 4294967296"),
    (_fill(["1"] * 12), "the entity ids must be integers, not str"),
    (lambda f: tervikrom.Snapshot(f.snapshot_cfg).component_data("ux", "solid-nodes").add_value(0.5, 1.0),
     "an entity id must be an integer, not 0.5"),
    (lambda f: tervikrom.MeshData(f.mesh_cfg).node_data.copy_ids([0.5] * 12), "NodeData.ids must be integers"),
    (lambda f: tervikrom.MeshData(f.mesh_cfg).node_data.copy_ids(np.arange(13)), "NodeData.ids holds 12 values"),
    (lambda f: tervikrom.Mesh(f.mesh_cfg).add_node(id=float("nan")), "an id must be an integer, not nan"),
    (lambda f: setattr(tervikrom.SnapshotCfg().add_support(), "entity_count", 2.5),
     "SupportCfg.entity_count must be an integer, not 2.5"),
    (lambda f: tervikrom.Snapshot(f.snapshot_cfg).component_data("ux\0", "solid-nodes"),
     "a component id may not hold a NUL"),
    (lambda f: tervikrom.UserPoint({"a\0b": 1.0}), "a parameter name may not hold a NUL"),
    (lambda f: tervikrom.SetupCfg().add_field("a\0b"), "a solver id may not hold a NUL"),
    (lambda f: tervikrom.load(f.mesh).save(str(f.folder / "x\0.rommsh")), "a path may not hold a NUL"),
])
def test_arguments_refused_before_the_library_sees_them(files, action, message):
    with pytest.raises(tervikrom.ArgumentError, match=message):
        action(files)


def test_integral_float_ids_are_taken(files):
    data = tervikrom.Snapshot(files.snapshot_cfg).component_data("ux", "solid-nodes")
    data.fill(np.arange(111.0, 99.0, -1.0), np.arange(12.0))
    assert data.value(0) == (111, 0.0)
    nodes = tervikrom.MeshData(files.mesh_cfg).node_data
    nodes.copy_ids([5.0, 6])
    assert nodes.ids[:2].tolist() == [5, 6]


@pytest.mark.parametrize("make, cause", [
    (os.mkfifo, "a FIFO"), (lambda path: os.symlink("/dev/zero", path), "a character device"),
    (lambda path: os.symlink("/dev/urandom", path), "a character device"),
    (lambda path: (path.touch(), os.truncate(path, 4 << 30)), "4294967296 bytes, more than"),
    (lambda path: path.write_text("[" * 100_000 + "]" * 100_000), "nested too deeply|cannot find any key"),
], ids=["fifo", "zero", "urandom", "sparse", "nested"])
@pytest.mark.parametrize("read, suffix", [(tervikrom.load, "romcfg"), (tervikrom.load, "romcch"),
                                          (lambda path: tervikrom.SetupCfg().resume(path), "romcfg"),
                                          (tervikrom.Snapshot, "romcfg")])
def test_special_files_are_refused_without_being_read(tmp_path, make, cause, read, suffix):
    path = tmp_path / ("special." + suffix)
    make(path)
    with pytest.raises(tervikrom.FileError) as raised:
        read(path)
    assert str(path) in str(raised.value) and re.search(cause, str(raised.value))
    assert stat.S_ISFIFO(os.lstat(path).st_mode) or make is not os.mkfifo


def test_points_and_the_cache_are_mappings_the_cache_resolving_files_against_its_folder(files, tmp_path, monkeypatch):
    point = tervikrom.UserPoint({"b": 2.0}, a=1.0)  # in the library's order
    point.update(c=3.0)
    del point["b"]
    other = tervikrom.UserPoint(z=9.0)
    point.copy_to(other)
    assert list(point.items()) == [("a", 1.0), ("c", 3.0)] == list(other.items())
    assert point.get("b") is None and "b" not in point and point == other and len(point) == 2
    cache = tervikrom.SnapshotCache()
    runs = [({"load": 1.5}, {"max": 0.1}, "runs/a.romsnp"),
            ({"load": 2.5, "speed": 3.0}, {"max": 0.2}, "/abs/b.romsnp"), ({"load": 1.5, "speed": 1.0}, {}, "c.romsnp")]
    for inputs, outputs, path in runs:
        cache.push(tervikrom.UserPoint(inputs), outputs, path)
    assert not cache.push({"load": 1.5}, {}, "again.romsnp")  # matches the first run
    (tmp_path / "sub").mkdir()
    cache.save(tmp_path / "sub" / "runs.romcch")
    monkeypatch.chdir(files.folder)
    for cache in (cache, tervikrom.load(tmp_path / "sub" / "runs.romcch")):
        assert len(cache) == 3 and [(e.inputs, e.outputs, e.snapshot_file) for e in cache] == runs
        assert [e.path for e in cache] == [str(tmp_path / "sub" / "runs" / "a.romsnp"), "/abs/b.romsnp",
                                           str(tmp_path / "sub" / "c.romsnp")]
        assert cache[{"speed": 1.0}].snapshot_file == "c.romsnp" and {"load": 9.0} not in cache
        with pytest.raises(KeyError):
            cache[{"load": 9.0}]
    (tmp_path / "bad.romcch").write_text('{"snapshotCache": {"entries": [{"input": []}]}}')
    with pytest.raises(tervikrom.FormatError, match="bad.romcch: A snapshot cache entry misses its output value."):
        cache.resume(tmp_path / "bad.romcch")
    assert all(cache[entry.inputs].snapshot_file == entry.snapshot_file for entry in cache)  # what is left, whole
    cache.clear()
    assert len(cache) == 0 and list(cache) == []
