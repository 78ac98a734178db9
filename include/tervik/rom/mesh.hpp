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

class IMesh;

}  // namespace Tervik::Rom::Mesh

#endif
