"""The manifest of libtervikrom's public headers: every export of rom.h with its result and
parameter types, and the standard element kinds of element_kinds.h.

The build runs this file once to write the manifest beside the library,

    python3 _manifest.py INCLUDE_DIR OUTPUT     (INCLUDE_DIR holds rom.h and element_kinds.h)

and the Python package, the Fortran module and the exported-symbols check read that file.
A package without it parses the headers itself with `read_headers`. Standard library only:
the build runs it before the package can be imported.

    {"exports": [{"name": "RomMeshAddHex8", "result": "RomExceptionHandle",
                  "parameters": [{"type": "RomObject*", "name": "mesh"}, ...]}, ...],
     "elementKinds": [{"name": "Point0", "type": 0, "nodeCount": 1, "vtkType": 1, "vtkNodes": 1}, ...]}

Types are written as "const char*", "RomObject**": words separated by one space, no space
before a star. Exports stay in the order of rom.h, kinds in the order of their list.
"""
import json
import os
import re
import sys

NAME = "tervikrom-manifest.json"
HEADERS = ("rom.h", "element_kinds.h")


class ManifestError(Exception):
    """A header this module cannot read as the manifest needs it."""


def _code(text):
    """The C text without comments, with continued lines joined."""
    text = re.sub(r"/\*.*?\*/", " ", text, flags=re.S)
    text = re.sub(r"//[^\n]*", " ", text)
    return re.sub(r"\\\n", " ", text)


def _type(text):
    """'const char *' -> 'const char*', 'RomObject * *' -> 'RomObject**'."""
    return " ".join(text.replace("*", " * ").split()).replace(" *", "*")


def _export(declaration):
    match = re.fullmatch(r"(.+?[\s*])(Rom\w+)\s*\((.*)\)", declaration)
    if not match:
        raise ManifestError("not the declaration of a Rom function")
    arguments = match.group(3).strip()
    if arguments == "":
        raise ManifestError("empty parameter list: write (void)")
    if re.search(r"[(\[]|\.\.\.", arguments):
        raise ManifestError("parameter list '%s'" % arguments)
    parameters = []
    if arguments != "void":
        for argument in arguments.split(","):
            parameter = re.fullmatch(r"(.*?[\s*])([A-Za-z_]\w*)", argument.strip())
            if not parameter or not parameter.group(1).strip():
                raise ManifestError("unnamed parameter '%s'" % argument.strip())
            parameters.append({"type": _type(parameter.group(1)), "name": parameter.group(2)})
    return {"name": match.group(2), "result": _type(match.group(1)), "parameters": parameters}


def exports(rom_h):
    """Every TERVIK_ROM_API declaration of the text of rom.h, in order."""
    code = "\n".join(line for line in _code(rom_h).split("\n") if not line.lstrip().startswith("#"))
    found, errors = [], []
    for part in re.split(r"\bTERVIK_ROM_API\b", code)[1:]:
        declaration = " ".join(part[:part.find(";")].split())
        try:
            if ";" not in part:
                raise ManifestError("no semicolon")
            found.append(_export(declaration))
        except ManifestError as error:
            errors.append("TERVIK_ROM_API %s: %s" % (declaration[:100], error))
    names = [export["name"] for export in found]
    errors += ["%s is declared twice" % name for name in sorted({n for n in names if names.count(n) > 1})]
    if errors:
        raise ManifestError("rom.h: " + "\nrom.h: ".join(errors))
    if not found:
        raise ManifestError("rom.h declares no TERVIK_ROM_API function")
    return found


