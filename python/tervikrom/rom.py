"""Reduced-order models from a solver's runs: the POD of the snapshot matrix, an
interpolation of the POD coefficients over the input parameters, predictions written as
snapshot files, leave-one-out validation and a report.

    import tervikrom.rom
    model = tervikrom.rom.build("runs.romcch", energy=0.99999)      # the runs of a snapshot cache
    values = model.predict({"position": 0.3, "width": 0.15})        # {(component, support): array}
    model.predict_snapshot({"position": 0.3, "width": 0.15}, "pred.romsnp")
    model.save("model")                                             # modes as snapshot files
    model = tervikrom.rom.load("model")
    model.report("model")                                           # PNGs and report.json

`python3 -m tervikrom.rom build|predict|report ...` is the command line, which the
tervikrom command runs as `tervikrom rom ...`.
"""
from __future__ import annotations

import argparse
import dataclasses
import glob
import json
import os
import re
import stat
import sys
import threading
import uuid
from collections.abc import Mapping, Sequence
from concurrent.futures import ThreadPoolExecutor
from typing import Any, Callable, Optional, Union

import numpy as np

from ._errors import Error
from ._files import read_document
from .configuration import SnapshotCfg
from .snapshot import Snapshot, SnapshotCache, UserPoint

PathLike = Union[str, "os.PathLike[str]"]
Pair = tuple[str, str]
Point = Union[Mapping[str, float], UserPoint, Sequence[float]]
Values = dict[Pair, np.ndarray]

DOCUMENT = "model.json"
ARRAYS = "arrays.npz"
CONFIGURATION = "snapshot.romcfg"
MEAN = "mean.romsnp"
MODE = "mode-%03d.romsnp"
PICTURES = ("singular-values.png", "validation.png")
REPORT = "report.json"
FORMAT = "tervikrom reduced-order model"
VERSION = 1
GP_NU = 2.5
GP_ALPHA = 1e-10
GP_RESTARTS = 4
SVD_CUTOFF = 1e-12  # smaller singular values, relative to the largest, are the SVD's rounding
FOLD_CUTOFF = 1e-7  # smaller singular values, relative to the largest, are noise in a fold's Gram matrix


# ---- files ----------------------------------------------------------------------------

def _open_regular(path: str, what: str):
    """A binary stream of the regular file `path` and its size; anything else (a folder,
    a pipe, a device) is refused before a byte is read."""
    try:
        descriptor = os.open(path, os.O_RDONLY | os.O_NONBLOCK | os.O_CLOEXEC | os.O_NOCTTY)
    except OSError as failure:
        raise Error("%s: cannot open the %s: %s" % (path, what, failure.strerror)) from None
    status = os.fstat(descriptor)
    if not stat.S_ISREG(status.st_mode):
        os.close(descriptor)
        raise Error("%s: the %s is not a regular file" % (path, what))
    os.set_blocking(descriptor, True)
    return os.fdopen(descriptor, "rb"), status.st_size


def _replace(path: str, write: Callable[[Any], None]) -> None:
    """Writes `path` through a temporary file beside it, renamed over it once complete."""
    target = os.path.realpath(path) if os.path.islink(path) else path
    folder, name = os.path.split(os.path.abspath(target))
    temporary = os.path.join(folder, ".%s.tmp-%s" % (name[:240], uuid.uuid4().hex[:8]))
    try:
        descriptor = os.open(temporary, os.O_WRONLY | os.O_CREAT | os.O_EXCL | os.O_CLOEXEC, 0o666)
        with os.fdopen(descriptor, "wb") as stream:
            write(stream)
        os.replace(temporary, target)
    except OSError as failure:
        if os.path.exists(temporary):
            os.unlink(temporary)
        raise Error("%s: cannot write the file: %s" % (path, failure.strerror or failure)) from None
    except BaseException:
        if os.path.exists(temporary):
            os.unlink(temporary)
        raise


def _write_json(path: str, document: Any) -> None:
    _replace(path, lambda stream: stream.write((json.dumps(document, indent=1) + "\n").encode("utf-8")))


def _cache_runs(path: str) -> list[tuple[dict[str, float], str]]:
    """(input point, snapshot file) of each entry of the snapshot cache file `path`, in the
    cache's order; a relative snapshot file is taken from the cache file's folder."""
    cache = SnapshotCache()
    try:
        cache.resume(path)
    except Error as failure:
        raise Error("%s: %s" % (path, failure)) from None
    return [(entry.inputs, entry.path) for entry in cache]


# ---- the snapshot matrix --------------------------------------------------------------

def _read_pairs(snapshot: Snapshot, path: str, pairs: Sequence[Pair]) -> list[tuple[np.ndarray, np.ndarray]]:
    """(ids, values) views of each pair of the file, valid until `snapshot` reads again."""
    try:
        snapshot.resume(path)
        datas = [snapshot.component_data(component, support) for component, support in pairs]
    except Error as failure:
        raise Error("%s: %s" % (path, failure)) from None
    for data, (component, support) in zip(datas, pairs):
        if data.assigned_count != data.expected_count:
            raise Error("%s: the component %s on the support %s holds %d of its %d values"
                        % (path, component, support, data.assigned_count, data.expected_count))
    return [(data.ids, data.values) for data in datas]


def _sorted_ids(path: str, read: Sequence[tuple[np.ndarray, np.ndarray]], pairs: Sequence[Pair]) -> list[np.ndarray]:
    ids = [np.sort(found) for found, _ in read]
    for sorted_ids, (component, support) in zip(ids, pairs):
        if sorted_ids.size > 1 and not (sorted_ids[1:] > sorted_ids[:-1]).all():
            raise Error("%s: the component %s on the support %s repeats entity ids" % (path, component, support))
    return ids


