"""meshio's VTU writer (binary, no compression) on the arrays that export_bench wrote as
raw files into FOLDER: prints the best time of RUNS writes, in seconds; loading the arrays
is not timed. Run with Debian's /usr/bin/python3, which has meshio.

Usage: meshio_vtu.py FOLDER NODES ELEMENTS RUNS"""
import os
import sys
import time

import meshio
import numpy as np


def main():
    folder, nodes, elements, runs = sys.argv[1], int(sys.argv[2]), int(sys.argv[3]), int(sys.argv[4])

    def load(name, dtype, shape):
        return np.fromfile(os.path.join(folder, name), dtype=dtype).reshape(shape)

    mesh = meshio.Mesh(
        load("points.raw", "<f8", (nodes, 3)),
        [("hexahedron", load("cells.raw", "<i4", (elements, 8)))],
        point_data={"NodeId": load("node_ids.raw", "<i4", nodes), "velocity": load("velocity.raw", "<f8", (nodes, 3))},
        cell_data={"ElementId": [load("element_ids.raw", "<i4", elements)]},
    )
    output = os.path.join(folder, "meshio.vtu")
    best = float("inf")
    for _ in range(runs):
        start = time.perf_counter()
        meshio.vtu.write(output, mesh, binary=True, compression=None)
        best = min(best, time.perf_counter() - start)
        os.remove(output)
    print(best)


if __name__ == "__main__":
    main()
