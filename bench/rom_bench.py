#!/usr/bin/python3
"""A reduced-order model of 200 snapshot files of 500,000 values each, timed through the
Python package beside references measured in the same run:

  - the POD of the assembled matrix (tervikrom.rom.pod, every mode) beside numpy's
    svd(full_matrices=False) of the same matrix;
  - the whole build from the snapshot cache (tervikrom.rom.build, every mode) beside the
    matrix read (tervikrom.snapshot_matrix) plus that SVD;
  - one prediction of 500,000 values (predict, and predict_snapshot into a file) beside
    a raw write of as many values.

The machine may be shared: the two sides of each comparison alternate in order, each is
repeated, and the minimum and the median are printed. Files are in the page cache.

Usage: rom_bench.py FOLDER [--files 200] [--values 500000] [--repeats 3]
Needs the package tervikrom on the path: PYTHONPATH=python TERVIKROM_LIBRARY=BUILD/libtervikrom.so
"""
import argparse
import gc
import os
import shutil
import statistics
import sys
import tempfile
import time

import numpy as np
from scipy.stats import qmc

import tervikrom
import tervikrom.rom


def write_runs(folder, count, size):
    """`count` runs over two parameters, one component on one support of `size` entities,
    and their snapshot cache."""
    cfg = tervikrom.SnapshotCfg()
    cfg.add_component_to_support(cfg.add_component(solver_id="T", caption="T"),
                                 cfg.add_support(solver_id="nodes", entity_count=size, entities_type=1))
    ids = np.arange(size, dtype=np.uint32)
    x = np.linspace(0, 1, size)
    cache = tervikrom.SnapshotCache()
    with tervikrom.Snapshot(cfg) as snapshot:
        data = snapshot.component_data("T", "nodes")
        for run, (a, b) in enumerate(qmc.Halton(2, seed=0).random(count)):
            data.fill(ids, 300 + 50 * np.exp(-(x - 0.2 - 0.6 * a) ** 2 / (0.01 + 0.05 * b)) + np.sin(20 * a * x))
            name = "run-%03d.romsnp" % run
            snapshot.save(os.path.join(folder, name))
            cache.push(tervikrom.UserPoint(a=a, b=b), tervikrom.UserPoint(), name)
    cache.save(os.path.join(folder, "runs.romcch"))
    return [os.path.join(folder, "run-%03d.romsnp" % run) for run in range(count)]


def timed(action):
    gc.collect()
    start = time.perf_counter()
    result = action()
    return time.perf_counter() - start, result


def raw_write(path, values):
    """The values' bytes into a new file, as one write."""
    with open(path, "wb", buffering=0) as stream:
        stream.write(memoryview(values))


def row(name, times, reference=None):
    line = "%-58s min %8.3f s  median %8.3f s" % (name, min(times), statistics.median(times))
    if reference is not None:
        line += "   %5.2fx / %5.2fx" % (min(times) / min(reference), statistics.median(times) / statistics.median(reference))
    print(line)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("folder")
    parser.add_argument("--files", type=int, default=200)
    parser.add_argument("--values", type=int, default=500_000)
    parser.add_argument("--repeats", type=int, default=3)
    arguments = parser.parse_args()
    folder = tempfile.mkdtemp(prefix="tervikrom-rom-", dir=arguments.folder)
    try:
        seconds, files = timed(lambda: write_runs(folder, arguments.files, arguments.values))
        print("%d runs of %d values written in %.1f s" % (len(files), arguments.values, seconds))
        cache = os.path.join(folder, "runs.romcch")
        tervikrom.snapshot_matrix(files, "T", "nodes")  # into the page cache

        times = {name: [] for name in ("read", "svd", "pod", "build", "predict", "snapshot", "write")}
        for repeat in range(arguments.repeats):
            seconds, (_, matrix) = timed(lambda: tervikrom.snapshot_matrix(files, "T", "nodes"))
            times["read"].append(seconds)
            sides = [("svd", lambda: np.linalg.svd(matrix, full_matrices=False)),
                     ("pod", lambda: (lambda pod: pod[3](len(pod[1])))(tervikrom.rom.pod(matrix)))]
            for name, action in sides[::1 if repeat % 2 == 0 else -1]:
                times[name].append(timed(action)[0])
            del matrix
            seconds, model = timed(lambda: tervikrom.rom.build(cache))
            times["build"].append(seconds)
            point, values = {"a": 0.37, "b": 0.61}, model.mean.copy()
            target = os.path.join(folder, "predicted.romsnp")
            for _ in range(10):
                sides = [("predict", lambda: model.predict(point)), ("snapshot", lambda: model.predict_snapshot(point, target)),
                         ("write", lambda: raw_write(os.path.join(folder, "raw.bin"), values))]
                for name, action in sides[::1 if repeat % 2 == 0 else -1]:
                    times[name].append(timed(action)[0])
            modes = model.rank
            del model
            print("repeat %d of %d done" % (repeat + 1, arguments.repeats), file=sys.stderr)

        print("%d files x %d values, %d repeats, the sides alternating (ratios: min / median)"
              % (len(files), arguments.values, arguments.repeats))
        row("numpy svd(full_matrices=False) of the matrix (reference)", times["svd"])
        row("tervikrom.rom.pod of the same matrix, every mode", times["pod"], times["svd"])
        read_svd = [read + svd for read, svd in zip(times["read"], times["svd"])]
        row("matrix read (tervikrom.snapshot_matrix)", times["read"])
        row("matrix read + numpy svd (reference)", read_svd)
        row("tervikrom.rom.build from the cache, every mode", times["build"], read_svd)
        row("raw write of %d values into a file (reference)" % arguments.values, times["write"])
        row("model.predict: %d values from %d modes" % (arguments.values, modes), times["predict"], times["write"])
        row("model.predict_snapshot: the values into a .romsnp", times["snapshot"], times["write"])
    finally:
        shutil.rmtree(folder)


if __name__ == "__main__":
    main()
