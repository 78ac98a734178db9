"""Loading libtervikrom and declaring its exports.

Every export of rom.h becomes a ctypes declaration when the package is imported, with the
argument and result types of the library's manifest (`_manifest.py`: written by the build
beside the library, installed beside the package, or else read from the headers now).
Functions that return an exception handle raise `Error` with the library's text (the handle
is released first); nothing the library reports is dropped.
"""
import ctypes
import ctypes.util
import glob
import json
import os
import re

from ctypes import POINTER, c_bool, c_char_p, c_double, c_int32, c_uint32, c_void_p

from . import _manifest
from ._errors import Error


_TYPES = {
    "void": None,
    "bool": c_bool,
    "RomExceptionHandle": c_void_p,
    "const char*": c_char_p,
    "const char**": POINTER(c_char_p),
    "RomObject*": c_void_p,
    "RomObject**": POINTER(c_void_p),
}
for _name, _ctype in (("uint32_t", c_uint32), ("int32_t", c_int32), ("double", c_double)):
    _TYPES[_name] = _ctype
    _TYPES[_name + "*"] = POINTER(_ctype)
    _TYPES["const " + _name + "*"] = POINTER(_ctype)
    _TYPES[_name + "**"] = POINTER(POINTER(_ctype))

def _ctype(text):
    if text not in _TYPES:
        raise Error("rom.h declares a type the Python binding does not know: " + text)
    return _TYPES[text]


def _raise_on_exception(result, function, arguments):
    if result:
        text = _library.RomGetExceptionDescription(result).decode("utf-8", "replace")
        _library.RomReleaseException(result)
        raise Error(text)
    return result


_PACKAGE = os.path.dirname(os.path.abspath(__file__))
_SOURCE_ROOT = os.path.dirname(os.path.dirname(_PACKAGE))


def _locate():
    """(library, header): $TERVIKROM_LIBRARY, else the copy the installation (CMake's or
    pip's) put beside the package, else the newest build tree of the source checkout this
    package sits in, else the one the system's loader finds."""
    library = header = None
    try:
        from . import _location  # written by the installation
        library = os.path.normpath(os.path.join(_PACKAGE, _location.LIBRARY))
        header = os.path.normpath(os.path.join(_PACKAGE, _location.HEADER))
    except ImportError:
        source_header = os.path.join(_SOURCE_ROOT, "include", "tervik", "rom", "rom.h")
        if os.path.isfile(source_header):
            header = source_header
            # Trees built with a sanitizer cannot be loaded into an uninstrumented Python.
            built = [path for path in glob.glob(os.path.join(_SOURCE_ROOT, "build*", "libtervikrom.so"))
                     if not re.search(r"san|fuzz", os.path.basename(os.path.dirname(path)))]
            if built:
                library = max(built, key=os.path.getmtime)
    library = os.environ.get("TERVIKROM_LIBRARY") or library or ctypes.util.find_library("tervikrom")
    if not library:
        raise Error("libtervikrom not found: set TERVIKROM_LIBRARY to the library's path")
    if not header or not os.path.isfile(header):
        # an installed library: the header lies under the same prefix
        header = os.path.join(os.path.dirname(os.path.dirname(os.path.realpath(library))),
                              "include", "tervik", "rom", "rom.h")
    return library, header


def _read_manifest(library, header):
    """(manifest, its path): the one the build wrote beside the library, else the one installed
    beside the package, else the headers' own, read now."""
    for folder in ([os.path.dirname(library)] if os.path.dirname(library) else []) + [_PACKAGE]:
        path = os.path.join(folder, _manifest.NAME)
        try:
            with open(path, encoding="utf-8") as stream:
                return json.load(stream), path
        except FileNotFoundError:
            pass
        except (OSError, ValueError) as failure:
            raise Error("cannot read the library's manifest " + path + ": " + str(failure)) from None
    try:
        return _manifest.read_headers(os.path.dirname(header)), header
    except _manifest.ManifestError as failure:
        raise Error("cannot read the library's headers: " + str(failure)) from None


def _load():
    library, header = _locate()
    try:
        handle = ctypes.CDLL(library)
    except OSError as failure:
        raise Error("cannot load libtervikrom from " + library + ": " + str(failure)) from None
    manifest, manifest_path = _read_manifest(library, header)
    exports = {}
    for export in manifest["exports"]:
        name, result = export["name"], _ctype(export["result"])
        exports[name] = (result, [_ctype(parameter["type"]) for parameter in export["parameters"]])
        function = getattr(handle, name)
        function.restype, function.argtypes = exports[name]
        if name != "RomGetExceptionDescription" and result is c_void_p:
            function.errcheck = _raise_on_exception
    kinds = tuple((kind["name"], kind["type"], kind["nodeCount"]) for kind in manifest["elementKinds"])
    return handle, library, header, manifest_path, exports, kinds


_library, LIBRARY_PATH, HEADER_PATH, MANIFEST_PATH, EXPORTS, ELEMENT_KINDS = _load()
lib = _library
