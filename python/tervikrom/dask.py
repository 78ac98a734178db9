"""The snapshot matrix as a lazy Dask array, one chunk per file, for series larger than
one machine's memory or computed on a Dask cluster."""
from __future__ import annotations

import os
import threading
from typing import Any, Iterable, List, Optional, Sequence, Tuple, Union

import dask
import dask.array as da
import numpy as np

from ._core import PathLike
from ._errors import ArgumentError
from .configuration import FieldCfg
from .snapshot import ColumnReader, matrix_components

_readers = threading.local()


def _column(path: str, components: Tuple[str, ...], support: str, ids: np.ndarray) -> np.ndarray:
    """One file's values in the order of `ids`, the components interleaved, as an
    (entities x components, 1) block; each worker thread keeps one reader (and so one
    snapshot object) per set of components."""
    cache = _readers.__dict__.setdefault("readers", {})
    reader = cache.get((components, support))
    if reader is None:
        reader = cache[(components, support)] = ColumnReader(components, support)
    block = np.empty((len(ids) * len(components), 1))
    reader.read_into(path, ids, block[:, 0])
    return block


def column_chunks(files: List[str], components: List[str], support: str) -> Tuple[np.ndarray, List[Any]]:
    """(ids, chunks): the entity ids, read now from the first file, and one lazy
    (entities x components, 1) float64 chunk per file."""
    if not files:
        raise ArgumentError("snapshot_matrix needs at least one file")
    ids, _ = ColumnReader(components, support).first(files[0])
    shared_ids = dask.delayed(ids, pure=True)
    column = dask.delayed(_column, pure=True)
    rows = len(ids) * len(components)
    return ids, [da.from_delayed(column(path, tuple(components), support, shared_ids), shape=(rows, 1),
                                 dtype=np.float64) for path in files]


def snapshot_matrix(files: Iterable[PathLike], component: Union[str, Sequence[str], None] = None,
                    support: Optional[str] = None, *,
                    field: Union[str, FieldCfg, None] = None, setup: Any = None) -> Tuple[np.ndarray, da.Array]:
    """(ids, matrix): the entity ids in ascending order, read now from the first file, and
    the lazy float64 matrix, one column (and one chunk) per file, with the rows of
    `tervikrom.snapshot_matrix` (one component, or a field's components entity by
    entity). Computing it reads each file once, wherever its chunk is computed; a file
    with another id set fails the compute with an error naming it. Show progress with
    Dask's own (dask.diagnostics.ProgressBar, or the distributed dashboard)."""
    files = [os.fspath(path) for path in files]
    components, support = matrix_components(component, support, field, setup)
    ids, chunks = column_chunks(files, components, support)
    return ids, da.concatenate(chunks, axis=1)
