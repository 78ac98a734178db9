"""Meshes in and out through meshio: every format meshio reads (Gmsh, VTU, XDMF, Exodus,
Abaqus, ...) into a `.rommsh`, and a `.rommsh` back into a `meshio.Mesh`.

    mesh = tervikrom.from_meshio(meshio.read("part.msh"))     # a MeshData, ids from 1
    mesh.save("part.rommsh")
    tervikrom.load("part.rommsh").to_meshio().write("part.vtu")

Importing tervikrom registers the format "tervikrom" (extension ".rommsh") with meshio, as
soon as meshio itself is imported: `meshio.read("x.rommsh")` and `meshio.write("x.rommsh",
mesh)` (which also writes the mesh configuration "x.romcfg" beside it) then work.

    python3 -m tervikrom.meshio convert x.msh x.rommsh     meshio's command line, the format known
    python3 -m tervikrom.meshio import MESHFILE -o OUT.rommsh    what `tervikrom import` runs
"""

from ._meshio import (ELEMENT_ENTITIES, EXTENSION, FORMAT, NODE_ENTITIES, Kind, configuration_path, from_meshio,
                      import_mesh, kinds, main, read, register, to_meshio, write)

__all__ = ["FORMAT", "EXTENSION", "NODE_ENTITIES", "ELEMENT_ENTITIES", "Kind", "kinds", "to_meshio", "from_meshio",
           "write", "read", "import_mesh", "configuration_path", "register", "main"]

if __name__ == "__main__":
    from ._command import run as run_command
    run_command(main)
