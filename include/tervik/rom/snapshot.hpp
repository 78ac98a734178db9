// Snapshot interfaces: parameter points and the snapshot cache.
#ifndef TERVIK_ROM_SNAPSHOT_HPP
#define TERVIK_ROM_SNAPSHOT_HPP

#include <cstdint>
#include <string>

#include <tervik/rom/common.hpp>
#include <tervik/rom/configuration.hpp>

namespace Tervik::Rom::Snapshot {

class IUserPoint;

// A position in parameter space: named parameters, each with one value.
class IPoint : public virtual Common::IRomObject {
public:
    using Common::IRomObject::Equals;

    virtual void Clear() = 0;
    // Makes target an exact copy of this point.
    virtual void CopyTo(IUserPoint& target) const = 0;
    // One-sided: only the parameters of this point are compared.
    virtual bool Equals(const IPoint& other) const = 0;
    virtual double GetValue(const std::string& name) const = 0;
    virtual bool HasValue(const std::string& name) const = 0;
    virtual void SetValue(const std::string& name, double value) = 0;
    // Stores the value and returns true when present; leaves value untouched otherwise.
    virtual bool TryGetValue(const std::string& name, double& value) const = 0;
};

// A point the client may write.
class IUserPoint : public IPoint {};

// One run: the input point, the output point and the snapshot file computed there.
class ISnapshotCacheEntry : public virtual Common::IRomObject {
public:
    virtual IPoint& GetInputPoint() = 0;
    virtual IPoint& GetOutputPoint() = 0;
    virtual const std::string& GetSnapshotFile() const = 0;
};

class ISnapshotCache : public virtual Common::IRomObject {
public:
    virtual void Clear() = 0;
    // The first entry whose input point matches, or null.
    virtual ISnapshotCacheEntry* Pull(const IPoint& input) = 0;
    // Adds an entry unless one matches already; returns whether it added.
    virtual bool Push(const IPoint& input, const IPoint& output, const std::string& snapshotFile) = 0;
};

// The values of one component on one support: (entity id, value) pairs in the order
// they were added, up to the support's entity count.
class ISnapshotComponentData : public virtual Common::IRomObject {
public:
    virtual const std::string& GetComponentId() const = 0;
    virtual const std::string& GetSupportId() const = 0;
    virtual std::uint32_t GetExpectedEntityValueCount() const = 0;
    virtual std::uint32_t GetAssignedEntityValueCount() const = 0;
    // The pair at index, below the expected count (unassigned slots read as zeros).
    virtual void GetValue(std::uint32_t index, std::uint32_t& id, double& value) const = 0;
    virtual double* GetValueArray() = 0;
    virtual std::uint32_t* GetIdArray() = 0;
    // Throws when the component data is full.
    virtual void AddValue(std::uint32_t id, double value) = 0;
};

// One solver run: a component data for every (component, support) pair its
// configuration declares.
class ISnapshot : public virtual Configuration::IConfigurable<Configuration::ISnapshotCfg>,
                  public virtual Common::IPersistable {
public:
    // True once initialized and every component data holds its expected count.
    virtual bool IsFilled() const = 0;
    virtual const ISnapshotComponentData& GetComponentData(const std::string& componentId,
                                                           const std::string& supportId) const = 0;
    virtual ISnapshotComponentData& GetComponentData(const std::string& componentId, const std::string& supportId) = 0;
};

}  // namespace Tervik::Rom::Snapshot

#endif