def element_kinds(element_kinds_h):
    """The lines X(name, type code, node count, VTK cell type, VTK nodes taken) of
    TERVIK_ROM_ELEMENT_KINDS, in order."""
    definition = re.search(r"#\s*define\s+TERVIK_ROM_ELEMENT_KINDS\s*\(\s*X\s*\)([^\n]*)", _code(element_kinds_h))
    if not definition:
        raise ManifestError("element_kinds.h: no #define TERVIK_ROM_ELEMENT_KINDS(X)")
    body = definition.group(1)
    keys = ("type", "nodeCount", "vtkType", "vtkNodes")
    kinds = [dict(name=line[0], **dict(zip(keys, map(int, line[1:]))))
             for line in re.findall(r"X\(\s*([A-Za-z]\w*)" + r"\s*,\s*(\d+)" * len(keys) + r"\s*\)", body)]
    if not kinds or len(kinds) != body.count("X("):
        raise ManifestError("element_kinds.h: TERVIK_ROM_ELEMENT_KINDS is not a list of "
                            "X(name, code, node count, VTK cell type, VTK nodes taken)")
    if [kind["type"] for kind in kinds] != list(range(len(kinds))):
        raise ManifestError("element_kinds.h: the type codes do not run 0, 1, 2, ... in the order of the lines")
    taking = [kind["name"] for kind in kinds if not 1 <= kind["vtkNodes"] <= kind["nodeCount"]]
    if taking:
        raise ManifestError("element_kinds.h: the VTK cell of %s takes more nodes than the kind has, or none"
                            % ", ".join(taking))
    return kinds


_ADDER = [{"type": "RomObject*", "name": "mesh"}, {"type": "RomObject**", "name": "element"}]


def _check_adders(found, kinds):
    """rom.h declares RomMeshAdd<name>(RomObject* mesh, RomObject** element) for each kind,
    in the order of the kinds, and for nothing else."""
    adders = [export["name"][len("RomMeshAdd"):] for export in found
              if export["name"].startswith("RomMeshAdd") and export["parameters"] == _ADDER]
    wanted = [kind["name"] for kind in kinds]
    if adders == wanted:
        return
    signature = "(RomObject* mesh, RomObject** element)"
    errors = ["rom.h declares no RomMeshAdd%s%s for the kind %s of element_kinds.h" % (name, signature, name)
              for name in wanted if name not in adders]
    errors += ["rom.h declares RomMeshAdd%s%s, but element_kinds.h has no kind %s" % (name, signature, name)
               for name in adders if name not in wanted]
    raise ManifestError("\n".join(errors) or "rom.h declares the RomMeshAdd functions of the kinds in another "
                        "order than element_kinds.h lists them")


def manifest(rom_h, element_kinds_h):
    """The manifest from the texts of rom.h and element_kinds.h."""
    found, kinds = exports(rom_h), element_kinds(element_kinds_h)
    _check_adders(found, kinds)
    return {"exports": found, "elementKinds": kinds}


def read_headers(folder):
    """The manifest of the headers in folder (where rom.h lies)."""
    texts = []
    for header in HEADERS:
        path = os.path.join(folder, header)
        try:
            with open(path, encoding="utf-8") as stream:
                texts.append(stream.read())
        except OSError as failure:
            raise ManifestError("cannot read %s: %s" % (path, failure.strerror or failure)) from None
    try:
        return manifest(*texts)
    except ManifestError as error:
        raise ManifestError("in %s: %s" % (folder, error)) from None


def main(argv):
    if len(argv) != 3:
        sys.stderr.write("usage: _manifest.py INCLUDE_DIR OUTPUT\n")
        return 2
    folder, output = argv[1:]
    try:
        found = read_headers(folder)
        # one line per export and per kind
        text = "{\n" + ",\n".join('"%s": [\n%s\n]' % (key, ",\n".join(json.dumps(item) for item in found[key]))
                                 for key in found) + "\n}\n"
    except ManifestError as error:
        sys.stderr.write("".join("_manifest.py: %s\n" % line for line in str(error).split("\n")))
        return 1
    with open(output + ".tmp", "w", encoding="utf-8") as stream:
        stream.write(text)
    os.replace(output + ".tmp", output)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
