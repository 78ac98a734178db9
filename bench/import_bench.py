#!/usr/bin/python3
"""The import of a mesh through meshio (what `tervikrom import` runs): a strip of 2,000,000
Hex8 and 8,000,004 nodes written as a VTU by meshio (binary, no compression), imported
into a `.rommsh` and its configuration by `tervikrom.meshio.import_mesh` (meshio's read,
the tables made, both files saved), beside meshio reading the same VTU, in the same run.
The two take turns (the order alternating), each three times; min and median are printed.

Usage: import_bench.py FOLDER [--elements 2000000] [--runs 3]
Needs the package tervikrom on the path: PYTHONPATH=python TERVIKROM_LIBRARY=BUILD/libtervikrom.so
"""
import argparse
import os
import shutil
import statistics
import time

import meshio
import numpy as np

import tervikrom.meshio


def strip(elements):
    """Cross-section i holds nodes 4i..4i+3, the corners of the unit square at x = i / 100;
    element e joins cross-sections e and e + 1."""
    section = np.arange(elements + 1)
    points = np.zeros((4 * (elements + 1), 3))
    points[:, 0] = np.repeat(0.01 * section, 4)
    points[:, 1] = np.tile([0.0, 1.0, 1.0, 0.0], elements + 1)
    points[:, 2] = np.tile([0.0, 0.0, 1.0, 1.0], elements + 1)
    cells = (4 * np.arange(elements)[:, None] + np.arange(8)[None, :]).astype(np.int32)
    return meshio.Mesh(points, [("hexahedron", cells)])


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("folder")
    parser.add_argument("--elements", type=int, default=2000000)
    parser.add_argument("--runs", type=int, default=3)
    arguments = parser.parse_args()
    folder = os.path.join(arguments.folder, "import_bench")
    os.makedirs(folder, exist_ok=True)
    vtu, output = os.path.join(folder, "strip.vtu"), os.path.join(folder, "strip.rommsh")
    meshio.vtu.write(vtu, strip(arguments.elements), binary=True, compression=None)
    print("strip.vtu: %d Hex8, %d nodes, %.1f MB (meshio's VTU, binary, no compression)"
          % (arguments.elements, 4 * (arguments.elements + 1), os.path.getsize(vtu) / 1e6))

    times = {"import": [], "read": []}

    def read():
        start = time.perf_counter()
        meshio.read(vtu)
        times["read"].append(time.perf_counter() - start)

    def imported():
        for path in (output, tervikrom.meshio.configuration_path(output)):
            if os.path.exists(path):
                os.remove(path)
        start = time.perf_counter()
        tervikrom.meshio.import_mesh(vtu, output)
        times["import"].append(time.perf_counter() - start)

    for run in range(arguments.runs):
        for action in (read, imported) if run % 2 == 0 else (imported, read):
            action()
    print("strip.rommsh: %.1f MB" % (os.path.getsize(output) / 1e6))
    for label, pick in (("min", min), ("median", statistics.median)):
        mine, reference = pick(times["import"]), pick(times["read"])
        print("%-44s %9.4f s   %-28s %9.4f s   ratio %5.2f   target <= 1.5x"
              % ("import_mesh into .rommsh, %s of %d" % (label, arguments.runs), mine,
                 "meshio.read of the VTU, " + label, reference, mine / reference))
    shutil.rmtree(folder)


if __name__ == "__main__":
    main()
