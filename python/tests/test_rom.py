"""tervikrom.rom: the POD beside numpy's SVD, the model's numbers, its files, its report and
the `tervikrom rom` command (TERVIKROM names the command; its cases are skipped without)."""
import json
import os
import subprocess

import matplotlib.image
import numpy as np
import pytest
from scipy.stats import qmc

import tervikrom
import tervikrom.rom as rom
from tervikrom import Error

PAIRS = {("T", "nodes"): 300, ("p", "nodes"): 300, ("q", "cells"): 80}
RUNS = 24
COMMAND = os.environ.get("TERVIKROM")


def field(position, a, b):
    """Smooth in the parameters, nonlinear, different on each pair."""
    return {("T", "nodes"): 300 + 50 * np.exp(-(position - a) ** 2 / (0.02 + 0.05 * b)),
            ("p", "nodes"): np.sin(3 * a * position + b) * (1 + b),
            ("q", "cells"): np.cos(2 * b * position[:80]) - a ** 2}


@pytest.fixture(scope="module")
def runs(tmp_path_factory):
    """A cache of RUNS runs over (a, b), each file written in its own entity order."""
    folder = tmp_path_factory.mktemp("rom")
    cfg = tervikrom.SnapshotCfg()
    supports = {name: cfg.add_support(solver_id=name, entity_count=count, entities_type=1 + (name == "cells"))
                for name, count in (("nodes", 300), ("cells", 80))}
    for component, support in PAIRS:
        cfg.add_component_to_support(cfg.add_component(solver_id=component, caption=component), supports[support])
    position = np.linspace(0, 1, 300)
    points = qmc.scale(qmc.Halton(2, seed=3).random(RUNS), [0, 0.5], [1, 2])
    cache, rng, files = tervikrom.SnapshotCache(), np.random.default_rng(1), []
    for run, (a, b) in enumerate(points):
        with tervikrom.Snapshot(cfg) as snapshot:
            for pair, values in field(position, a, b).items():
                order = rng.permutation(len(values))
                snapshot.component_data(*pair).fill(1000 + order, values[order])
            files.append(folder / ("run-%02d.romsnp" % run))
            snapshot.save(files[-1])
        cache.push(tervikrom.UserPoint(a=a, b=b), tervikrom.UserPoint(), files[-1].name)
    cache.save(folder / "runs.romcch")
    (folder / "folder.romcch").mkdir()
    matrix = np.vstack([tervikrom.snapshot_matrix(files, *pair)[1] for pair in PAIRS])
    return folder, points, files, matrix


@pytest.fixture(scope="module")
def cluster():
    distributed = pytest.importorskip("distributed")
    with distributed.LocalCluster(n_workers=2, processes=True, threads_per_worker=1, dashboard_address=None) as local, \
            distributed.Client(local) as client:
        yield client


def check_pod(modes, s, expected_matrix, reconstructed):
    """Orthonormal modes, singular values as numpy's, each run rebuilt."""
    reference = np.linalg.svd(expected_matrix - expected_matrix.mean(axis=1, keepdims=True), compute_uv=False)
    assert np.abs(modes.T @ modes - np.eye(modes.shape[1])).max() <= 1e-12
    assert np.abs(s - reference).max() <= 1e-10 * reference[0]
    significant = reference > 1e-6 * reference[0]
    np.testing.assert_allclose(s[significant], reference[significant], rtol=1e-10)
    error = np.linalg.norm(reconstructed - expected_matrix, axis=0) / np.linalg.norm(expected_matrix, axis=0)
    assert error.max() <= 1e-10


@pytest.mark.parametrize("shape", [(2000, 30), (45, 30), (12, 30)], ids=["row-blocks", "one-block", "wide"])
def test_pod_of_a_matrix(shape):
    matrix = np.asfortranarray(np.random.default_rng(0).standard_normal(shape) + 5)
    kept = matrix.copy()
    mean, s, vt, modes = rom.pod(matrix)
    u = modes(len(s))
    check_pod(u, s, kept, mean[:, None] + (u * s) @ vt)
    assert u.flags.f_contiguous and np.array_equal(matrix, kept)


