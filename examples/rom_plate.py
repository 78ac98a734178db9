#!/usr/bin/python3
"""A reduced-order model of a heated plate, from the solver's runs to pictures.

  1. a set-up and a mesh: a square plate of N x N nodes (Quad4 elements), a temperature
     on its nodes;
  2. 40 training runs at the points of a scrambled Halton design (scipy.stats.qmc) over
     two input parameters: the position of a heat source along a curved path and its
     width. Each run is written as a solver would write it: a snapshot file, pushed with
     its input point into the snapshot cache;
  3. the model built from the cache (POD, thin-plate-spline interpolation of the
     coefficients), saved and loaded again;
  4. 20 unseen points (a Latin hypercube) predicted into snapshot files, the truth and
     the error beside them, and the standard deviation of a Gaussian-process model of the
     same runs; each series exported for ParaView by `tervikrom export` (predicted.pvd,
     truth.pvd, error.pvd, std.pvd), and the POD modes (modes.pvd);
  5. the report's pictures, and the accuracy on the unseen points beside that of the
     nearest training run taken as the prediction (and that of the Gaussian process).

Usage: rom_plate.py [--nodes N] [--command TERVIKROM] FOLDER
Needs the package tervikrom on the path (PYTHONPATH=python, TERVIKROM_LIBRARY=.../libtervikrom.so
for a build tree). Exits with status 1 when the mean relative L2 error on the unseen points
exceeds 1e-2 or a fifth of the nearest training run's.
"""
import argparse
import os
import shutil
import subprocess
import sys

import numpy as np
from scipy.stats import qmc

import tervikrom
import tervikrom.rom
from pod import write_mesh, write_setup  # the plate of the POD example

RANGES = {"position": (0.0, 1.0), "width": (0.12, 0.22)}   # the source's place on its path, its width in m
TRAINING, UNSEEN = 40, 20
PAIR = ("T", "plate-nodes")


def temperature(xy, position, width):
    """300 K and a Gaussian heat source of 80 K that moves along a curved path with
    `position` and widens with `width`: the field depends on both nonlinearly."""
    x0, y0 = 0.25 + 0.5 * position, 0.35 + 0.3 * position ** 2
    return 300 + 80 * np.exp(-((xy[:, 0] - x0) ** 2 + (xy[:, 1] - y0) ** 2) / (2 * width ** 2))


def design(sampler, count):
    """`count` points of the sampler scaled to RANGES, as {name: value} dicts."""
    low, high = np.array(list(RANGES.values())).T
    return [dict(zip(RANGES, row)) for row in qmc.scale(sampler.random(count), low, high)]


def write_runs(folder, xy, points, name):
    """One snapshot file per point, the files named relative to the cache's folder."""
    cache, files = tervikrom.SnapshotCache(), []
    with tervikrom.Snapshot(os.path.join(folder, "snapshot.romcfg")) as snapshot:
        data = snapshot.component_data("T", "plate-nodes")
        for run, point in enumerate(points):
            data.fill(np.arange(len(xy)), temperature(xy, **point))
            files.append("%s-%02d.romsnp" % (name, run))
            snapshot.save(os.path.join(folder, files[-1]))
            cache.push(tervikrom.UserPoint(**point), tervikrom.UserPoint(), files[-1])
    cache.save(os.path.join(folder, name + ".romcch"))
    return [os.path.join(folder, file) for file in files]


