// Configuration interfaces: the description of a ROM set-up.
//
// Every interface declares its operations in the order the exported functions rely on;
// add new operations at the end only.
#ifndef TERVIK_ROM_CONFIGURATION_HPP
#define TERVIK_ROM_CONFIGURATION_HPP

#include <cstdint>
#include <string>

#include <tervik/rom/common.hpp>

namespace Tervik::Rom::Configuration {

// Base of every configuration object.
class IConfiguration : public virtual Common::IRomObject {
public:
    // Throws a RomException at the first inconsistency; changes nothing.
    virtual void Check() const = 0;
};

// Binding of a data object to a private copy of its configuration.
template <class Cfg>
class IConfigurable : public virtual Common::IRomObject {
public:
    // The held configuration copy, or null before Initialize.
    virtual const Cfg* GetConfiguration() const = 0;
    // Checks the configuration, then keeps a copy of it and sizes the object from it.
    virtual void Initialize(const Cfg& configuration) = 0;
    virtual bool IsInitialized() const = 0;
};

// ---- Table sizes -------------------------------------------------------------------

// How many nodes, and how many coordinates each.
class INodeDataCfg : public IConfiguration {
public:
    virtual std::uint32_t GetCount() const = 0;
    virtual std::int32_t GetDimension() const = 0;
    // count x dimension, wrapping modulo 2^32.
    virtual std::uint32_t GetCoordinateTableSize() const = 0;
    virtual void SetCount(std::uint32_t count) = 0;
    virtual void SetDimension(std::int32_t dimension) = 0;
};

// How many elements of one family, and how long their connectivity table is. Tag tells
// the three families apart; their operations are the same.
template <class Tag>
class IElementTableCfg : public IConfiguration {
public:
    virtual std::uint32_t GetConnectivityTableSize() const = 0;
    virtual std::uint32_t GetCount() const = 0;
    virtual void SetConnectivityTableSize(std::uint32_t size) = 0;
    virtual void SetCount(std::uint32_t count) = 0;
};

class IStdElementDataCfg : public IElementTableCfg<IStdElementDataCfg> {};
class IPolygonDataCfg : public IElementTableCfg<IPolygonDataCfg> {};
class IPolyhedronDataCfg : public IElementTableCfg<IPolyhedronDataCfg> {};

// Polyhedrons and polygons; each part is absent until configured.
class IUserElementDataCfg : public IConfiguration {
public:
    // The part, created empty on first call.
    virtual IPolyhedronDataCfg& ConfigurePolyhedronData() = 0;
    virtual IPolygonDataCfg& ConfigurePolygonData() = 0;
    // True and the part when it exists; false and null otherwise. Never creates.
    virtual bool TryGetPolyhedronDataCfg(const IPolyhedronDataCfg*& out) const = 0;
    virtual bool TryGetPolygonDataCfg(const IPolygonDataCfg*& out) const = 0;
};

// Standard and user-defined elements; each part is absent until configured.
class IElementDataCfg : public IConfiguration {
public:
    virtual IStdElementDataCfg& ConfigureStdElementData() = 0;
    virtual IUserElementDataCfg& ConfigureUserElementData() = 0;
    virtual bool TryGetStdElementDataCfg(const IStdElementDataCfg*& out) const = 0;
    virtual bool TryGetUserElementDataCfg(const IUserElementDataCfg*& out) const = 0;
};

// ---- Supports, regions, mesh data --------------------------------------------------

// A set of mesh entities (nodes, or elements of one kind) known by its solver id.
class ISupportCfg : public virtual IConfiguration, public virtual Common::IIdentifiableBySolver {
public:
    virtual std::uint32_t GetEntityCount() const = 0;
    virtual void SetEntityCount(std::uint32_t count) = 0;
    virtual std::int32_t GetEntitiesType() const = 0;
    virtual void SetEntitiesType(std::int32_t type) = 0;
};

class IRegionCfg : public virtual IConfiguration, public virtual Common::IIdentifiableBySolver {
public:
    virtual ISupportCfg& AddSupport() = 0;
    virtual const std::string& GetCaption() const = 0;
    virtual const std::string& GetParentRegion() const = 0;
    virtual const Common::IContainer<ISupportCfg>& GetSupportCfgs() const = 0;
    virtual void SetCaption(const std::string& caption) = 0;
    virtual void SetParentRegion(const std::string& parentRegion) = 0;
};

// The mesh: table sizes, regions and their supports.
class IMeshDataCfg : public virtual IConfiguration, public virtual Common::IPersistable {
public:
    virtual IRegionCfg& AddRegion() = 0;
    virtual IElementDataCfg& ConfigureElementData() = 0;
    virtual INodeDataCfg& ConfigureNodeData() = 0;
    virtual const IElementDataCfg& GetElementDataCfg() const = 0;
    virtual const INodeDataCfg& GetNodeDataCfg() const = 0;
    virtual const Common::IContainer<IRegionCfg>& GetRegionCfgs() const = 0;
    // Every support of every region, in region order.
    virtual const Common::IContainer<ISupportCfg>& GetSupportCfgs() const = 0;
    // The first support with this solver id; throws when there is none.
    virtual ISupportCfg& GetSupportCfg(const std::string& solverId) const = 0;
    virtual const std::string& GetUnit() const = 0;
    virtual void SetUnit(const std::string& unit) = 0;
};

// ---- Setup, fields, components -----------------------------------------------------

// One scalar of a field or of a snapshot.
class IComponentCfg : public virtual IConfiguration, public virtual Common::IIdentifiableBySolver {
public:
    virtual const std::string& GetCaption() const = 0;
    virtual void SetCaption(const std::string& caption) = 0;
};

// One physical result, made of components and given on supports named by solver id.
class IFieldCfg : public virtual IConfiguration, public virtual Common::IIdentifiableBySolver {
public:
    virtual IComponentCfg& AddComponent() = 0;
    // Throws when the field holds this id already.
    virtual void AddSupport(const std::string& solverId) = 0;
    virtual const std::string& GetCaption() const = 0;
    virtual const Common::IContainer<IComponentCfg>& GetComponentCfgs() const = 0;
    virtual std::int32_t GetEntitiesType() const = 0;
    virtual const std::string& GetQuantity() const = 0;
    virtual const Common::IContainer<Common::ISolverIdentifier>& GetSupportCfgIds() const = 0;
    virtual const std::string& GetUnit() const = 0;
    virtual void SetCaption(const std::string& caption) = 0;
    virtual void SetEntitiesType(std::int32_t type) = 0;
    virtual void SetQuantity(const std::string& quantity) = 0;
    virtual void SetUnit(const std::string& unit) = 0;
};

// The root of a ROM set-up: the mesh and the fields.
class IRomSetupCfg : public virtual IConfiguration, public virtual Common::IPersistable {
public:
    virtual IFieldCfg& AddField() = 0;
    virtual IMeshDataCfg& ConfigureMeshData() = 0;
    virtual const Common::IContainer<IFieldCfg>& GetFields() const = 0;
    virtual const IMeshDataCfg& GetMeshData() const = 0;
    // Derives the snapshot configuration of the fields and saves it to path.
    virtual void SaveSnapshotConfiguration(const std::string& path) = 0;
    // Saves the mesh data configuration to path.
    virtual void SaveMeshConfiguration(const std::string& path) = 0;
};

// ---- Snapshot configuration --------------------------------------------------------

// What one snapshot holds: supports, components, and the components of each support.
class ISnapshotCfg : public virtual IConfiguration, public virtual Common::IPersistable {
public:
    virtual IComponentCfg& AddComponent() = 0;
    // Both must be members of this configuration.
    virtual void AddComponentToSupport(const IComponentCfg& component, const ISupportCfg& support) = 0;
    virtual ISupportCfg& AddSupport() = 0;
    virtual const Common::IContainer<IComponentCfg>& GetComponentCfgs() const = 0;
    virtual const Common::IContainer<ISupportCfg>& GetSupportCfgs() const = 0;
    // Throws std::out_of_range for a support that was never given a component.
    virtual const Common::IContainer<IComponentCfg>& GetComponentsOfSupport(const ISupportCfg& support) const = 0;
};

}  // namespace Tervik::Rom::Configuration

#endif
