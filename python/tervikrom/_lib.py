"""Loading libtervikrom and declaring its exports.

Every prototype of rom.h is read when the package is imported and turned into a ctypes
declaration, so the argument and result types come from the header itself. Functions that
return an exception handle raise `Error` with the library's text (the handle is released
first); nothing the library reports is dropped.
"""
import ctypes
import ctypes.util
import glob
import os
import re

from ctypes import POINTER, c_bool, c_char_p, c_double, c_int32, c_uint32, c_void_p

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

_PROTOTYPE = re.compile(r"TERVIK_ROM_API\s+([\w\s\*]+?)\s*\b(Rom\w+)\s*\(([^)]*)\)\s*;")


def _ctype(declaration):
    text = re.sub(r"\s*\*", "*", " ".join(declaration.split()))
    if text not in _TYPES:
        raise Error("rom.h declares a type the Python binding does not know: " + text)
    return _TYPES[text]


def parse_header(text):
    """{name: (result type, [argument types])} for every export declared in `text`."""
    text = re.sub(r"/\*.*?\*/", " ", text, flags=re.S)
    exports = {}
    for result, name, arguments in _PROTOTYPE.findall(text):
        arguments = arguments.strip()
        types = []
        if arguments and arguments != "void":
            for argument in arguments.split(","):
                # the declaration without the parameter name
                types.append(_ctype(re.sub(r"\b\w+\s*$", "", argument.strip())))
        exports[name] = (_ctype(result), types)
    return exports


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


def _load():
    library, header = _locate()
    try:
        handle = ctypes.CDLL(library)
    except OSError as failure:
        raise Error("cannot load libtervikrom from " + library + ": " + str(failure)) from None
    try:
        with open(header, encoding="utf-8") as stream:
            exports = parse_header(stream.read())
    except OSError as failure:
        raise Error("cannot read the library's header rom.h: " + str(failure)) from None
    for name, (result, arguments) in exports.items():
        function = getattr(handle, name)
        function.restype = result
        function.argtypes = arguments
        if name != "RomGetExceptionDescription" and result is c_void_p:
            function.errcheck = _raise_on_exception
    return handle, library, header, exports


_library, LIBRARY_PATH, HEADER_PATH, EXPORTS = _load()
lib = _library