@pytest.mark.parametrize("backend", ["numpy", "dask"])
def test_full_rank_model(runs, backend, request):
    folder, points, files, matrix = runs
    if backend == "dask":
        request.getfixturevalue("cluster")
    model = rom.build(folder / "runs.romcch", dask=backend == "dask")
    assert model.parameters == ("a", "b") and model.pairs == list(PAIRS) and model.rank == RUNS - 1
    assert all(np.array_equal(model.ids[pair], np.arange(1000, 1000 + count)) for pair, count in PAIRS.items())
    np.testing.assert_array_equal(model.points, points)
    check_pod(model.modes, model.singular_values, matrix, model.mean[:, None] + model.modes @ model.coefficients)
    for run in range(RUNS):  # the interpolation passes through every run
        predicted = np.concatenate(list(model.predict(dict(a=points[run, 0], b=points[run, 1])).values()))
        assert np.linalg.norm(predicted - matrix[:, run]) <= 1e-9 * np.linalg.norm(matrix[:, run])


def test_a_parameter_of_one_value_is_left_out(runs):
    folder, points, files, _ = runs
    model = rom.build(files, parameters={"a": points[:, 0], "b": points[:, 1], "c": [7.0] * RUNS})
    reference = rom.build(folder / "runs.romcch")
    for point in ({"a": 0.3, "b": 1.0}, {"a": 0.8, "b": 1.7, "c": 7.0}):
        for pair, values in model.predict(point).items():
            np.testing.assert_allclose(values, reference.predict({"a": point["a"], "b": point["b"]})[pair], rtol=1e-12)


@pytest.mark.parametrize("options, rank", [
    ({}, RUNS - 1), ({"rank": 4}, 4), ({"rank": 99}, RUNS - 1), ({"energy": 0.999}, None),
    ({"rank": 2, "energy": 0.999}, 2), ({"center": False}, RUNS), ({"kernel": "cubic"}, RUNS - 1),
])
def test_truncation_and_leave_one_out_as_a_model_built_without_the_run(runs, options, rank):
    folder, points, files, matrix = runs
    model = rom.build(folder / "runs.romcch", **options)
    energy = np.cumsum(model.singular_values ** 2) / np.sum(model.singular_values ** 2)
    if rank is None:  # the fewest modes reaching the fraction
        assert energy[model.rank - 1] >= options["energy"] > energy[model.rank - 2]
    else:
        assert model.rank == rank
    assert model.energy == pytest.approx(energy[model.rank - 1])
    validation = model.validate()
    inside = [run for run in range(RUNS) if not np.isin(points[run], [points.min(axis=0), points.max(axis=0)]).any()]
    for run in inside[:4]:  # runs whose absence leaves the unit box as it is
        others = [index for index in range(RUNS) if index != run]
        without = rom.build([files[index] for index in others],
                            parameters={"a": points[others, 0], "b": points[others, 1]}, **options)
        predicted = np.concatenate(list(without.predict(points[run]).values()))
        error = np.linalg.norm(predicted - matrix[:, run]) / np.linalg.norm(matrix[:, run])
        assert validation.errors[run] == pytest.approx(error, rel=1e-6, abs=1e-12)
        nearest = others[np.argmin(np.sum(((points[others] - points[run]) / np.ptp(points, axis=0)) ** 2, axis=1))]
        assert validation.nearest_errors[run] == pytest.approx(
            np.linalg.norm(matrix[:, nearest] - matrix[:, run]) / np.linalg.norm(matrix[:, run]), rel=1e-6)
    folds = rom.build(folder / "runs.romcch", **options).validate(folds=4)
    assert folds.folds == 4 and np.isfinite(folds.errors).all() and folds.mean_error > validation.mean_error / 10


@pytest.mark.parametrize("interpolation", ["rbf", "gp"])
def test_saved_model_predicts_bit_identically(runs, tmp_path, interpolation):
    folder = runs[0]
    model = rom.build(folder / "runs.romcch", fields=["T", "q"], interpolation=interpolation)
    model.save(tmp_path / "model")
    rom.build(folder / "runs.romcch", fields=["T", "q"], rank=2).save(tmp_path / "smaller")
    model.save(tmp_path / "smaller")  # over a model of fewer modes, then back to two
    rom.build(folder / "runs.romcch", fields=["T", "q"], rank=2).save(tmp_path / "smaller")
    assert sorted(name for name in os.listdir(tmp_path / "smaller") if name.startswith("mode-")) == [
        "mode-000.romsnp", "mode-001.romsnp"]
    loaded = rom.load(tmp_path / "model")
    assert loaded.pairs == [("T", "nodes"), ("q", "cells")] and loaded.interpolation == model.interpolation
    std = interpolation == "gp"
    for point in qmc.scale(qmc.Halton(2, seed=9).random(5), [0, 0.5], [1, 2]):
        for before, after in zip(*[(m.predict(point, std) if std else (m.predict(point),)) for m in (model, loaded)]):
            assert all(np.array_equal(before[pair], after[pair]) for pair in model.pairs)
    if std:  # a standard deviation that vanishes at the runs, not between them
        at_run, between = (np.concatenate(list(loaded.predict(point, True)[1].values()))
                           for point in (runs[1][0], [0.5, 1.25]))
        assert at_run.max() < 1e-2 * between.max()
    loaded.predict_snapshot({"a": 0.4, "b": 1.1}, tmp_path / "predicted.romsnp")
    with tervikrom.load(tmp_path / "predicted.romsnp") as snapshot:
        assert snapshot.pairs() == [("T", "nodes"), ("q", "cells")] and snapshot.is_filled
        for pair, values in model.predict({"a": 0.4, "b": 1.1}).items():
            assert np.array_equal(snapshot.component_data(*pair).values, values)


