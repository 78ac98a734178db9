#!/usr/bin/python3
"""Snapshot matrix of 200 snapshot files of 500,000 values each (a field of two
components on 250,000 entities), assembled through the Python package: one component and
the whole field on numpy, the field on Dask (computed whole, and stored chunk by chunk into
a numpy array), and the field as an xarray DataArray of a snapshot cache's runs on numpy
and on Dask. Each is timed beside a raw read of the same files' bytes in the same run
(best of five interleaved runs, files in the page cache; Dask's compute() of the column
chunks apart, after the others); the xarray path on Dask is also set beside the field's
numpy matrix. The field's matrix is also set beside its peers on the same values: one
".npy" file per run (np.save) loaded column by column with np.load, and one HDF5 file per
run read column by column with h5py's read_direct.

Usage: snapshot_matrix_bench.py FOLDER [--files 200] [--values 500000]
Needs the package tervikrom on the path: PYTHONPATH=python TERVIKROM_LIBRARY=BUILD/libtervikrom.so
"""
import argparse
import os
import shutil
import sys
import tempfile
import time

import dask.array as da
import h5py
import numpy as np

import tervikrom
import tervikrom.dask
import tervikrom.xarray

COMPONENTS = ("ux", "uy")


def write_files(folder, count, size):
    """`count` snapshots of a field of two components on one support of `size` / 2
    entities, pushed into a snapshot cache (saved in `folder`) with their run number as
    input; returns (files, set-up, cache path). The first run adds its pairs, the later
    ones replace the values in one copy each."""
    entities = size // len(COMPONENTS)
    setup = tervikrom.SetupCfg()
    mesh = setup.configure_mesh_data(unit="m")
    mesh.add_region("domain", caption="domain").add_support("nodes", entity_count=entities, entities_type=1)
    field = setup.add_field("u", caption="displacement", quantity="length", unit="m", entities_type=1)
    for component in COMPONENTS:
        field.add_component(component, caption=component)
    field.add_support("nodes")
    cfg = tervikrom.SnapshotCfg()
    support = cfg.add_support("nodes", entity_count=entities, entities_type=1)
    for component in COMPONENTS:
        cfg.add_component_to_support(cfg.add_component(component, caption=component), support)
    ids = np.arange(entities, dtype=np.uint32)
    files, cache = [], tervikrom.SnapshotCache()
    with tervikrom.Snapshot(cfg) as snapshot:
        for run in range(count):
            for index, component in enumerate(COMPONENTS):
                snapshot.component_data(component, "nodes").fill(ids, np.sin(ids * (1.0 + run / count) + index))
            files.append(os.path.join(folder, "run-%03d.romsnp" % run))
            snapshot.save(files[-1])
            cache.push({"run": run}, {}, os.path.basename(files[-1]))
    cache.save(os.path.join(folder, "runs.romcch"))
    return files, setup, os.path.join(folder, "runs.romcch")


def raw_read(files):
    """Every file's bytes, one after the other into one new buffer, as a reader that keeps
    what it reads (like the matrix) would."""
    sizes = [os.path.getsize(path) for path in files]
    buffer = memoryview(np.empty(sum(sizes), dtype=np.uint8))
    offset = 0
    for path, size in zip(files, sizes):
        with open(path, "rb", buffering=0) as stream:
            stream.readinto(buffer[offset:offset + size])
        offset += size
    return buffer


def write_peers(folder, matrix):
    """The matrix's columns as one ".npy" file and one HDF5 file (a dataset "u") per run."""
    npy, hdf5 = [], []
    for run in range(matrix.shape[1]):
        npy.append(os.path.join(folder, "run-%03d.npy" % run))
        np.save(npy[-1], matrix[:, run])
        hdf5.append(os.path.join(folder, "run-%03d.h5" % run))
        with h5py.File(hdf5[-1], "w") as stream:
            stream["u"] = matrix[:, run]
    return npy, hdf5


def load_npy(npy, rows):
    """The matrix from the ".npy" files: np.load of each into its column."""
    matrix = np.empty((rows, len(npy)), order="F")
    for run, path in enumerate(npy):
        matrix[:, run] = np.load(path)
    return matrix


def read_hdf5(hdf5, rows):
    """The matrix from the HDF5 files: each dataset read straight into its column."""
    matrix = np.empty((rows, len(hdf5)), order="F")
    for run, path in enumerate(hdf5):
        with h5py.File(path, "r") as stream:
            stream["u"].read_direct(matrix[:, run])
    return matrix


def store(files, setup):
    """The field's lazy matrix written chunk by chunk into a column-major numpy array: each
    file's column lands where it belongs, without the concatenation of compute()."""
    ids, lazy = tervikrom.dask.snapshot_matrix(files, field="u", setup=setup)
    matrix = np.empty(lazy.shape, order="F")
    da.store(lazy, matrix, scheduler="threads")
    return matrix


