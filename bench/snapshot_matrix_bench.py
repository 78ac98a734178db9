#!/usr/bin/python3
"""Snapshot matrix of 200 snapshot files of 500,000 values each, assembled through the
Python package: the numpy path, then the Dask path on the threaded scheduler (computed
whole, and stored chunk by chunk into a numpy array), each timed beside a raw read of the
same files' bytes in the same run (best of five interleaved runs, files in the page cache).

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
import numpy as np

import tervikrom
import tervikrom.dask


def write_files(folder, count, size):
    """`count` snapshots of one component on one support of `size` entities: the first run
    adds its pairs, the later ones replace the values in one copy each."""
    cfg = tervikrom.SnapshotCfg()
    support = cfg.add_support(solver_id="nodes", entity_count=size, entities_type=1)
    component = cfg.add_component(solver_id="T", caption="T")
    cfg.add_component_to_support(component, support)
    ids = np.arange(size, dtype=np.uint32)
    files = []
    with tervikrom.Snapshot(cfg) as snapshot:
        data = snapshot.component_data("T", "nodes")
        for run in range(count):
            data.fill(ids, np.sin(ids * (1.0 + run / count)))
            files.append(os.path.join(folder, "run-%03d.romsnp" % run))
            snapshot.save(files[-1])
    return files


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


def store(files):
    """The lazy matrix written chunk by chunk into a column-major numpy array: each file's
    column lands where it belongs, without the concatenation of compute()."""
    ids, lazy = tervikrom.dask.snapshot_matrix(files, "T", "nodes")
    matrix = np.empty(lazy.shape, order="F")
    da.store(lazy, matrix, scheduler="threads")
    return matrix


def raw_reread(files):
    """Every file's bytes into one reused buffer of the largest file's size: what is read is
    dropped at once, so the memory stays in the caches (for information)."""
    buffer = memoryview(np.empty(max(os.path.getsize(path) for path in files), dtype=np.uint8))
    for path in files:
        with open(path, "rb", buffering=0) as stream:
            stream.readinto(buffer[:os.path.getsize(path)])


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
        files = write_files(folder, arguments.files, arguments.values)
        size = sum(os.path.getsize(path) for path in files)
        print("%d files of %d values (%.0f MB) written in %.2f s"
              % (len(files), arguments.values, size / 1e6, time.perf_counter() - start))

        raw_read(files)  # into the page cache
        matrix = tervikrom.snapshot_matrix(files, "T", "nodes")[1]
        for lazy in (tervikrom.dask.snapshot_matrix(files, "T", "nodes")[1].compute(scheduler="threads"),
                     store(files)):
            if not np.array_equal(matrix, lazy):
                sys.exit("the Dask matrix differs from the numpy one")
        del matrix, lazy
        raw, reread, direct, dask_path, dask_store = best_times([
            lambda: raw_read(files),
            lambda: raw_reread(files),
            lambda: tervikrom.snapshot_matrix(files, "T", "nodes"),
            lambda: tervikrom.dask.snapshot_matrix(files, "T", "nodes")[1].compute(scheduler="threads"),
            lambda: store(files)])
        print("%-62s %8.3f s  %6.2f GB/s" % ("raw read of the files' bytes, kept (reference)", raw, size / raw / 1e9))
        print("%-62s %8.3f s  %6.2f GB/s  %5.2fx the raw read" % ("raw read into one reused buffer (information)", reread,
                                                                  size / reread / 1e9, reread / raw))
        for name, seconds in (("tervikrom.snapshot_matrix (numpy, next file read meanwhile)", direct),
                              ("tervikrom.dask.snapshot_matrix, threaded compute()", dask_path),
                              ("the same, da.store into a column-major array", dask_store)):
            print("%-62s %8.3f s  %6.2f GB/s  %5.2fx the raw read" % (name, seconds, size / seconds / 1e9,
                                                                      seconds / raw))
    finally:
        shutil.rmtree(folder)


if __name__ == "__main__":
    main()