def export(command, folder, output, files):
    subprocess.run([command, "export", os.path.join(folder, "mesh.rommsh"), *files, "-o", os.path.join(folder, output)],
                   check=True, stdout=subprocess.DEVNULL)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("folder")
    parser.add_argument("--nodes", type=int, default=200, help="nodes along each side of the plate")
    parser.add_argument("--command", default=os.environ.get("TERVIKROM") or shutil.which("tervikrom"),
                        help="the tervikrom command, for the export (default: $TERVIKROM, then the PATH)")
    arguments = parser.parse_args()
    folder = arguments.folder
    os.makedirs(folder, exist_ok=True)

    write_setup(folder, arguments.nodes)
    xy = write_mesh(folder, arguments.nodes)
    training = design(qmc.Halton(2, seed=1), TRAINING)
    write_runs(folder, xy, training, "run")
    print("%d training runs of %d values written to %s" % (TRAINING, len(xy), folder))

    model_folder = os.path.join(folder, "model")
    tervikrom.rom.build(os.path.join(folder, "run.romcch")).save(model_folder)
    model = tervikrom.rom.load(model_folder)
    print(model)

    unseen = design(qmc.LatinHypercube(2, seed=7), UNSEEN)
    truth_files = write_runs(folder, xy, unseen, "truth")
    truths = [temperature(xy, **point) for point in unseen]
    scaled = lambda points: np.array([[point[name] for name in RANGES] for point in points]) / np.ptp(
        np.array(list(RANGES.values())), axis=1)
    nearest = np.argmin(((scaled(unseen)[:, None] - scaled(training)[None]) ** 2).sum(axis=2), axis=1)
    process = tervikrom.rom.build(os.path.join(folder, "run.romcch"), interpolation="gp")
    guesses = {"the model": [model.predict(point)[PAIR] for point in unseen],
               "the nearest training run": [temperature(xy, **training[run]) for run in nearest],
               "a Gaussian process instead": [process.predict(point)[PAIR] for point in unseen]}
    # relative L2 errors of the temperature and of its rise above 300 K
    errors = {name: (np.array([np.linalg.norm(g - t) / np.linalg.norm(t) for g, t in zip(values, truths)]),
                     np.array([np.linalg.norm(g - t) / np.linalg.norm(t - 300) for g, t in zip(values, truths)]))
              for name, values in guesses.items()}

    series = {name: [os.path.join(folder, "%s-%02d.romsnp" % (name, index)) for index in range(UNSEEN)]
              for name in ("predicted", "error", "std")}
    with tervikrom.Snapshot(os.path.join(folder, "snapshot.romcfg")) as snapshot:
        for index, point in enumerate(unseen):
            model.predict_snapshot(point, series["predicted"][index])
            snapshot.component_data(*PAIR).fill(np.arange(len(xy)), guesses["the model"][index] - truths[index])
            snapshot.save(series["error"][index])
            process.predict_snapshot(point, os.path.join(folder, "gp-predicted.romsnp"), series["std"][index])
    series["truth"] = truth_files
    series["modes"] = [os.path.join(model_folder, name) for name in sorted(os.listdir(model_folder))
                       if name.startswith("mode-")]
    if arguments.command:
        for name, files in series.items():
            export(arguments.command, folder, name, files)
        print("for ParaView in %s: %s" % (folder, ", ".join(name + ".pvd" for name in series)))
    else:
        print("no tervikrom command found (--command): nothing exported")

    document = model.report(model_folder)
    print("leave-one-out relative L2 error over the training runs: mean %.3e (nearest run: %.3e); pictures in %s"
          % (document["validation"]["meanError"], document["validation"]["meanNearestError"], model_folder))
    print("relative L2 errors on the %d unseen points, mean (max), of the temperature | of its rise above 300 K:"
          % UNSEEN)
    for name, (error, rise) in errors.items():
        print("  %-27s %.3e (%.3e) | %.3e (%.3e)" % (name, error.mean(), error.max(), rise.mean(), rise.max()))
    error, nearest_error = errors["the model"][0].mean(), errors["the nearest training run"][0].mean()
    print("the model's mean error: %.3e, %.1fx below the nearest run's" % (error, nearest_error / error))
    failed = not (error <= 1e-2 and error <= nearest_error / 5)
    if failed:
        print("rom example failed: the error on the unseen points exceeds 1e-2 or a fifth of the nearest run's",
              file=sys.stderr)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