def test_report(runs, tmp_path):
    model = rom.build(runs[0] / "runs.romcch", energy=0.99999)
    document = model.report(tmp_path, folds=6)
    assert json.loads((tmp_path / "report.json").read_text()) == document
    assert document["rank"] == model.rank and len(document["validation"]["runs"]) == RUNS
    assert document["validation"]["folds"] == 6 and document["validation"]["meanError"] < 0.05
    for name, width in (("singular-values.png", 1000), ("validation.png", 1000)):
        image = matplotlib.image.imread(tmp_path / name)
        assert image.shape[:2] == (400, width) and image.std() > 0.05


@pytest.mark.parametrize("call, message", [
    (lambda f: rom.build(f / "runs.romcch", rank=0), "rank is a positive whole number"),
    (lambda f: rom.build(f / "runs.romcch", energy=1.5), "energy is a fraction"),
    (lambda f: rom.build(f / "runs.romcch", interpolation="spline"), "interpolation is"),
    (lambda f: rom.build(f / "runs.romcch", fields=["u"]), "run-00.romsnp: the snapshot has no component u"),
    (lambda f: rom.build(f / "folder.romcch"), "folder.romcch: "),
    (lambda f: rom.build([f / "run-00.romsnp", f / "run-01.romsnp"], parameters=[{"a": 1}, {"b": 2}]),
     "run-01.romsnp) has the parameters b"),
    (lambda f: rom.build([f / "run-00.romsnp"], parameters={"a": [1]}), "at least 2 runs"),
    (lambda f: rom.build(f / "runs.romcch").predict({"a": 1}), "no value of b"),
    (lambda f: rom.build(f / "runs.romcch").predict({"a": 1, "b": 1, "c": 1}), "the unknown c"),
    (lambda f: rom.build(f / "runs.romcch").predict({"a": 1, "b": 1}, return_std=True), "no standard deviation"),
    (lambda f: rom.load(f), "model.json: no such file"),
])
def test_refused(runs, call, message):
    with pytest.raises(Error) as failure:
        call(runs[0])
    assert message in str(failure.value)


@pytest.mark.skipif(not COMMAND, reason="TERVIKROM does not name the tervikrom command")
def test_command(runs, tmp_path):
    def run(*args):
        return subprocess.run([COMMAND, "rom", *map(str, args)], capture_output=True, text=True, cwd=tmp_path)

    model, output = tmp_path / "model", tmp_path / "predicted.romsnp"
    result = run("build", runs[0] / "runs.romcch", "-o", model, "--rank", 5)
    assert result.returncode == 0, result.stderr
    assert run("predict", model, "--point", "a=0.4,b=1.1", "-o", output).returncode == 0
    with tervikrom.load(output) as snapshot:
        for pair, values in rom.load(model).predict({"a": 0.4, "b": 1.1}).items():
            assert np.array_equal(snapshot.component_data(*pair).values, values)
    report = run("report", model, "--json")
    assert report.returncode == 0 and json.loads(report.stdout)["rank"] == 5
    assert "leave-one-out" in run("report", model).stdout and (model / "validation.png").is_file()
    for args, status, text in ((("predict", model, "--point", "a=0.4", "-o", output), 1, "tervikrom: "),
                               (("predict", model, "--point", "a", "-o", output), 2, "NAME=VALUE"),
                               (("build", tmp_path / "absent.romcch", "-o", model), 1, "absent.romcch"),
                               (("frobnicate",), 2, "invalid choice")):
        result = run(*args)
        assert result.returncode == status and text in result.stderr
