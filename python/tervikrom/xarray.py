"""A snapshot cache's runs as labelled arrays (xarray), read into numpy or lazily on Dask.

Dimensions: "run" (the cache's entries in order; each input parameter is a coordinate on
it, NaN for a run without it, and so is "snapshot_file", each run's file resolved against
the cache's folder), "entity" (the support's entity ids, ascending) and, for a field,
"component" (its component ids). The arrays are laid out run by run, C-contiguous: a
run's values are one block of memory, and `array.values.reshape(runs, -1).T` is the
snapshot matrix of `tervikrom.snapshot_matrix` (field rows), as a view.
"""
from __future__ import annotations

import os
from typing import Any, Dict, List, Optional, Sequence, Tuple, Union

import dask
import dask.array as da
import numpy as np
import xarray as xr

from dask.utils import parse_bytes

from ._core import PathLike, integer
from ._errors import ArgumentError, name_list
from .configuration import FieldCfg, SetupCfg
from .snapshot import ColumnReader, SnapshotCache, _sort_key, field_components, read_columns, snapshot_matrix


def _cache(cache: Union[SnapshotCache, PathLike]) -> SnapshotCache:
    return cache if isinstance(cache, SnapshotCache) else SnapshotCache().resume(cache)


def _setup(setup: Union[SetupCfg, PathLike, None]) -> Optional[SetupCfg]:
    return setup if setup is None or isinstance(setup, SetupCfg) else SetupCfg().resume(setup)


def _run_coordinates(cache: SnapshotCache) -> Tuple[List[str], Dict[str, Any]]:
    """(files, coordinates): each run's snapshot file, and the coordinates of the run
    dimension: its index, each input parameter and the file."""
    entries = list(cache)
    if not entries:
        raise ArgumentError("the snapshot cache%s holds no run" % (' "%s"' % cache.filename if cache.filename else ""))
    inputs = [entry.inputs for entry in entries]
    files = [entry.path for entry in entries]
    names = sorted({name for point in inputs for name in point}, key=_sort_key)
    coordinates: Dict[str, Any] = {"run": np.arange(len(entries))}
    for name in names:
        coordinates[name] = ("run", np.array([point.get(name, np.nan) for point in inputs], dtype=np.float64))
    coordinates["snapshot_file"] = ("run", np.array(files, dtype=object))
    return files, coordinates


