// Configuration interfaces: the description of a ROM set-up.
#ifndef TERVIK_ROM_CONFIGURATION_HPP
#define TERVIK_ROM_CONFIGURATION_HPP

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

class IRomSetupCfg;
class IMeshDataCfg;
class ISnapshotCfg;

}  // namespace Tervik::Rom::Configuration

#endif
