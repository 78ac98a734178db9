"""What the documents promise, run: every Python block of the guide, the Python and
command lines of the top README, and the guide's installation into a fresh virtual
environment."""
import os
import re
import shutil
import subprocess
import sys

import pytest

import tervikrom

PACKAGE = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
ROOT = os.path.dirname(PACKAGE)
BUILD = os.path.dirname(os.path.abspath(tervikrom.LIBRARY_PATH))  # a build tree when run by ctest


def _blocks(document, language):
    with open(os.path.join(ROOT, document), encoding="utf-8") as stream:
        return re.findall(r"^```%s\n(.*?)^```" % language, stream.read(), re.S | re.M)


def _checkout(folder, library):
    """A checkout to run documents in: the package, the headers and a build holding `library`."""
    os.makedirs(os.path.join(folder, "build"))
    shutil.copytree(PACKAGE, os.path.join(folder, "python"),
                    ignore=shutil.ignore_patterns("__pycache__", "build", "*.egg-info", "tests"))
    os.symlink(os.path.join(ROOT, "include"), os.path.join(folder, "include"))
    build = os.path.dirname(os.path.abspath(library))
    for name in os.listdir(build):
        if name in ("cli", "examples") or name.startswith("libtervikrom.so"):
            os.symlink(os.path.join(build, name), os.path.join(folder, "build", name))
    return folder


def test_the_guide_runs(tmp_path, monkeypatch, capsys):
    monkeypatch.chdir(tmp_path)
    namespace = {"__name__": "guide"}
    for block in _blocks("python/README.md", "python"):
        exec(compile(block, "python/README.md", "exec"), namespace)
    assert "setup.romcfg" in capsys.readouterr().out


def _clean_environment():
    return {name: value for name, value in os.environ.items()
            if name not in ("TERVIKROM_LIBRARY", "PYTHONPATH") and not name.startswith("PYTHONPYCACHE")}


def test_the_top_readme_runs_from_the_repository_root(tmp_path):
    if not os.path.exists(os.path.join(BUILD, "cli", "tervikrom")):
        pytest.skip("the library was not loaded from a build tree with the command")
    root = _checkout(tmp_path / "checkout", tervikrom.LIBRARY_PATH)
    (block,) = [block for block in _blocks("README.md", "sh") if "tervikrom export" in block]
    run = subprocess.run(["bash", "-e", "-c", block], cwd=root, env=_clean_environment(), capture_output=True,
                         text=True)
    assert run.returncode == 0, run.stderr
    assert "(12, 3)" in run.stdout and "files/run-1.romsnp: valid" in run.stdout
    assert os.path.isfile(root / "files" / "series.vtu")


def test_pip_installs_into_a_fresh_venv_and_carries_the_library(files, tmp_path):
    venv, elsewhere = tmp_path / "venv", tmp_path / "elsewhere"
    subprocess.run([sys.executable, "-m", "venv", "--system-site-packages", venv], check=True)
    root = _checkout(tmp_path / "checkout", tervikrom.LIBRARY_PATH)
    (line,) = [line for block in _blocks("python/README.md", "sh") for line in block.splitlines()
               if line.startswith("pip install")]
    command = [str(venv / "bin" / "python"), "-m"] + line.split("#")[0].split() + ["--no-index", "--quiet"]
    subprocess.run(command, cwd=root, env=_clean_environment(), check=True)
    elsewhere.mkdir()
    check = ("import os, tervikrom; print(tervikrom.__version__, tervikrom.LIBRARY_PATH, "
             "os.path.isfile(os.path.join(os.path.dirname(tervikrom.__file__), 'py.typed'))); "
             "print(repr(tervikrom.load(%r)))" % str(files.mesh))
    run = subprocess.run([str(venv / "bin" / "python"), "-c", check], cwd=elsewhere, env=_clean_environment(),
                         capture_output=True, text=True)
    assert run.returncode == 0, run.stderr
    version, library, typed, loaded = run.stdout.split(None, 3)
    assert (version, typed) == (tervikrom.__version__, "True")
    assert library.startswith(str(venv)) and loaded.startswith('<tervikrom.MeshData "mesh.rommsh": 12 nodes')
