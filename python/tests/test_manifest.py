import os
import re

import pytest

import tervikrom
from tervikrom import _lib, _manifest

HEADERS = os.path.dirname(_lib.HEADER_PATH)
TEXTS = [open(os.path.join(HEADERS, name), encoding="utf-8").read() for name in _manifest.HEADERS]


def test_manifest_found_beside_the_library_else_read_from_the_headers(tmp_path):
    manifest, path = _lib._read_manifest(_lib.LIBRARY_PATH, _lib.HEADER_PATH)
    assert path == os.path.join(os.path.dirname(_lib.LIBRARY_PATH), _manifest.NAME)
    assert manifest == _manifest.manifest(*TEXTS)
    elsewhere = str(tmp_path / "libtervikrom.so")
    assert _lib._read_manifest(elsewhere, _lib.HEADER_PATH) == (manifest, _lib.HEADER_PATH)
    (tmp_path / _manifest.NAME).write_text("{")
    with pytest.raises(tervikrom.Error, match=re.escape(str(tmp_path / _manifest.NAME))):
        _lib._read_manifest(elsewhere, _lib.HEADER_PATH)


def _swap(text, first, second):
    return text.replace(first, "\0").replace(second, first).replace("\0", second)


HEX20 = "TERVIK_ROM_API RomExceptionHandle RomMeshAddHex20(RomObject* mesh, RomObject** element);"
WEDGE6 = "TERVIK_ROM_API RomExceptionHandle RomMeshAddWedge6(RomObject* mesh, RomObject** element);"


# (case, change to rom.h, change to element_kinds.h, what the refusal names)
REFUSED = [
    ("kind without its Add", lambda h: h.replace(HEX20, ""), None, "RomMeshAddHex20"),
    ("Add of no kind", None, lambda k: k.replace("X(Hex20, 12, 20,", "X(Hex27, 12, 27,"), "RomMeshAddHex20"),
    ("Add of another signature", lambda h: h.replace(HEX20, HEX20.replace("element", "hex")), None, "Hex20"),
    ("Adds in another order", lambda h: _swap(h, HEX20, WEDGE6), None, "order"),
    ("codes out of line order", None, lambda k: _swap(k, "X(Hex20, 12, 20,", "X(Wedge6, 13, 6,"), "codes"),
    ("unnamed parameter", lambda h: h.replace("uint32_t* count);", "uint32_t*);", 1), None, "RomContainerGetCount"),
    ("no parameter list", lambda h: h.replace("RomGetMeshFileExtension(void)", "RomGetMeshFileExtension()"), None,
     "RomGetMeshFileExtension"),
    ("declared twice", lambda h: h + HEX20, None, "RomMeshAddHex20 is declared twice"),
    ("VTK cell of more nodes", None, lambda k: k.replace("X(Beam3, 3, 3, 3, 2)", "X(Beam3, 3, 3, 3, 4)"), "Beam3"),
    ("VTK columns missing", None, lambda k: k.replace("X(Beam3, 3, 3, 3, 2)", "X(Beam3, 3, 3)"), "VTK"),
]


@pytest.mark.parametrize("case, rom_h, kinds_h, named", REFUSED, ids=[case[0] for case in REFUSED])
def test_headers_out_of_step_are_refused(case, rom_h, kinds_h, named):
    changed = [(rom_h or str)(TEXTS[0]), (kinds_h or str)(TEXTS[1])]
    assert changed != TEXTS, case
    with pytest.raises(_manifest.ManifestError, match=named):
        _manifest.manifest(*changed)
