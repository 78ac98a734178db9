#!/usr/bin/python3
"""Proper orthogonal decomposition of a parametrised field, from the library's files.

  1. a set-up: a square plate of N x N nodes (Quad4 elements), a temperature field on
     its nodes; the mesh is built from numpy arrays and saved;
  2. one snapshot per parameter value mu, filled from numpy and saved, each run pushed
     into a snapshot cache;
  3. the snapshot matrix assembled with Dask on a local cluster of two worker processes
     (each file read by the worker that computes its column), and its POD computed there
     as a tall-skinny SVD;
  4. the result checked against numpy's SVD of the same matrix, assembled in this process.

Usage: pod.py [--nodes N] [--snapshots S] FOLDER
Needs the package tervikrom on the path (PYTHONPATH=python, TERVIKROM_LIBRARY=.../libtervikrom.so
for a build tree). Exits with status 1 when the check fails.
"""
import argparse
import os
import sys

import dask
import dask.array as da
import numpy as np
from distributed import Client, LocalCluster

import tervikrom
import tervikrom.dask

TOLERANCE = 1e-10
NODES = 1          # this program's entity type code for nodes


def write_setup(folder, side):
    setup = tervikrom.SetupCfg()
    mesh = setup.configure_mesh_data(unit="m")
    mesh.configure_node_data(count=side * side, dimension=2)
    mesh.configure_element_data().configure_std_element_data(count=(side - 1) ** 2,
                                                               connectivity_table_size=4 * (side - 1) ** 2)
    mesh.add_region(solver_id="plate", caption="Plate").add_support(
        solver_id="plate-nodes", entity_count=side * side, entities_type=NODES)
    field = setup.add_field(solver_id="temperature", caption="Temperature", quantity="temperature", unit="K",
                            entities_type=NODES)
    field.add_component(solver_id="T", caption="T")
    field.add_support("plate-nodes")
    setup.check()
    setup.save(os.path.join(folder, "setup.romcfg"))
    setup.save_mesh_configuration(os.path.join(folder, "mesh.romcfg"))
    setup.save_snapshot_configuration(os.path.join(folder, "snapshot.romcfg"))


def write_mesh(folder, side):
    """The plate from numpy arrays: node ids are node indices, so connectivity means both."""
    x, y = np.meshgrid(np.linspace(0, 1, side), np.linspace(0, 1, side), indexing="xy")
    corner = (np.arange(side - 1)[None, :] + side * np.arange(side - 1)[:, None]).reshape(-1)
    with tervikrom.MeshData(os.path.join(folder, "mesh.romcfg")) as mesh:
        nodes, elements = mesh.node_data, mesh.std_element_data
        nodes.coordinates = np.column_stack((x.reshape(-1), y.reshape(-1)))
        nodes.ids = np.arange(side * side, dtype=np.int32)
        elements.types = np.full(len(corner), tervikrom.mesh.TYPE_CODES["Quad4"], dtype=np.int32)
        elements.ids = np.arange(len(corner), dtype=np.int32)
        elements.connectivity = np.column_stack((corner, corner + 1, corner + side + 1, corner + side)).astype(
            np.int32).reshape(-1)
        mesh.support_data("plate-nodes").entities = np.arange(side * side, dtype=np.int32)
        mesh.save(os.path.join(folder, "mesh.rommsh"))
        return nodes.coordinates.copy()


def temperature(xy, mu):
    """A hot spot moving with mu over a background whose wavelength shrinks with mu."""
    x, y = xy[:, 0], xy[:, 1]
    spot = np.exp(-20 * ((x - 0.2 - 0.3 * mu) ** 2 + (y - 0.5) ** 2))
    return 300 + 50 * spot + 5 * np.sin(np.pi * mu * x) * y