def best_times(actions, runs=5):
    """The best wall time of each action, the runs interleaved so that a change of the
    machine's load falls on all of them alike."""
    times = [float("inf")] * len(actions)
    for _ in range(runs):
        for index, action in enumerate(actions):
            start = time.perf_counter()
            action()
            times[index] = min(times[index], time.perf_counter() - start)
    return times


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("folder")
    parser.add_argument("--files", type=int, default=200)
    parser.add_argument("--values", type=int, default=500_000)
    arguments = parser.parse_args()
    folder = tempfile.mkdtemp(prefix="tervikrom-matrix-", dir=arguments.folder)
    try:
        start = time.perf_counter()
        files, setup, cache = write_files(folder, arguments.files, arguments.values)
        size = sum(os.path.getsize(path) for path in files)
        print("%d files of %d values (%.0f MB) written in %.2f s"
              % (len(files), arguments.values, size / 1e6, time.perf_counter() - start))

        def field():
            return tervikrom.snapshot_matrix(files, field="u", setup=setup)[1]

        def xarray(lazy, chunks=None):
            array = tervikrom.xarray.dataarray(cache, "u", setup=setup, lazy=lazy, chunks=chunks)
            return array.compute(scheduler="threads") if lazy else array

        raw_read(files)  # into the page cache
        matrix = field()
        runs = matrix.shape[1]
        npy, hdf5 = write_peers(folder, matrix)
        for peer in (load_npy(npy, matrix.shape[0]), read_hdf5(hdf5, matrix.shape[0])):
            if not np.array_equal(matrix, peer):
                sys.exit("a peer gives another matrix than the field's numpy one")
        for other in (tervikrom.dask.snapshot_matrix(files, field="u", setup=setup)[1].compute(scheduler="threads"),
                      store(files, setup), xarray(False).values.reshape(runs, -1).T,
                      xarray(True).values.reshape(runs, -1).T):
            if not np.array_equal(matrix, other):
                sys.exit("a path gives another matrix than the field's numpy one")
        if not np.array_equal(matrix[1::2], tervikrom.snapshot_matrix(files, "uy", "nodes")[1]):
            sys.exit("the field's matrix does not stack its components")
        rows = matrix.shape[0]
        del matrix, other, peer
        raw, numpy_load, hdf5_read, single, direct, dask_store, numpy_xarray, dask_xarray, one_chunk = best_times([
            lambda: raw_read(files),
            lambda: load_npy(npy, rows),
            lambda: read_hdf5(hdf5, rows),
            lambda: tervikrom.snapshot_matrix(files, "ux", "nodes"),
            field,
            lambda: store(files, setup),
            lambda: xarray(False),
            lambda: xarray(True),
            lambda: xarray(True, len(files))])
        # Last and apart: the concatenation of its column chunks writes the whole matrix with
        # a stride, after which this host faults fresh memory in slowly for a while (seen on
        # the shared 2-core machine), which would tax whatever ran next.
        (dask_path,) = best_times([lambda: tervikrom.dask.snapshot_matrix(files, field="u", setup=setup)[1]
                                   .compute(scheduler="threads")], runs=3)
        print("%-70s %8.3f s  %6.2f GB/s" % ("raw read of the files' bytes, kept (reference)", raw, size / raw / 1e9))
        for name, seconds in (("tervikrom.snapshot_matrix, one component (half the values)", single),
                              ("tervikrom.snapshot_matrix(field=...), numpy, next file read meanwhile", direct),
                              ("tervikrom.dask.snapshot_matrix(field=...), da.store into a column-major array",
                               dask_store),
                              ("tervikrom.xarray.dataarray, numpy", numpy_xarray),
                              ("tervikrom.xarray.dataarray(lazy=True), threaded compute()", dask_xarray),
                              ("the same in one chunk (information: Dask then copies nothing)", one_chunk),
                              ("tervikrom.dask.snapshot_matrix(field=...), threaded compute(), apart", dask_path)):
            print("%-70s %8.3f s  %6.2f GB/s  %5.2fx the raw read" % (name, seconds, size / seconds / 1e9,
                                                                      seconds / raw))
        print("%-70s %8.2fx" % ("xarray on Dask beside the field's numpy matrix", dask_xarray / direct))
        for name, seconds in (("np.load of each run's .npy into its column (peer)", numpy_load),
                              ("h5py read_direct of each run's dataset into its column (peer)", hdf5_read)):
            print("%-70s %8.3f s  %6.2f GB/s  %5.2fx the raw read" % (name, seconds, size / seconds / 1e9,
                                                                      seconds / raw))
        print("%-70s %8.2fx   target <= 1.2x" % ("the field's numpy matrix beside np.load", direct / numpy_load))
        print("%-70s %8.2fx" % ("the field's numpy matrix beside h5py", direct / hdf5_read))
    finally:
        shutil.rmtree(folder)


if __name__ == "__main__":
    main()