def _values(files: List[str], components: List[str], support: str, lazy: bool, chunks: Optional[int],
            progress: bool) -> Tuple[np.ndarray, Any]:
    """(ids, values): the values of `components` on `support` in every file, (runs,
    entities, components), in numpy or lazily on Dask (`chunks` runs to a chunk)."""
    count = len(components)
    if not lazy:
        if chunks is not None:
            raise ArgumentError("chunks are those of a lazy array (lazy=True)")
        ids, matrix = snapshot_matrix(files, components, support, progress=progress)
        return ids, matrix.T.reshape(len(files), len(ids), count)
    if progress:
        raise ArgumentError("a lazy array shows its progress when computed: use dask.diagnostics.ProgressBar")
    ids, _ = ColumnReader(components, support).first(files[0])
    run_bytes = max(1, len(ids) * count * 8)
    if chunks is None:
        chunks = max(1, parse_bytes(dask.config.get("array.chunk-size")) // run_bytes)
    chunks = integer(chunks, "chunks (runs to a chunk)", 1)
    shared_ids = dask.delayed(ids, pure=True)
    block = dask.delayed(_block, pure=True)
    groups = [files[start:start + chunks] for start in range(0, len(files), chunks)]
    return ids, da.concatenate([da.from_delayed(block(group, tuple(components), support, shared_ids),
                                                shape=(len(group), len(ids), count), dtype=np.float64)
                                for group in groups], axis=0)


def _block(files: List[str], components: Tuple[str, ...], support: str, ids: np.ndarray) -> np.ndarray:
    """The values of a group of runs as a (runs, entities, components) block."""
    block = np.empty((len(ids) * len(components), len(files)), order="F")
    read_columns(files, components, support, ids, block)
    return block.T.reshape(len(files), len(ids), len(components))


def dataarray(cache: Union[SnapshotCache, PathLike], field: Union[str, FieldCfg], support: Optional[str] = None, *,
              setup: Union[SetupCfg, PathLike, None] = None, lazy: bool = False, chunks: Optional[int] = None,
              progress: bool = False) -> xr.DataArray:
    """The values of `field` on `support` in every run of `cache` (a SnapshotCache or the
    path of its ".romcch"), a DataArray (run, entity, component) of float64, named by the
    field, with the field's unit, quantity and caption in `attrs`.

    `field` is a FieldCfg or the solver id of a field of `setup` (a SetupCfg or the path
    of its ".romcfg"); `support` may be left out when the field has one. `lazy=True`
    gives a Dask-backed array of `chunks` runs to a chunk (by default as many as fill
    Dask's chunk size, "array.chunk-size"), each file read where its chunk is computed;
    `progress=True` shows a progress bar while the files are read (not lazily).
    Files with another id set than the first are refused with an error naming them."""
    cache = _cache(cache)
    field, components, support = field_components(field, support, _setup(setup))
    files, coordinates = _run_coordinates(cache)
    ids, values = _values(files, components, support, lazy, chunks, progress)
    coordinates.update(entity=ids, component=np.array(components, dtype=object))
    return xr.DataArray(values, dims=("run", "entity", "component"), coords=coordinates, name=field.solver_id,
                        attrs={"field": field.solver_id, "support": support, "unit": field.unit,
                               "quantity": field.quantity, "caption": field.caption})


def dataset(cache: Union[SnapshotCache, PathLike], support: Optional[str] = None, *,
            setup: Union[SetupCfg, PathLike], fields: Optional[Sequence[str]] = None, lazy: bool = False,
            chunks: Optional[int] = None, progress: bool = False) -> xr.Dataset:
    """Every run of `cache` as a Dataset: one (run, entity) variable per component of the
    fields given on `support` (all fields of `setup`, or those named in `fields`), each
    with its field's unit, quantity and caption in `attrs`, and one (run) variable per
    output parameter (NaN for a run without it). Each file is read once for all of them.
    `support` may be left out when the fields share a single one; `lazy`, `chunks` and
    `progress` as for `dataarray`."""
    cache, setup = _cache(cache), _setup(setup)
    chosen = [setup.field(name) for name in fields] if fields is not None else list(setup.fields)
    if support is None:
        supports = sorted({s for field in chosen for s in field.support_ids})
        if len(supports) != 1:
            raise ArgumentError("the fields are given on %s: name the support (support=)" % name_list(supports))
        support = supports[0]
    chosen = [field for field in chosen if support in field.support_ids]
    if not chosen:
        raise ArgumentError('no field is given on the support "%s"' % support)
    components = [(field, component) for field in chosen for component in field.component_ids]
    files, coordinates = _run_coordinates(cache)
    ids, values = _values(files, [component for _, component in components], support, lazy, chunks, progress)
    coordinates["entity"] = ids
    variables: Dict[str, Any] = {}
    for index, (field, component) in enumerate(components):
        variables[component] = xr.Variable(("run", "entity"), values[:, :, index], attrs={
            "field": field.solver_id, "support": support, "unit": field.unit, "quantity": field.quantity,
            "caption": field.caption})
    outputs = [entry.outputs for entry in cache]
    for name in sorted({name for point in outputs for name in point}, key=_sort_key):
        if name in variables or name in coordinates:
            raise ArgumentError('the output "%s" has the name of a component or an input' % name)
        variables[name] = ("run", np.array([point.get(name, np.nan) for point in outputs], dtype=np.float64))
    return xr.Dataset(variables, coords=coordinates, attrs={"support": support,
                                                           "cache": os.fspath(cache.filename or "")})