def _place(path: str, read: Sequence[tuple[np.ndarray, np.ndarray]], pairs: Sequence[Pair],
           ids: Sequence[np.ndarray], column: np.ndarray) -> None:
    """Writes the values read from `path` into `column`, each pair in the order of its `ids`."""
    start = 0
    for (found, values), expected, (component, support) in zip(read, ids, pairs):
        out = column[start:start + len(expected)]
        start += len(expected)
        if len(found) == len(expected) and np.array_equal(found, expected):
            out[:] = values
            continue
        order = np.argsort(found, kind="stable")
        if len(found) != len(expected) or not np.array_equal(found[order], expected):
            raise Error("%s: the component %s on the support %s has other entity ids than the first run's"
                        % (path, component, support))
        out[:] = values[order]


def _first_run(path: str, components: Optional[list[str]], supports: Optional[list[str]]):
    """The pairs chosen from the first run, their ids in ascending order, and the snapshot
    configuration restricted to them (a new object)."""
    snapshot = Snapshot()
    try:
        snapshot.resume(path)
    except Error as failure:
        raise Error("%s: %s" % (path, failure)) from None
    available = snapshot.pairs()
    for wanted, index, what in ((components, 0, "component"), (supports, 1, "support")):
        for name in wanted or ():
            if name not in {pair[index] for pair in available}:
                raise Error("%s: the snapshot has no %s %s (it has %s)"
                            % (path, what, name, ", ".join(sorted({pair[index] for pair in available}))))
    chosen = [pair for pair in available
              if (components is None or pair[0] in components) and (supports is None or pair[1] in supports)]
    if not chosen:
        raise Error("%s: no (component, support) pair of the snapshot is chosen" % path)
    ids = _sorted_ids(path, _read_pairs(snapshot, path, chosen), chosen)
    return chosen, ids, _restricted(snapshot.configuration, chosen)


def _restricted(source: SnapshotCfg, pairs: Sequence[Pair]) -> SnapshotCfg:
    """A new snapshot configuration holding the `pairs` of `source` and nothing else."""
    configuration = SnapshotCfg()
    supports, components = {}, {}
    for support in source.supports:
        if any(pair[1] == support.solver_id for pair in pairs):
            supports[support.solver_id] = configuration.add_support(
                solver_id=support.solver_id, entity_count=support.entity_count, entities_type=support.entities_type)
    for component in source.components:
        if any(pair[0] == component.solver_id for pair in pairs):
            components[component.solver_id] = configuration.add_component(
                solver_id=component.solver_id, caption=component.caption)
    for component, support in pairs:
        configuration.add_component_to_support(components[component], supports[support])
    return configuration


def _matrix(files: Sequence[str], pairs: Sequence[Pair], ids: Sequence[np.ndarray]) -> tuple[np.ndarray, np.ndarray]:
    """The (values x runs) column-major matrix and each column's norm. While one file's
    values are copied, a helper thread reads the next one (the library and numpy's copy
    both run without the interpreter lock)."""
    matrix = np.empty((sum(map(len, ids)), len(files)), order="F")
    norms = np.empty(len(files))
    snapshots = (Snapshot(), Snapshot())
    with ThreadPoolExecutor(max_workers=1) as helper:
        pending = helper.submit(_read_pairs, snapshots[0], files[0], pairs)
        for run, path in enumerate(files):
            read = pending.result()
            if run + 1 < len(files):  # the other snapshot, whose views are gone
                pending = helper.submit(_read_pairs, snapshots[(run + 1) % 2], files[run + 1], pairs)
            try:
                _place(path, read, pairs, ids, matrix[:, run])
            finally:
                del read
            norms[run] = np.sqrt(matrix[:, run] @ matrix[:, run])
    return matrix, norms


_worker = threading.local()


def _dask_column(path: str, pairs: Sequence[Pair], ids: Sequence[np.ndarray]) -> np.ndarray:
    """One file's column as a (values x 1) block, read in the worker that computes it."""
    snapshot = getattr(_worker, "snapshot", None)
    if snapshot is None:
        snapshot = _worker.snapshot = Snapshot()
    block = np.empty((sum(map(len, ids)), 1))
    read = _read_pairs(snapshot, path, pairs)
    try:
        _place(path, read, pairs, ids, block[:, 0])
    finally:
        del read
    return block


