// Mesh interfaces: the tables of a mesh, sized by its configuration.
//
// Every interface declares its operations in the order the exported functions rely on;
// add new operations at the end only. Get returns the live table; Set borrows the
// caller's array, which must hold the configured size and outlive the table.
#ifndef TERVIK_ROM_MESH_HPP
#define TERVIK_ROM_MESH_HPP

#include <cstdint>
#include <string>

#include <tervik/rom/common.hpp>
#include <tervik/rom/configuration.hpp>
#include <tervik/rom/element_kinds.h>

namespace Tervik::Rom::Mesh {

// Node ids and coordinates (node-major, one coordinate per dimension).
class INodeData : public virtual Common::ISerializable {
public:
    // Copies count values into the table from offset; 0 and 0 copy the whole table.
    virtual void CopyCoordinateTable(const double* data, std::uint32_t offset, std::uint32_t count) = 0;
    virtual void CopyIds(const std::int32_t* data, std::uint32_t offset, std::uint32_t count) = 0;
    virtual double* GetCoordinateTable() = 0;
    virtual std::int32_t* GetIds() = 0;
    virtual void SetCoordinateTable(double* data) = 0;
    virtual void SetIds(std::int32_t* data) = 0;
};

// Standard elements: connectivity (node lists back to back), ids and type codes.
class IStdElementData : public virtual Common::ISerializable {
public:
    virtual void CopyConnectivityTable(const std::int32_t* data, std::uint32_t offset, std::uint32_t count) = 0;
    virtual void CopyIds(const std::int32_t* data, std::uint32_t offset, std::uint32_t count) = 0;
    virtual void CopyTypes(const std::int32_t* data, std::uint32_t offset, std::uint32_t count) = 0;
    virtual std::int32_t* GetConnectivityTable() = 0;
    virtual std::int32_t* GetIds() = 0;
    virtual std::int32_t* GetTypes() = 0;
    virtual void SetConnectivityTable(std::int32_t* data) = 0;
    virtual void SetIds(std::int32_t* data) = 0;
    virtual void SetTypes(std::int32_t* data) = 0;
};

// Elements of free topology: ids and a self-describing connectivity table. Tag tells
// polygons and polyhedrons apart; their operations are the same.
template <class Tag>
class IUserTableData : public virtual Common::ISerializable {
public:
    virtual void CopyConnectivityTable(const std::int32_t* data, std::uint32_t offset, std::uint32_t count) = 0;
    virtual void CopyIds(const std::int32_t* data, std::uint32_t offset, std::uint32_t count) = 0;
    virtual std::int32_t* GetConnectivityTable() = 0;
    virtual std::int32_t* GetIds() = 0;
    virtual void SetConnectivityTable(std::int32_t* data) = 0;
    virtual void SetIds(std::int32_t* data) = 0;
};

// Per polygon: n, then its n node references.
class IPolygonData : public IUserTableData<IPolygonData> {};
// Per polyhedron: F, then per face n, then its n node references.
class IPolyhedronData : public IUserTableData<IPolyhedronData> {};

class IUserElementData : public virtual Configuration::IConfigurable<Configuration::IUserElementDataCfg>,
                         public virtual Common::ISerializable {
public:
    virtual IPolyhedronData& GetMutablePolyhedronData() = 0;
    virtual const IPolyhedronData& GetPolyhedronData() const = 0;
    virtual IPolygonData& GetMutablePolygonData() = 0;
    virtual const IPolygonData& GetPolygonData() const = 0;
};

class IElementData : public virtual Configuration::IConfigurable<Configuration::IElementDataCfg>,
                     public virtual Common::ISerializable {
public:
    virtual IStdElementData& GetMutableStdElementData() = 0;
    virtual const IStdElementData& GetStdElementData() const = 0;
    virtual IUserElementData& GetMutableUserElementData() = 0;
    virtual const IUserElementData& GetUserElementData() const = 0;
};

// The entity ids of one support; its solver id is its configuration's.
class ISupportData : public virtual Common::ISerializable, public virtual Common::IIdentifiableBySolver {
public:
    virtual void CopyEntities(const std::int32_t* data, std::uint32_t offset, std::uint32_t count) = 0;
    virtual std::int32_t* GetEntities() = 0;
    virtual void SetEntities(std::int32_t* data) = 0;
};

// The whole mesh as data: configuration, element data, node data, one support data per support.
class IMeshData : public virtual Configuration::IConfigurable<Configuration::IMeshDataCfg>,
                  public virtual Common::IPersistable,
                  public virtual Common::ISerializable {
public:
    virtual IElementData& GetMutableElementData() = 0;
    virtual const IElementData& GetElementData() const = 0;
    virtual INodeData& GetMutableNodeData() = 0;
    virtual const INodeData& GetNodeData() const = 0;
    virtual const Common::IContainer<ISupportData>& GetSupportDatas() const = 0;
    // The first support data with this solver id; throws when there is none.
    virtual ISupportData& GetMutableSupportData(const std::string& solverId) = 0;
    virtual const ISupportData& GetSupportData(const std::string& solverId) const = 0;
};

// ---- The mesh builder and its accessors --------------------------------------------
//
// An Add returns an accessor to the item just added; every Add of one kind returns the
// same accessor, re-pointed at the newest item.

// Anything that carries an id: nodes and elements.
class ISupportEntity : public virtual Common::IRomObject {
public:
    virtual void SetId(std::uint32_t id) = 0;
};

class INode : public ISupportEntity {
public:
    virtual void SetCoordinate(std::int32_t dimensionIndex, double value) = 0;
};

class IElement : public ISupportEntity {};

class IStdElement : public IElement {
public:
    virtual void SetConnectivity(std::int32_t nodeIndex, std::uint32_t node) = 0;
};

// The standard element of one kind, known by its type code.
template <int Type>
class IStdElementOf : public IStdElement {};

// IPoint0 = IStdElementOf<RomElementTypePoint0>, ILine2, ..., IPyramid13: one per kind.
#define TERVIK_ROM_STD_ELEMENT(name, ...) using I##name = IStdElementOf<RomElementType##name>;
TERVIK_ROM_ELEMENT_KINDS(TERVIK_ROM_STD_ELEMENT)
#undef TERVIK_ROM_STD_ELEMENT

class IUserElement : public IElement {};

// Writes [n, node 0, ..., node n-1].
class IPolygon : public IUserElement {
public:
    virtual void SetNodeCount(std::uint32_t count) = 0;
    virtual void SetConnectivity(std::int32_t nodeIndex, std::uint32_t node) = 0;
};

// Writes [F, n0, nodes of face 0, n1, nodes of face 1, ...]; faces get their node
// counts in order.
class IPolyhedron : public IUserElement {
public:
    virtual void SetConnectivity(std::uint32_t faceIndex, std::int32_t nodeIndex, std::uint32_t node) = 0;
    virtual void SetFaceCount(std::int32_t count) = 0;
    virtual void SetNodeCount(std::int32_t faceIndex, std::uint32_t count) = 0;
};

class ISupport : public virtual Common::IRomObject {
public:
    virtual void SetEntityId(std::uint32_t entityIndex, std::uint32_t id) = 0;
};

// Fills a mesh data item by item, within the sizes its configuration declares. Saving
// and resuming a mesh saves and resumes its mesh data.
class IMesh : public virtual Configuration::IConfigurable<Configuration::IMeshDataCfg>,
              public virtual Common::IPersistable {
public:
    virtual INode* AddNode() = 0;
    // AddPoint0, AddLine2, ..., AddPyramid13: one per kind, in the order of the kinds.
#define TERVIK_ROM_MESH_ADD(name, ...) virtual I##name* Add##name() = 0;
    TERVIK_ROM_ELEMENT_KINDS(TERVIK_ROM_MESH_ADD)
#undef TERVIK_ROM_MESH_ADD
    virtual IPolygon* AddPolygon() = 0;
    virtual IPolyhedron* AddPolyhedron() = 0;
    virtual ISupport* AddSupport(const std::string& solverId) = 0;
};

}  // namespace Tervik::Rom::Mesh

#endif
