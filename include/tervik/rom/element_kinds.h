/*
 * The standard element kinds, one line each:
 *
 *     X(name, type code, node count, VTK cell type, VTK nodes taken)
 *
 * The type code is what a mesh's types table holds for an element of the kind; the node
 * count is how many connectivity entries the element occupies (Point0 takes one). The
 * codes run 0, 1, 2, ... in the order of the lines, which is also the order of the mesh
 * builder's Add operations. Compiles as C99 and as C++; rom.h includes it.
 *
 * The last two columns say what the kind is for VTK (and, through VTK's cell type, for
 * meshio): the cell type (VTK_HEXAHEDRON = 12, ...) and how many of the element's first
 * nodes make that cell, in VTK's node order. A beam's last node only orients it, so its
 * cell takes one node fewer. The library itself does not use these columns.
 *
 * Everything per kind is made from this list: the builder's accessors and Adds, the
 * RomMeshAdd exports, the command's table, and (through the manifest the build writes)
 * the Python package's kinds and its meshio mapping. A new kind also needs its declaration
 * RomMeshAdd<name> in rom.h; the build stops until it is there. It moves the interface
 * slots of the Adds after it.
 */
#ifndef TERVIK_ROM_ELEMENT_KINDS_H
#define TERVIK_ROM_ELEMENT_KINDS_H

#define TERVIK_ROM_ELEMENT_KINDS(X) \
    X(Point0, 0, 1, 1, 1)        /* VTK_VERTEX */ \
    X(Line2, 1, 2, 3, 2)         /* VTK_LINE */ \
    X(Line3, 2, 3, 21, 3)        /* VTK_QUADRATIC_EDGE */ \
    X(Beam3, 3, 3, 3, 2)         /* VTK_LINE and an orientation node */ \
    X(Beam4, 4, 4, 21, 3)        /* VTK_QUADRATIC_EDGE and an orientation node */ \
    X(Tri3, 5, 3, 5, 3)          /* VTK_TRIANGLE */ \
    X(Tri6, 6, 6, 22, 6)         /* VTK_QUADRATIC_TRIANGLE */ \
    X(Quad4, 7, 4, 9, 4)         /* VTK_QUAD */ \
    X(Quad8, 8, 8, 23, 8)        /* VTK_QUADRATIC_QUAD */ \
    X(Tet4, 9, 4, 10, 4)         /* VTK_TETRA */ \
    X(Tet10, 10, 10, 24, 10)     /* VTK_QUADRATIC_TETRA */ \
    X(Hex8, 11, 8, 12, 8)        /* VTK_HEXAHEDRON */ \
    X(Hex20, 12, 20, 25, 20)     /* VTK_QUADRATIC_HEXAHEDRON */ \
    X(Wedge6, 13, 6, 13, 6)      /* VTK_WEDGE */ \
    X(Wedge15, 14, 15, 26, 15)   /* VTK_QUADRATIC_WEDGE */ \
    X(Pyramid5, 15, 5, 14, 5)    /* VTK_PYRAMID */ \
    X(Pyramid13, 16, 13, 27, 13) /* VTK_QUADRATIC_PYRAMID */

/* The type codes: RomElementTypePoint0 = 0, ..., RomElementTypePyramid13 = 16. */
#define TERVIK_ROM_ELEMENT_TYPE(name, type, ...) RomElementType##name = type,
typedef enum RomElementType { TERVIK_ROM_ELEMENT_KINDS(TERVIK_ROM_ELEMENT_TYPE) } RomElementType;
#undef TERVIK_ROM_ELEMENT_TYPE

#endif
