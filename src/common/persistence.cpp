#include "common/persistence.hpp"

#include <cstring>
#include <utility>
#include <vector>

namespace Tervik::Rom::Common {

void CheckFileExtension(const std::string& fileName, const std::string& extension, const char* head) {
    const std::string suffix = "." + extension;
    if (fileName.size() < suffix.size() ||
        fileName.compare(fileName.size() - suffix.size(), suffix.size(), suffix) != 0)
        throw RomException(head + fileName + " do not have the expected extension " + extension + ".");
}

Json::Value ToEnvelope(const JsonService& object) {
    Json::Value envelope(Json::objectValue);
    object.ToJson(envelope["data"]);
    envelope["version"] = kFileVersion;
    return envelope;
}

void FromEnvelope(const Json::Value& envelope, JsonService& object) {
    object.FromJson(envelope["data"], static_cast<std::uint32_t>(envelope["version"].asInt()));
}

void WriteEnvelope(ISerializationFile& file, const JsonService& object) {
    const Json::Value envelope = ToEnvelope(object);
    RequireWritableTexts(envelope["data"], "configuration", file.GetFileName());
    file.GetStreamAdapter()->Write(envelope);
}

void CPersistableJson::PrepareSave(const std::string&) {}

void CPersistableJson::CheckResumed(const std::string&) const {}

void CPersistableJson::SetResumedVersion(std::uint32_t) {}

void CPersistableJson::Save(const std::string& fileName) {
    PrepareSave(fileName);
    CheckFileExtension(fileName, GetFileExtension(), "The configuration file ");
    JsonSerializationFile file;
    file.SetFileName(fileName);
    Json::Value value;
    ToJson(value);
    file.Write(GetKey(), std::move(value));
}

void CPersistableJson::Resume(const std::string& fileName) {
    CheckFileExtension(fileName, GetFileExtension(), "The file ");
    JsonSerializationFile file;
    file.SetFileName(fileName);
    Json::Value value;
    file.Read(GetKey(), value);
    const std::uint32_t version = file.GetVersion();
    if (version > kFileVersion) {
        std::string message = "The file " + fileName + " has a future version number (" + std::to_string(version) +
                              ") and cannot be resumed.\n";
        const ProductVersion product = file.GetProductVersion();
        if (product.major != 0)
            message += "It was saved with the ROM API shipped in Loomstead " + std::to_string(product.major) + "." +
                       std::to_string(product.minor) + ".\n";
        message += "The latest supported file version of your installation is " + std::to_string(kFileVersion) + ".";
        throw RomException(message);
    }
    const std::unique_ptr<CPersistableJson> read = CopyForResume();
    read->FromJson(value, version);
    read->CheckResumed(fileName);
    if (!file.Doubt().empty()) throw RomException("The file " + fileName + " cannot be resumed: " + file.Doubt());
    TakeResumed(*read);
    SetResumedVersion(version);
}

void ISerializationFactory::RequireVersion(std::int32_t version, const char* head) const {
    if (version != GetVersion())
        throw RomException(head + std::to_string(version) +
                           ". (Current supported version: " + std::to_string(GetVersion()) + ")");
}

void RefuseResume(const std::string& fileName, const std::string& problem) {
    if (!problem.empty()) throw RomException("The file " + fileName + " cannot be resumed: " + problem);
}

namespace {

// Filled while the library is loaded, before any call can reach it; never freed, so that a
// save made as the program ends still finds its factories.
std::vector<const ISerializationFactory*>& Registry() {
    static auto* const registry = new std::vector<const ISerializationFactory*>();
    return *registry;
}

}  // namespace

CSerializationFactoryRegistration::CSerializationFactoryRegistration(
    std::initializer_list<const ISerializationFactory*> factories) {
    Registry().insert(Registry().end(), factories.begin(), factories.end());
}

const ISerializationFactory& FindSerializationFactory(const std::string& uuid) {
    for (const ISerializationFactory* factory : Registry())
        if (uuid == factory->GetUuid()) return *factory;
    throw RomException("Internal error: The SerializationFactory for the type " + uuid + " is missing.");
}

namespace {

// An object frame up to the content; gives the factory of the object's type.
const ISerializationFactory& WriteFrame(ISerializationFile& file, const ISerializable& object) {
    IStreamAdapter& stream = *file.GetStreamAdapter();
    const char* uuid = object.GetSerializationUuid();
    if (uuid == nullptr || *uuid == '\0')
        throw RomException("Internal error: An object could not be serialized due to a missing serialization UUID.");
    const ISerializationFactory& factory = FindSerializationFactory(uuid);
    stream.Write(std::uint32_t{0});
    stream.Write(static_cast<std::int32_t>(kFileVersion));
    stream.Write(uuid);
    stream.Write(factory.GetVersion());
    stream.Write(kProductVersion.major);
    stream.Write(kProductVersion.minor);
    return factory;
}

}  // namespace

void WriteObject(ISerializationFile& file, const ISerializable* object) {
    if (object == nullptr)
        file.GetStreamAdapter()->Write(std::uint32_t{1});
    else
        WriteFrame(file, *object).SerializeContent(file, *object);
}

void WriteObject(ISerializationFile& file, const ISerializable& object, const std::function<void()>& content) {
    WriteFrame(file, object);
    content();
}

const ISerializationFactory& ReadObject(ISerializationFile& file, ISerializable& object) {
    IStreamAdapter& stream = *file.GetStreamAdapter();
    std::uint32_t isNull = 0;
    stream.Read(&isNull, 1);
    if (isNull != 0)
        throw RomException("Internal error: Tried to restore a NULL object to an already instanciated object.");
    std::uint32_t frameVersion = 0;
    stream.Read(&frameVersion, 1);
    if (frameVersion > kFileVersion)
        throw RomException("The file was saved with a future version (" + std::to_string(frameVersion) +
                           ") of the product and cannot be resumed. The latest supported version of your "
                           "installation is " +
                           std::to_string(kFileVersion) + ".");
    std::string uuid;
    stream.Read(uuid);
    const ISerializationFactory& factory = FindSerializationFactory(uuid);
    std::int32_t version = 0;
    stream.Read(&version, 1);
    if (std::strcmp(factory.GetUuid(), object.GetSerializationUuid()) != 0)
        throw RomException("The file " + file.GetFileName() + " holds an object of type " + factory.GetUuid() +
                           " where an object of type " + object.GetSerializationUuid() + " is expected.");
    std::int32_t product[2] = {0, 0};  // the product version, which a reader does not need
    stream.Read(product, 2);
    factory.DeserializeContent(file, object, version);
    return factory;
}

void CPersistableBinary::Save(const std::string& fileName) {
    CheckFileExtension(fileName, GetFileExtension(), "The file ");
    CSerializationFile file;
    file.OpenForSerializing(fileName);
    WriteObject(file, this);
    file.Close();
}

void CPersistableBinary::Resume(const std::string& fileName) {
    CheckFileExtension(fileName, GetFileExtension(), "The file ");
    const std::unique_ptr<CPersistableBinary> read = MakeEmpty();
    CSerializationFile file;
    file.OpenForDeserializing(fileName);
    const ISerializationFactory& factory = ReadObject(file, *read);
    const std::string doubt = file.GetStreamAdapter()->Doubt();
    file.Close();
    factory.CheckRestored(*read, fileName);
    if (!doubt.empty()) throw RomException("The file " + fileName + " cannot be resumed: " + doubt);
    TakeResumed(*read);
}

}  // namespace Tervik::Rom::Common
