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

using IPoint0 = IStdElementOf<0>;
using ILine2 = IStdElementOf<1>;
using ILine3 = IStdElementOf<2>;
using IBeam3 = IStdElementOf<3>;
using IBeam4 = IStdElementOf<4>;
using ITri3 = IStdElementOf<5>;
using ITri6 = IStdElementOf<6>;
using IQuad4 = IStdElementOf<7>;
using IQuad8 = IStdElementOf<8>;
using ITet4 = IStdElementOf<9>;
using ITet10 = IStdElementOf<10>;
using IHex8 = IStdElementOf<11>;
using IHex20 = IStdElementOf<12>;
using IWedge6 = IStdElementOf<13>;
using IWedge15 = IStdElementOf<14>;
using IPyramid5 = IStdElementOf<15>;
using IPyramid13 = IStdElementOf<16>;

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
    virtual IPoint0* AddPoint0() = 0;
    virtual ILine2* AddLine2() = 0;
    virtual ILine3* AddLine3() = 0;
    virtual IBeam3* AddBeam3() = 0;
    virtual IBeam4* AddBeam4() = 0;
    virtual ITri3* AddTri3() = 0;
    virtual ITri6* AddTri6() = 0;
    virtual IQuad4* AddQuad4() = 0;
    virtual IQuad8* AddQuad8() = 0;
    virtual ITet4* AddTet4() = 0;
    virtual ITet10* AddTet10() = 0;
    virtual IHex8* AddHex8() = 0;
    virtual IHex20* AddHex20() = 0;
    virtual IWedge6* AddWedge6() = 0;
    virtual IWedge15* AddWedge15() = 0;
    virtual IPyramid5* AddPyramid5() = 0;
    virtual IPyramid13* AddPyramid13() = 0;
    virtual IPolygon* AddPolygon() = 0;
    virtual IPolyhedron* AddPolyhedron() = 0;
    virtual ISupport* AddSupport(const std::string& solverId) = 0;
};

}  // namespace Tervik::Rom::Mesh

#endif
