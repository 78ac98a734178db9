/*
 * The standard element kinds, one line each: X(name, type code, node count).
 *
 * The type code is what a mesh's types table holds for an element of the kind; the node
 * count is how many connectivity entries the element occupies (Point0 takes one). The
 * codes run 0, 1, 2, ... in the order of the lines, which is also the order of the mesh
 * builder's Add operations. Compiles as C99 and as C++; rom.h includes it.
 *
 * Everything per kind is made from this list: the builder's accessors and Adds, the
 * RomMeshAdd exports, the Python package's kinds. A new kind also needs its declaration
 * RomMeshAdd<name> in rom.h and its VTK cell in the command; the build stops until both
 * are there. It moves the interface slots of the Adds after it.
 */
#ifndef TERVIK_ROM_ELEMENT_KINDS_H
#define TERVIK_ROM_ELEMENT_KINDS_H

#define TERVIK_ROM_ELEMENT_KINDS(X) \
    X(Point0, 0, 1)                 \
    X(Line2, 1, 2)                  \
    X(Line3, 2, 3)                  \
    X(Beam3, 3, 3)                  \
    X(Beam4, 4, 4)                  \
    X(Tri3, 5, 3)                   \
    X(Tri6, 6, 6)                   \
    X(Quad4, 7, 4)                  \
    X(Quad8, 8, 8)                  \
    X(Tet4, 9, 4)                   \
    X(Tet10, 10, 10)                \
    X(Hex8, 11, 8)                  \
    X(Hex20, 12, 20)                \
    X(Wedge6, 13, 6)                \
    X(Wedge15, 14, 15)              \
    X(Pyramid5, 15, 5)              \
    X(Pyramid13, 16, 13)

/* The type codes: RomElementTypePoint0 = 0, ..., RomElementTypePyramid13 = 16. */
#define TERVIK_ROM_ELEMENT_TYPE(name, type, nodeCount) RomElementType##name = type,
typedef enum RomElementType { TERVIK_ROM_ELEMENT_KINDS(TERVIK_ROM_ELEMENT_TYPE) } RomElementType;
#undef TERVIK_ROM_ELEMENT_TYPE

#endif
