// The project: an identity token saved as a small binary file.
#ifndef TERVIK_ROM_SRC_PROJECT_PROJECT_HPP
#define TERVIK_ROM_SRC_PROJECT_PROJECT_HPP

#include <memory>

#include <tervik/rom/project.hpp>

#include "common/identifiable.hpp"
#include "common/persistence.hpp"

namespace Tervik::Rom::Project {

class CProject : public IProject,
                 public Common::CIdentifiable,
                 public Common::CPersistableBinary,
                 public Common::JsonService {
public:
    bool Compare(const Common::IRomObject* other) const override;
    const std::string& GetFileExtension() const override;
    const char* GetSerializationUuid() const override;
    // {"internalId": id}
    void ToJson(Json::Value& value) const override;
    void FromJson(const Json::Value& value, std::uint32_t version) override;

protected:
    std::unique_ptr<Common::CPersistableBinary> MakeEmpty() const override { return std::make_unique<CProject>(); }
    void TakeResumed(Common::CPersistableBinary& read) noexcept override {
        SwapInternalId(static_cast<CProject&>(read));
    }
};

}  // namespace Tervik::Rom::Project

#endif
