#include "project/project.hpp"

#include "common/file_extensions.hpp"

namespace Tervik::Rom::Project {

namespace {

constexpr char kProjectUuid[] = "FB0C4231-34CF-4942-8D1A-1D93C99E02D7";

class CProjectFactory final : public Common::CSerializationFactory<CProject> {
public:
    std::int32_t GetVersion() const override { return 1; }
    const char* GetUuid() const override { return kProjectUuid; }

protected:
    void Write(Common::ISerializationFile& file, const CProject& project) const override {
        file.GetStreamAdapter()->Write(project.GetInternalId());
    }
    void Read(Common::ISerializationFile& file, CProject& project, std::int32_t version) const override {
        RequireVersion(version, "The project has been saved using the unsupported version ");
        std::string id;
        file.GetStreamAdapter()->Read(id);
        project.SetInternalId(id);
    }
};

const CProjectFactory factory;
const Common::CSerializationFactoryRegistration registration{&factory};

}  // namespace

bool CProject::Compare(const Common::IRomObject* other) const {
    const auto* project = dynamic_cast<const CProject*>(other);
    return project != nullptr && project->GetInternalId() == GetInternalId();
}

const std::string& CProject::GetFileExtension() const { return Common::FileExtension::Project(); }

const char* CProject::GetSerializationUuid() const { return kProjectUuid; }

void CProject::ToJson(Json::Value& value) const { InternalIdToJson(value); }

void CProject::FromJson(const Json::Value& value, std::uint32_t) { InternalIdFromJson(value); }

}  // namespace Tervik::Rom::Project