def _dask_matrix(files: Sequence[str], pairs: Sequence[Pair], ids: Sequence[np.ndarray]):
    """The lazy matrix in row blocks of whole rows (for a tall-skinny QR), read one file
    per task."""
    import dask
    import dask.array as da
    rows, count = sum(map(len, ids)), len(files)
    shared = dask.delayed(list(ids), pure=True)
    column = dask.delayed(_dask_column, pure=True)
    matrix = da.concatenate([da.from_delayed(column(path, list(pairs), shared), shape=(rows, 1), dtype=np.float64)
                             for path in files], axis=1)
    height = max(count, min(rows, (64 << 20) // (8 * count)))
    blocks = [height] * (rows // height)
    if rows % height:
        if blocks and rows % height < count:
            blocks[-1] += rows % height
        else:
            blocks.append(rows % height)
    return matrix.rechunk((tuple(blocks), (count,)))


def _memory_available() -> int:
    try:
        with open("/proc/meminfo", encoding="ascii") as stream:
            for line in stream:
                if line.startswith("MemAvailable:"):
                    return int(line.split()[1]) * 1024
    except (OSError, ValueError, IndexError):
        pass
    return os.sysconf("SC_AVPHYS_PAGES") * os.sysconf("SC_PAGE_SIZE")


# ---- the POD --------------------------------------------------------------------------

def _blas_threads() -> int:
    try:
        from threadpoolctl import threadpool_info
    except ImportError:
        return 1
    return max([pool["num_threads"] for pool in threadpool_info() if pool["user_api"] == "blas"] or [1])


def pod(matrix: np.ndarray, center: bool = True) -> tuple[np.ndarray, np.ndarray, np.ndarray, Callable[[int], np.ndarray]]:
    """The thin SVD of the (values x runs) `matrix`, less the mean of its columns when
    `center`: (mean, singular values, right singular vectors as rows, modes) where
    `modes(r)` gives the first r left singular vectors, column-major. A tall matrix is
    factored by a tall-skinny QR of row blocks, one per core in threads of their own (when
    the BLAS is not threaded itself), then the SVD of the small triangular factor; the
    matrix is left as it is."""
    import scipy.linalg
    rows, count = matrix.shape
    mean = matrix.mean(axis=1) if center else np.zeros(rows)
    cores = len(os.sched_getaffinity(0)) if hasattr(os, "sched_getaffinity") else (os.cpu_count() or 1)
    blocks = min(cores if _blas_threads() == 1 else 1, rows // (2 * count) if count else 1)
    if blocks <= 1:
        centered = np.subtract(matrix, mean[:, None], order="F")
        try:
            u, s, vt = scipy.linalg.svd(centered, full_matrices=False, overwrite_a=True, check_finite=False)
        except np.linalg.LinAlgError:  # the divide-and-conquer driver did not converge
            u, s, vt = scipy.linalg.svd(np.subtract(matrix, mean[:, None], order="F"), full_matrices=False,
                                        check_finite=False, lapack_driver="gesvd")
        return mean, s, vt, lambda rank: np.asfortranarray(u[:, :rank])
    bounds = np.linspace(0, rows, blocks + 1).astype(int)

    def factor(block: int):
        part = slice(bounds[block], bounds[block + 1])
        centered = np.subtract(matrix[part], mean[part, None], order="F")
        return scipy.linalg.qr(centered, mode="economic", overwrite_a=True, check_finite=False)

    with ThreadPoolExecutor(blocks) as pool:
        factors = list(pool.map(factor, range(blocks)))
    q, r = np.linalg.qr(np.vstack([triangle for _, triangle in factors]))
    ur, s, vt = np.linalg.svd(r)

    def modes(rank: int) -> np.ndarray:
        out = np.empty((rows, rank), order="F")
        rotation = q @ ur[:, :rank]

        def apply(block: int) -> None:
            out[bounds[block]:bounds[block + 1]] = factors[block][0] @ rotation[block * count:(block + 1) * count]

        with ThreadPoolExecutor(blocks) as pool:
            list(pool.map(apply, range(blocks)))
        return out

    return mean, s, vt, modes


def _significant(s: np.ndarray, cutoff: float = SVD_CUTOFF) -> int:
    """How many singular values stand above `cutoff` times the largest."""
    return int(np.count_nonzero(s > cutoff * s[0])) if s.size and s[0] > 0 else 0


def _truncation(s: np.ndarray, significant: int, rank: Optional[int], energy: Optional[float]) -> int:
    """The modes kept: every significant one, at most `rank`, and no more than the fewest
    whose energy (sum of squared singular values) reaches the fraction `energy`."""
    kept = significant if rank is None else min(rank, significant)
    if energy is not None:
        cumulative = np.cumsum(s ** 2) / np.sum(s ** 2)
        kept = min(kept, int(np.searchsorted(cumulative, energy)) + 1)
    return kept


# ---- interpolation --------------------------------------------------------------------

def _fit(settings: dict, points: np.ndarray, values: np.ndarray):
    """The interpolator of `values` (runs x modes) over `points` (runs x parameters, in
    the unit box). A Gaussian process takes the length scales `settings["theta"]` (their
    logarithms) when given; without, they are searched first and stored there, and the
    process is fitted again from them, as a loaded model does, so that both predict the
    same."""
    try:
        if settings["method"] == "rbf":
            from scipy.interpolate import RBFInterpolator
            return RBFInterpolator(points, values, kernel=settings["kernel"], smoothing=settings["smoothing"],
                                   epsilon=settings["epsilon"], degree=settings["degree"])
        from sklearn.gaussian_process import GaussianProcessRegressor
        from sklearn.gaussian_process.kernels import ConstantKernel, Matern
        matern = Matern(np.full(points.shape[1], 0.5), (1e-3, 1e3), nu=settings["nu"])
        if settings.get("theta") is None:
            # One kernel for every mode, searched over the coefficients divided by one
            # common scale: modes of little energy (and much noise) then weigh little.
            scale = float(np.std(values)) or 1.0
            search = GaussianProcessRegressor(ConstantKernel(1.0, (1e-5, 1e5)) * matern, alpha=settings["alpha"],
                                              n_restarts_optimizer=GP_RESTARTS, random_state=0)
            settings["theta"] = search.fit(points, values / scale).kernel_.k2.theta.tolist()
        # each mode normalised to its own spread, which scales its standard deviation
        return GaussianProcessRegressor(matern.clone_with_theta(np.array(settings["theta"])), alpha=settings["alpha"],
                                        normalize_y=True, optimizer=None).fit(points, values)
    except (ValueError, np.linalg.LinAlgError) as failure:
        raise Error("the interpolation of the POD coefficients over %d runs cannot be fitted: %s"
                    % (len(points), failure)) from None


def _evaluate(settings: dict, interpolator, points: np.ndarray, std: bool = False):
    if settings["method"] == "rbf":
        return interpolator(points)
    if not std:
        return interpolator.predict(points).reshape(len(points), -1)
    mean, deviation = interpolator.predict(points, return_std=True)
    mean = mean.reshape(len(points), -1)
    return mean, deviation.reshape(mean.shape)


def _interpolation_settings(interpolation: str, kernel: Optional[str], smoothing: float,
                            epsilon: Optional[float]) -> dict:
    if interpolation == "rbf":
        return {"method": "rbf", "kernel": kernel or "thin_plate_spline", "smoothing": float(smoothing),
                "epsilon": epsilon, "degree": None}
    if interpolation == "gp":
        if kernel is not None:
            raise Error("the Gaussian process takes no kernel name (its kernel is a Matern kernel)")
        return {"method": "gp", "nu": GP_NU, "alpha": GP_ALPHA, "theta": None}
    raise Error('interpolation is "rbf" (radial basis functions) or "gp" (a Gaussian process), not %r' % (interpolation,))


# ---- the model ------------------------------------------------------------------------

@dataclasses.dataclass
class Validation:
    """Relative L2 errors of each run predicted by a model built without it: `errors` of
    the model, `nearest_errors` of the nearest other run (in the unit box of the input
    parameters) taken as the prediction."""
    folds: int
    points: np.ndarray
    errors: np.ndarray
    nearest_errors: np.ndarray

    @property
    def mean_error(self) -> float:
        """The mean of `errors`."""
        return float(np.mean(self.errors))

    @property
    def mean_nearest_error(self) -> float:
        """The mean of `nearest_errors`."""
        return float(np.mean(self.nearest_errors))


class Model:
    """A reduced-order model: the mean and the POD modes of the runs' values, and an
    interpolation of each mode's coefficient over the input parameters scaled to the unit
    box. Made by `build` or `load`.

    Attributes: `parameters` (names), `points` (runs x parameters), `files` (the runs'
    snapshot files), `pairs` ((component, support) in the values' order), `ids` (entity
    ids of each pair, ascending), `mean`, `modes` (values x rank, column-major),
    `singular_values` (all of them), `coefficients` (rank x runs), `rank`, `energy` (the
    fraction the kept modes hold), `center`, `interpolation` (its settings)."""

    def __init__(self, *, parameters: Sequence[str], points: np.ndarray, files: Sequence[str], pairs: Sequence[Pair],
                 ids: Sequence[np.ndarray], configuration: SnapshotCfg, mean: np.ndarray, modes: np.ndarray,
                 singular_values: np.ndarray, right_vectors: np.ndarray, norms: np.ndarray, center: bool,
                 requested: dict, interpolation: dict) -> None:
        self.parameters = tuple(parameters)
        self.points = np.asarray(points, dtype=np.float64)
        self.files = list(files)
        self.pairs = [tuple(pair) for pair in pairs]
        self.ids = {pair: np.asarray(entities, dtype=np.uint32) for pair, entities in zip(self.pairs, ids)}
        self.mean, self.modes = mean, np.asfortranarray(modes)
        self.singular_values, self.center = singular_values, bool(center)
        self.rank = self.modes.shape[1]
        self.coefficients = np.ascontiguousarray(singular_values[:self.rank, None] * right_vectors[:self.rank])
        self.energy = float(np.sum(singular_values[:self.rank] ** 2) / np.sum(singular_values ** 2))
        self.interpolation = interpolation
        self._right_vectors, self._norms, self._requested = right_vectors, norms, requested
        self._configuration = configuration
        self._offsets = np.cumsum([0] + [len(entities) for entities in ids])
        # Parameters that take one value in every run carry nothing to interpolate over.
        lower, upper = self.points.min(axis=0), self.points.max(axis=0)
        self._varying = np.flatnonzero(upper > lower)
        self._lower, self._span = lower[self._varying], (upper - lower)[self._varying]
        self._interpolator = _fit(self.interpolation, self._scale(self.points), self.coefficients.T.copy())

    def __repr__(self) -> str:
        return "<tervikrom.rom.Model: %d runs over %s, %d values, %d modes (energy %.10g), %s>" % (
            len(self.files), ", ".join(self.parameters), len(self.mean), self.rank, self.energy,
            self.interpolation["method"])

    def _scale(self, points: np.ndarray) -> np.ndarray:
        return (points[:, self._varying] - self._lower) / self._span

    def _point(self, point: Point) -> np.ndarray:
        """The point as a row of parameter values in the model's order."""
        if isinstance(point, UserPoint):
            try:
                return np.array([[point[name] for name in self.parameters]])
            except Error as failure:
                raise Error("the point misses a parameter of the model: %s" % failure) from None
        if isinstance(point, Mapping):
            unknown = [name for name in point if name not in self.parameters]
            missing = [name for index, name in enumerate(self.parameters)
                       if name not in point and index in self._varying]
            if unknown or missing:
                raise Error("the point gives %s; the model's parameters are %s" % (
                    "no value of " + ", ".join(missing) if missing else "the unknown " + ", ".join(unknown),
                    ", ".join(self.parameters)))
            fixed = self.points[0]
            return np.array([[float(point.get(name, fixed[index])) for index, name in enumerate(self.parameters)]])
        values = np.asarray(point, dtype=np.float64)
        if values.shape != (len(self.parameters),):
            raise Error("the point gives %d values; the model's parameters are %s"
                        % (values.size, ", ".join(self.parameters)))
        return values[None]

    def _split(self, values: np.ndarray) -> Values:
        return {pair: values[self._offsets[index]:self._offsets[index + 1]] for index, pair in enumerate(self.pairs)}

    def predict(self, point: Point, return_std: bool = False) -> Union[Values, tuple[Values, Values]]:
        """The values at `point` (a mapping of parameter names to values, a UserPoint, or
        the values in the order of `parameters`): {(component, support): values in the
        order of `ids`}. With `return_std` (a Gaussian-process model only), also the
        standard deviation of each value, the modes' coefficients taken as independent."""
        scaled = self._scale(self._point(point))
        if return_std:
            if self.interpolation["method"] != "gp":
                raise Error('a model interpolating with radial basis functions gives no standard deviation: '
                            'build it with interpolation="gp"')
            coefficients, deviation = _evaluate(self.interpolation, self._interpolator, scaled, std=True)
            spread = np.sqrt(np.square(self.modes) @ np.square(deviation[0]))
            return self._split(self.mean + self.modes @ coefficients[0]), self._split(spread)
        coefficients = _evaluate(self.interpolation, self._interpolator, scaled)
        return self._split(self.mean + self.modes @ coefficients[0])

    def _write_snapshot(self, values: Values, path: PathLike, snapshot: Optional[Snapshot] = None) -> None:
        owned = snapshot is None
        snapshot = Snapshot(self._configuration) if owned else snapshot
        try:
            for (component, support), entities in self.ids.items():
                snapshot.component_data(component, support).fill(entities, values[(component, support)])
            snapshot.save(os.fspath(path))
        except Error as failure:
            raise Error("%s: %s" % (os.fspath(path), failure)) from None
        finally:
            if owned:
                snapshot.close()

    def predict_snapshot(self, point: Point, path: PathLike, std_path: Optional[PathLike] = None) -> None:
        """Writes the values at `point` to the snapshot file `path`, with the snapshot
        configuration of the runs (reduced to the model's pairs); `std_path` receives the
        standard deviation of a Gaussian-process model the same way."""
        if std_path is None:
            self._write_snapshot(self.predict(point), path)
            return
        values, deviation = self.predict(point, return_std=True)
        self._write_snapshot(values, path)
        self._write_snapshot(deviation, std_path)

    def validate(self, folds: Optional[int] = None) -> Validation:
        """Leave-one-out errors (or those of `folds` folds, in a fixed shuffled order): the
        POD and the interpolation are made again without the runs of each fold, with the
        same settings, and the relative L2 error of each left-out run's prediction is
        measured. Everything is worked out from the runs' Gram matrix, which the SVD gives,
        so no file is read again."""
        count = len(self.files)
        folds = count if folds is None else int(folds)
        if not 2 <= folds <= count:
            raise Error("validation takes 2 to %d folds (the runs), not %d" % (count, folds))
        if folds == count:
            groups = [np.array([run]) for run in range(count)]
        else:
            from sklearn.model_selection import KFold
            groups = [held for _, held in KFold(folds, shuffle=True, random_state=0).split(np.arange(count))]
        gram = (self._right_vectors.T * self.singular_values ** 2) @ self._right_vectors
        scaled = self._scale(self.points)
        errors, nearest = np.empty(count), np.empty(count)
        for held in groups:
            kept = np.setdiff1d(np.arange(count), held)
            # columns of the fold's (centred) training matrix and of the runs held out, as
            # combinations of the columns of the whole matrix
            train = np.eye(count)[:, kept]
            test = np.eye(count)[:, held]
            if self.center:
                train = train - train.mean(axis=1, keepdims=True)
                test = test - np.eye(count)[:, kept].mean(axis=1, keepdims=True)
            values, vectors = np.linalg.eigh(train.T @ gram @ train)
            values, vectors = values[::-1], vectors[:, ::-1]
            s = np.sqrt(np.clip(values, 0, None))
            rank = _truncation(s, _significant(s, FOLD_CUTOFF), self._requested["rank"], self._requested["energy"])
            s, vectors = s[:rank], vectors[:, :rank]
            residual = np.einsum("ij,jk,ki->i", test.T, gram, test)
            if rank:  # else the fold's runs are all alike: its mean is the prediction
                interpolator = _fit(dict(self.interpolation), scaled[kept], (vectors * s).copy())
                predicted = _evaluate(self.interpolation, interpolator, scaled[held])
                projected = ((train.T @ gram @ test).T @ vectors) / s
                residual += np.sum(predicted ** 2, axis=1) - 2 * np.sum(predicted * projected, axis=1)
            errors[held] = np.sqrt(np.clip(residual, 0, None))
            closest = kept[np.argmin(((scaled[held][:, None, :] - scaled[kept][None]) ** 2).sum(axis=2), axis=1)]
            nearest[held] = np.sqrt(np.clip(gram[held, held] - 2 * gram[held, closest] + gram[closest, closest],
                                            0, None))
        norms = np.where(self._norms > 0, self._norms, 1.0)
        return Validation(folds, self.points.copy(), errors / norms, nearest / norms)

    # -- files ----------------------------------------------------------------------

    def save(self, folder: PathLike) -> None:
        """Saves the model into `folder` (made when absent): the snapshot configuration,
        the mean and each mode as snapshot files (which `tervikrom export` shows), the
        singular values, right singular vectors, coefficients and points in one array
        file, and the rest in the JSON document model.json, written last. Every file goes
        through a temporary file renamed into place; mode files of an earlier save
        beyond this model's rank are removed."""
        folder = os.fspath(folder)
        os.makedirs(folder, exist_ok=True)
        try:
            self._configuration.save(os.path.join(folder, CONFIGURATION))
        except Error as failure:
            raise Error("%s: %s" % (os.path.join(folder, CONFIGURATION), failure)) from None
        modes = [MODE % index for index in range(self.rank)]
        with Snapshot(self._configuration) as snapshot:
            for name, values in zip([MEAN] + modes, [self.mean] + list(self.modes.T)):
                self._write_snapshot(self._split(values), os.path.join(folder, name), snapshot)
        _replace(os.path.join(folder, ARRAYS), lambda stream: np.savez(
            stream, singular_values=self.singular_values, right_vectors=self._right_vectors, points=self.points,
            norms=self._norms))
        _write_json(os.path.join(folder, DOCUMENT), {
            "format": FORMAT, "version": VERSION, "parameters": list(self.parameters),
            "pairs": [list(pair) for pair in self.pairs], "center": self.center, "rank": self.rank,
            "requested": self._requested, "interpolation": self.interpolation, "snapshotConfiguration": CONFIGURATION,
            "mean": MEAN, "modes": modes, "arrays": ARRAYS, "files": self.files})
        for stale in glob.glob(os.path.join(glob.escape(folder), "mode-[0-9][0-9][0-9]*.romsnp")):
            if re.fullmatch(r"mode-\d{3,}\.romsnp", os.path.basename(stale)) and os.path.basename(stale) not in modes:
                os.remove(stale)

    @classmethod
    def load(cls, folder: PathLike) -> "Model":
        """The model saved in `folder`."""
        folder = os.fspath(folder)
        path = os.path.join(folder, DOCUMENT)
        document = read_document(path)
        if not isinstance(document, dict) or document.get("format") != FORMAT:
            raise Error("%s: not the document of a reduced-order model" % path)
        if document.get("version") != VERSION:
            raise Error("%s: a model of version %r; this package reads version %d" % (path, document.get("version"),
                                                                                      VERSION))
        try:
            pairs = [tuple(pair) for pair in document["pairs"]]
            names = [document["mean"]] + list(document["modes"])
            arrays_path = os.path.join(folder, document["arrays"])
            configuration_path = os.path.join(folder, document["snapshotConfiguration"])
        except (KeyError, TypeError) as failure:
            raise Error("%s: the model document misses %s" % (path, failure)) from None
        missing = [key for key in ("parameters", "files", "center", "requested", "interpolation") if key not in document]
        if missing:
            raise Error("%s: the model document misses %s" % (path, ", ".join(missing)))
        stream, _ = _open_regular(arrays_path, "array file")
        try:
            with stream, np.load(stream, allow_pickle=False) as stored:
                arrays = {name: stored[name] for name in ("singular_values", "right_vectors", "points", "norms")}
        except (KeyError, ValueError, OSError) as failure:
            raise Error("%s: not the model's array file: %s" % (arrays_path, failure)) from None
        configuration = SnapshotCfg()
        try:
            configuration.resume(configuration_path)
        except Error as failure:
            raise Error("%s: %s" % (configuration_path, failure)) from None
        vectors, ids = None, None
        reader = Snapshot()
        for index, name in enumerate(names):
            file = os.path.join(folder, name)
            read = _read_pairs(reader, file, pairs)
            if ids is None:
                ids = [found.copy() for found, _ in read]
                vectors = np.empty((sum(map(len, ids)), len(names)), order="F")
            _place(file, read, pairs, ids, vectors[:, index])
            del read
        return cls(parameters=document["parameters"], points=arrays["points"], files=document["files"], pairs=pairs,
                   ids=ids, configuration=configuration, mean=vectors[:, 0].copy(), modes=vectors[:, 1:],
                   singular_values=arrays["singular_values"], right_vectors=arrays["right_vectors"],
                   norms=arrays["norms"], center=document["center"], requested=document["requested"],
                   interpolation=document["interpolation"])

    # -- the report -----------------------------------------------------------------

    def report(self, folder: PathLike, folds: Optional[int] = None) -> dict:
        """Writes into `folder` (made when absent) the singular-value decay with the
        cumulative energy (singular-values.png), the validation errors against each input
        parameter (validation.png) and both as JSON (report.json); returns that document."""
        folder = os.fspath(folder)
        os.makedirs(folder, exist_ok=True)
        validation = self.validate(folds)
        energy = np.cumsum(self.singular_values ** 2) / np.sum(self.singular_values ** 2)
        document = {
            "runs": len(self.files), "parameters": list(self.parameters), "values": len(self.mean),
            "pairs": [list(pair) for pair in self.pairs], "center": self.center, "rank": self.rank,
            "energy": self.energy, "interpolation": self.interpolation,
            "singularValues": self.singular_values.tolist(), "cumulativeEnergy": energy.tolist(),
            "validation": {
                "folds": validation.folds, "meanError": validation.mean_error,
                "maxError": float(np.max(validation.errors)), "meanNearestError": validation.mean_nearest_error,
                "runs": [{"point": dict(zip(self.parameters, point.tolist())), "error": float(error),
                          "nearestError": float(nearest)}
                         for point, error, nearest in zip(self.points, validation.errors, validation.nearest_errors)]},
            "pictures": list(PICTURES)}
        _picture(os.path.join(folder, PICTURES[0]), self._spectrum_figure(energy))
        _picture(os.path.join(folder, PICTURES[1]), self._validation_figure(validation))
        _write_json(os.path.join(folder, REPORT), document)
        return document

    def _spectrum_figure(self, energy: np.ndarray):
        from matplotlib.figure import Figure
        figure = Figure(figsize=(10, 4), dpi=100, layout="constrained")
        decay, cumulative = figure.subplots(1, 2)
        index = np.arange(1, len(self.singular_values) + 1)
        positive = self.singular_values > 0
        decay.semilogy(index[positive], self.singular_values[positive] / self.singular_values[0], "o-", ms=3)
        decay.set(xlabel="mode", ylabel="singular value / largest", title="Singular values")
        missing = np.clip(1 - energy, np.finfo(float).eps, None)
        cumulative.semilogy(index, missing, "o-", ms=3)
        cumulative.set(xlabel="modes kept", ylabel="1 - cumulative energy", title="Energy left out")
        for axes in (decay, cumulative):
            axes.axvline(self.rank, color="tab:red", lw=1, label="kept: %d" % self.rank)
            axes.grid(True, which="both", alpha=0.3)
        cumulative.legend()
        return figure

    def _validation_figure(self, validation: Validation):
        from matplotlib.figure import Figure
        figure = Figure(figsize=(5 * max(1, len(self.parameters)), 4), dpi=100, layout="constrained")
        for axes, name, values in zip(np.atleast_1d(figure.subplots(1, max(1, len(self.parameters)))),
                                      self.parameters, self.points.T):
            axes.semilogy(values, validation.nearest_errors, "s", color="0.6", ms=4, label="nearest run")
            axes.semilogy(values, validation.errors, "o", color="tab:blue", ms=4, label="model")
            axes.set(xlabel=name, ylabel="relative L2 error",
                     title="%s errors (%d folds)" % ("Leave-one-out" if validation.folds == len(self.files)
                                                    else "Cross-validation", validation.folds))
            axes.grid(True, which="both", alpha=0.3)
            axes.legend()
        return figure


def _picture(path: str, figure) -> None:
    """The figure as a PNG (matplotlib's Agg renderer, no display)."""
    from matplotlib.backends.backend_agg import FigureCanvasAgg
    FigureCanvasAgg(figure)
    _replace(path, lambda stream: figure.savefig(stream, format="png"))


# ---- building -------------------------------------------------------------------------

def _runs(cache: Any, parameters: Any) -> tuple[list[str], np.ndarray, list[str], str]:
    """(parameter names, points, files, what they come from) of a cache file or of a list
    of files with a table of parameters."""
    if isinstance(cache, (str, os.PathLike)):
        if parameters is not None:
            raise Error("parameters go with a list of snapshot files, not with a snapshot cache")
        source = os.fspath(cache)
        runs = _cache_runs(source)
    elif isinstance(cache, Sequence) and parameters is not None:
        source = "the runs given"
        files = [os.fspath(path) for path in cache]
        if isinstance(parameters, Mapping):
            columns = {str(name): np.asarray(values, dtype=np.float64).reshape(-1)
                       for name, values in parameters.items()}
            for name, column in columns.items():
                if len(column) != len(files):
                    raise Error("the parameter %s has %d values for %d files" % (name, len(column), len(files)))
            points = [{name: float(column[run]) for name, column in columns.items()} for run in range(len(files))]
        else:
            points = [dict(point) for point in parameters]
            if len(points) != len(files):
                raise Error("%d points of parameters for %d files" % (len(points), len(files)))
        runs = list(zip(points, files))
    else:
        raise Error("build takes the path of a snapshot cache, or a list of snapshot files with their parameters")
    if len(runs) < 2:
        raise Error("%s: a model needs at least 2 runs, there %s %d" % (source, "is" if len(runs) == 1 else "are",
                                                                       len(runs)))
    names = list(runs[0][0])
    if not names:
        raise Error("%s: the runs have no input parameter" % source)
    for index, (point, path) in enumerate(runs):
        if set(point) != set(names):
            raise Error("%s: run %d (%s) has the parameters %s, the first run %s"
                        % (source, index, path, ", ".join(point), ", ".join(names)))
    return names, np.array([[point[name] for name in names] for point, _ in runs]), [path for _, path in runs], source


def build(cache: Union[PathLike, Sequence[PathLike]], fields: Optional[Sequence[str]] = None,
          supports: Optional[Sequence[str]] = None, rank: Optional[int] = None, energy: Optional[float] = None,
          center: bool = True, interpolation: str = "rbf", *, parameters: Any = None, kernel: Optional[str] = None,
          smoothing: float = 0.0, epsilon: Optional[float] = None, dask: Optional[bool] = None) -> Model:
    """A reduced-order model of the runs of the snapshot cache file `cache` (or of a list
    of snapshot files, with `parameters`: a mapping of names to one value per file, or one
    mapping per file).

    fields, supports: the component and support solver ids whose values are modelled
        (None: all of the runs' (component, support) pairs).
    rank, energy: at most `rank` modes, and no more than the fewest holding the fraction
        `energy` of the sum of squared singular values; none given: every mode above the
        SVD's rounding.
    center: subtract the mean run before the POD.
    interpolation: "rbf", scipy's RBFInterpolator (`kernel`, thin-plate spline by default;
        `smoothing`, `epsilon`), or "gp", scikit-learn's Gaussian process (a Matern
        kernel of nu 2.5 with one length scale per parameter, shared by the modes, each
        mode normalised to its spread), which also gives a standard deviation. Either
        works in the unit box of the parameters.
    dask: assemble and factor the matrix with Dask (on the current scheduler: a
        distributed Client when one is active), in row blocks and without gathering it;
        None: when the matrix does not fit into the memory available. On Dask, a given
        `rank` limits the modes brought back; otherwise the files are read twice.
    """
    if rank is not None and (isinstance(rank, bool) or int(rank) != rank or rank < 1):
        raise Error("rank is a positive whole number, not %r" % (rank,))
    if energy is not None and not 0 < energy <= 1:
        raise Error("energy is a fraction in (0, 1], not %r" % (energy,))
    settings = _interpolation_settings(interpolation, kernel, smoothing, epsilon)
    names, points, files, source = _runs(cache, parameters)
    components = None if fields is None else [fields] if isinstance(fields, str) else list(fields)
    supports = None if supports is None else [supports] if isinstance(supports, str) else list(supports)
    pairs, ids, configuration = _first_run(files[0], components, supports)
    rows, count = sum(map(len, ids)), len(files)
    if dask is None:
        dask = 3 * 8 * rows * count > _memory_available()
    if dask and rows >= 2 * count:
        mean, s, vt, norms, modes = _dask_pod(files, pairs, ids, center, rank)
    else:
        matrix, norms = _matrix(files, pairs, ids)
        mean, s, vt, modes = pod(matrix, center)
        del matrix
    significant = _significant(s)
    if significant == 0:
        raise Error("%s: every run has the same values%s: there is nothing to model"
                    % (source, "" if center else ", all zero"))
    kept = _truncation(s, significant, rank, energy)
    return Model(parameters=names, points=points, files=files, pairs=pairs, ids=ids, configuration=configuration,
                 mean=mean, modes=modes(kept), singular_values=s, right_vectors=vt, norms=norms, center=center,
                 requested={"rank": rank, "energy": energy}, interpolation=settings)


def _dask_pod(files: Sequence[str], pairs: Sequence[Pair], ids: Sequence[np.ndarray], center: bool,
              rank: Optional[int]):
    """The POD on Dask: a tall-skinny QR of row blocks, the matrix never on one worker."""
    import dask
    import dask.array as da
    matrix = _dask_matrix(files, pairs, ids)
    mean = matrix.mean(axis=1) if center else da.zeros(matrix.shape[0], chunks=matrix.chunks[0])
    u, s, vt = da.linalg.svd(matrix - mean[:, None])
    norms = da.sqrt((matrix ** 2).sum(axis=0))
    if rank is not None:
        mean, s, vt, norms, u = dask.compute(mean, s, vt, norms, u[:, :min(rank, len(files))])
        return mean, s, vt, norms, lambda kept: np.asfortranarray(u[:, :kept])
    mean, s, vt, norms = dask.compute(mean, s, vt, norms)
    return mean, s, vt, norms, lambda kept: np.asfortranarray(u[:, :kept].compute())


def load(folder: PathLike) -> Model:
    """The model saved in `folder` by `Model.save`."""
    return Model.load(folder)


# ---- the command ----------------------------------------------------------------------

def _parse_point(text: str) -> dict[str, float]:
    point = {}
    for item in text.split(","):
        name, equals, value = item.partition("=")
        if not equals or not name.strip():
            raise argparse.ArgumentTypeError("%r is not NAME=VALUE" % item)
        try:
            point[name.strip()] = float(value)
        except ValueError:
            raise argparse.ArgumentTypeError("%r: %r is not a number" % (item, value)) from None
    return point


def _table(model: Model, document: dict, folder: str) -> str:
    validation = document["validation"]
    lines = [
        "runs: %d, parameters: %s" % (document["runs"], ", ".join(model.parameters)),
        "values: %d (%s)" % (document["values"], ", ".join("%s@%s" % pair for pair in model.pairs)),
        "modes kept: %d of %d, energy %.12g, %scentred" % (model.rank, len(model.singular_values), model.energy,
                                                         "" if model.center else "not "),
        "interpolation: %s" % ", ".join("%s %s" % (key, value) for key, value in model.interpolation.items()
                                        if key not in ("theta",) and value is not None),
        "%s relative L2 error: mean %.3e, max %.3e; nearest run instead: mean %.3e" % (
            "leave-one-out" if validation["folds"] == document["runs"] else "%d-fold" % validation["folds"],
            validation["meanError"], validation["maxError"], validation["meanNearestError"]),
        "",
        "  run " + "".join("%14s" % name[:13] for name in model.parameters) + "       error     nearest"]
    for index, run in enumerate(validation["runs"]):
        lines.append("%5d " % index + "".join("%14.6g" % run["point"][name] for name in model.parameters)
                     + "%12.3e%12.3e" % (run["error"], run["nearestError"]))
    lines += ["", "pictures: " + ", ".join(os.path.join(folder, name) for name in PICTURES)]
    return "\n".join(lines)


def main(argv: Optional[Sequence[str]] = None) -> int:
    """The command line: build, predict, report (see --help). Returns the exit status: 0
    success, 1 when a file or the model fails, 2 on a usage error."""
    parser = argparse.ArgumentParser(prog="tervikrom rom", description="Reduced-order models of the runs of a "
                                     "snapshot cache: POD and an interpolation over the input parameters.")
    commands = parser.add_subparsers(dest="command", required=True, metavar="{build,predict,report}")
    make = commands.add_parser("build", help="Builds a model from the runs of a snapshot cache and saves it.")
    make.add_argument("cache", help="the snapshot cache (.romcch); its snapshot files are found from its folder")
    make.add_argument("-o", "--output", required=True, help="the model's folder")
    make.add_argument("--field", action="append", help="a component solver id to model (repeatable; default all)")
    make.add_argument("--support", action="append", help="a support solver id to model (repeatable; default all)")
    make.add_argument("--rank", type=int, help="at most this many modes")
    make.add_argument("--energy", type=float, help="the fewest modes holding this fraction of the energy")
    make.add_argument("--no-center", action="store_true", help="do not subtract the mean run")
    make.add_argument("--interpolation", choices=("rbf", "gp"), default="rbf")
    make.add_argument("--kernel", help="the radial basis function (default thin_plate_spline)")
    make.add_argument("--dask", action="store_true", help="assemble and factor the matrix with Dask")
    guess = commands.add_parser("predict", help="Writes the model's prediction at a point as a snapshot file.")
    guess.add_argument("model", help="the model's folder")
    guess.add_argument("--point", required=True, type=_parse_point, help="NAME=VALUE,NAME=VALUE,...")
    guess.add_argument("-o", "--output", required=True, help="the snapshot file (.romsnp)")
    guess.add_argument("--std", help="also the standard deviation, into this snapshot file (a gp model)")
    show = commands.add_parser("report", help="Validates the model and writes its pictures and report.json.")
    show.add_argument("model", help="the model's folder")
    show.add_argument("-o", "--output", help="the folder for the pictures and report.json (default: the model's)")
    show.add_argument("--folds", type=int, help="k-fold cross-validation instead of leave-one-out")
    show.add_argument("--json", action="store_true", help="print the report as JSON instead of a table")
    arguments = parser.parse_args(argv)
    try:
        if arguments.command == "build":
            model = build(arguments.cache, fields=arguments.field, supports=arguments.support, rank=arguments.rank,
                          energy=arguments.energy, center=not arguments.no_center,
                          interpolation=arguments.interpolation, kernel=arguments.kernel,
                          dask=True if arguments.dask else None)
            model.save(arguments.output)
            print("%s: %d runs, %d values, %d modes (energy %.12g)" % (arguments.output, len(model.files),
                                                                      len(model.mean), model.rank, model.energy))
        elif arguments.command == "predict":
            load(arguments.model).predict_snapshot(arguments.point, arguments.output, arguments.std)
        else:
            model = load(arguments.model)
            folder = arguments.output or arguments.model
            document = model.report(folder, arguments.folds)
            print(json.dumps(document, indent=1) if arguments.json else _table(model, document, folder))
    except Error as failure:
        print("tervikrom: %s" % failure, file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    from ._command import run as run_command
    run_command(main)
