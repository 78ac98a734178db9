"""The package's build: pyproject.toml holds its description; this adds the library.

When this checkout has a build of the library (the newest build*/libtervikrom.so beside
this folder, trees built with a sanitizer left out) or $TERVIKROM_LIBRARY names one, the
package carries a copy of it, of its header rom.h and of its manifest, and finds them beside itself once
installed. Otherwise the package is pure Python and finds the library as a source checkout
does ($TERVIKROM_LIBRARY, or the system's loader).
"""
import glob
import os
import re
import shutil

from setuptools import setup
from setuptools.command.build_py import build_py
from setuptools.dist import Distribution

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
HEADER = os.path.join(ROOT, "include", "tervik", "rom", "rom.h")


def built_library():
    """The library to carry, or None."""
    chosen = os.environ.get("TERVIKROM_LIBRARY")
    if chosen:
        return chosen
    built = [path for path in glob.glob(os.path.join(ROOT, "build*", "libtervikrom.so"))
             if not re.search(r"san|fuzz", os.path.basename(os.path.dirname(path)))]
    return max(built, key=os.path.getmtime) if built else None


LIBRARY = built_library() if os.path.isfile(HEADER) else None


class BuildWithLibrary(build_py):
    """Copies the library, its header and a module naming them into the package."""

    def run(self):
        super().run()
        if LIBRARY is None:
            return
        package = os.path.join(self.build_lib, "tervikrom")
        shutil.copyfile(LIBRARY, os.path.join(package, "libtervikrom.so"))  # the file, not a link
        shutil.copyfile(HEADER, os.path.join(package, "rom.h"))
        # The exports' manifest the build wrote beside the library, found beside the package's copy.
        manifest = os.path.join(os.path.dirname(os.path.realpath(LIBRARY)), "tervikrom-manifest.json")
        if os.path.isfile(manifest):
            shutil.copyfile(manifest, os.path.join(package, "tervikrom-manifest.json"))
        with open(os.path.join(package, "_location.py"), "w", encoding="utf-8") as stream:
            stream.write('# Written by the package\'s build: the library and its header, beside this file.\n'
                         'LIBRARY = "libtervikrom.so"\nHEADER = "rom.h"\n')


class LibraryDistribution(Distribution):
    """A distribution that is not pure Python when it carries the library."""

    def has_ext_modules(self):
        return LIBRARY is not None


setup(cmdclass={"build_py": BuildWithLibrary}, distclass=LibraryDistribution)
