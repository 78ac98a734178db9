// Project interface.
#ifndef TERVIK_ROM_PROJECT_HPP
#define TERVIK_ROM_PROJECT_HPP

#include <tervik/rom/common.hpp>

namespace Tervik::Rom::Project {

// An identity token saved as a small binary file.
class IProject : public virtual Common::IRomObject {
public:
    // True when other is a project with the same internal id.
    virtual bool Compare(const Common::IRomObject* other) const = 0;
};

}  // namespace Tervik::Rom::Project

#endif
