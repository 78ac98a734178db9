#include "common/persistence.hpp"

#include <cstring>
#include <utility>

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

void CPersistableSerializationFactory::Serialize(ISerializationFile& file, const ISerializable& object) const {
    IStreamAdapter& stream = *file.GetStreamAdapter();
    stream.Write(kProductVersion.major);
    stream.Write(kProductVersion.minor);
    SerializeContent(file, object);
}

void CPersistableSerializationFactory::Deserialize(ISerializationFile& file, ISerializable& object,
                                                   std::int32_t version) const {
    IStreamAdapter& stream = *file.GetStreamAdapter();
    std::int32_t product[2] = {0, 0};
    stream.Read(product, 2);
    DeserializeContent(file, object, version);
}

void CPersistableSerializationFactory::CheckRestored(const ISerializable&, const std::string&) const {}

void WriteObject(ISerializationFile& file, const ISerializable* object) {
    IStreamAdapter& stream = *file.GetStreamAdapter();
    stream.Write(static_cast<std::uint32_t>(object == nullptr ? 1 : 0));
    if (object == nullptr) return;
    const char* uuid = object->GetSerializationUuid();
    if (uuid == nullptr || *uuid == '\0')
        throw RomException("Internal error: An object could not be serialized due to a missing serialization UUID.");
    stream.Write(static_cast<std::int32_t>(kFileVersion));
    const ISerializationFactory& factory = FindSerializationFactory(uuid);
    stream.Write(uuid);
    stream.Write(factory.GetVersion());
    factory.Serialize(file, *object);
}

const ISerializationFactory& ReadObject(ISerializationFile& file, ISerializable& object) {
    IStreamAdapter& stream = *file.GetStreamAdapter();
    std::uint32_t isNull = 0;
    stream.Read(&isNull, 1);
    const ISerializationFactory* factory = nullptr;
    std::int32_t version = 0;
    if (isNull == 0) {
        std::uint32_t frameVersion = 0;
        stream.Read(&frameVersion, 1);
        if (frameVersion > kFileVersion)
            throw RomException("The file was saved with a future version (" + std::to_string(frameVersion) +
                               ") of the product and cannot be resumed. The latest supported version of your "
                               "installation is " +
                               std::to_string(kFileVersion) + ".");
        std::string uuid;
        stream.Read(uuid);
        factory = &FindSerializationFactory(uuid);
        stream.Read(&version, 1);
    }
    if (factory == nullptr)
        throw RomException("Internal error: Tried to restore a NULL object to an already instanciated object.");
    if (std::strcmp(factory->GetUuid(), object.GetSerializationUuid()) != 0)
        throw RomException("The file " + file.GetFileName() + " holds an object of type " + factory->GetUuid() +
                           " where an object of type " + object.GetSerializationUuid() + " is expected.");
    factory->Deserialize(file, object, version);
    return *factory;
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