def write_snapshots(folder, xy, parameters):
    """One file per run. The solver hands its values in its own order; the file holds
    them by ascending entity id. The first run adds its pairs, the later ones replace the
    values of the same entities in one copy each."""
    order = np.random.default_rng(0).permutation(len(xy))
    cache, files = tervikrom.SnapshotCache(), []
    with tervikrom.Snapshot(os.path.join(folder, "snapshot.romcfg")) as snapshot:
        data = snapshot.component_data("T", "plate-nodes")
        for run, mu in enumerate(parameters):
            values = temperature(xy, mu)
            data.fill(order, values[order])
            files.append(os.path.join(folder, "run-%03d.romsnp" % run))
            snapshot.save(files[-1])
            cache.push(tervikrom.UserPoint(mu=mu), tervikrom.UserPoint(maximum=values.max()), files[-1])
    cache.save(os.path.join(folder, "runs.romcch"))
    return files


def pod_on_cluster(files, rows):
    """(ids, U, s, Vt) of the snapshot matrix, assembled and decomposed by the cluster."""
    ids, matrix = tervikrom.dask.snapshot_matrix(files, "T", "plate-nodes")
    u, s, vt = da.linalg.svd(matrix.rechunk((rows, len(files))))
    return (ids,) + dask.compute(u, s, vt)


def check(reference, ids, u, s, vt, expected_ids):
    ref_u, ref_s, ref_vt = np.linalg.svd(reference, full_matrices=False)
    failures = []
    if not np.array_equal(ids, expected_ids):
        failures.append("entity ids differ from the mesh's")
    value_error = np.max(np.abs(s - ref_s)) / ref_s[0]
    rebuilt_error = np.linalg.norm((u * s) @ vt - reference) / np.linalg.norm(reference)
    # Modes are defined up to sign, and only as well as their singular value stands apart.
    gaps = np.minimum(np.abs(np.diff(ref_s, prepend=np.inf)), np.abs(np.diff(ref_s, append=-np.inf)))
    compared = np.flatnonzero((ref_s > 1e-6 * ref_s[0]) & (gaps > 1e-4 * ref_s[0]))
    signs = np.sign(np.sum(u[:, compared] * ref_u[:, compared], axis=0))
    mode_error = np.max(np.abs(u[:, compared] * signs - ref_u[:, compared])) if compared.size else 0.0
    print("singular values:", " ".join("%.4g" % value for value in s[:8]), "...")
    print("energy in the first 5 modes: %.10f" % (np.sum(s[:5] ** 2) / np.sum(s ** 2)))
    print("beside numpy's SVD: singular values %.2e (relative to the largest), %d modes %.2e, "
          "rebuilt matrix %.2e (relative)" % (value_error, compared.size, mode_error, rebuilt_error))
    for name, error in (("singular values", value_error), ("modes", mode_error), ("rebuilt matrix", rebuilt_error)):
        if not error <= TOLERANCE:
            failures.append("%s differ by %.3g > %g" % (name, error, TOLERANCE))
    return failures


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("folder")
    parser.add_argument("--nodes", type=int, default=200, help="nodes along each side of the plate")
    parser.add_argument("--snapshots", type=int, default=50)
    arguments = parser.parse_args()
    os.makedirs(arguments.folder, exist_ok=True)

    side, count = arguments.nodes, arguments.snapshots
    write_setup(arguments.folder, side)
    xy = write_mesh(arguments.folder, side)
    files = write_snapshots(arguments.folder, xy, np.linspace(1.0, 3.0, count))
    print("%d snapshots of %d values written to %s" % (count, len(xy), arguments.folder))

    rows = max(count, -(-len(xy) // 4))
    with LocalCluster(n_workers=2, processes=True, threads_per_worker=1, dashboard_address=None) as cluster, \
            Client(cluster):
        ids, u, s, vt = pod_on_cluster(files, rows)
    _, reference = tervikrom.snapshot_matrix(files, "T", "plate-nodes")
    failures = check(reference, ids, u, s, vt, np.arange(len(xy)))
    for failure in failures:
        print("pod check failed:", failure, file=sys.stderr)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
