"""The snapshot matrix as a lazy Dask array, one chunk per file, for series larger than
one machine's memory or computed on a Dask cluster."""
import os
import threading

import dask
import dask.array as da
import numpy as np

from .snapshot import ColumnReader

_readers = threading.local()


def _column(path, component, support, ids):
    """One file's values in the order of `ids`, as an (entities x 1) block; each worker
    thread keeps one reader (and so one snapshot object) per pair."""
    cache = _readers.__dict__.setdefault("readers", {})
    reader = cache.get((component, support))
    if reader is None:
        reader = cache[(component, support)] = ColumnReader(component, support)
    block = np.empty((len(ids), 1))
    reader.read_into(path, ids, block[:, 0])
    return block


def snapshot_matrix(files, component, support):
    """(ids, matrix): the entity ids in ascending order, read now from the first file, and
    the lazy (entities x files) float64 matrix, one chunk per file; computing it reads each
    file once, wherever its chunk is computed. A file with another id set fails the compute
    with an error naming it."""
    files = [os.fspath(path) for path in files]
    if not files:
        raise ValueError("snapshot_matrix needs at least one file")
    ids, _ = ColumnReader(component, support).first(files[0])
    shared_ids = dask.delayed(ids, pure=True)
    column = dask.delayed(_column, pure=True)
    chunks = [da.from_delayed(column(path, component, support, shared_ids), shape=(len(ids), 1), dtype=np.float64)
              for path in files]
    return ids, da.concatenate(chunks, axis=1)
