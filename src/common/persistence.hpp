// Saving objects to files and resuming them: JSON documents and binary object frames.
#ifndef TERVIK_ROM_SRC_COMMON_PERSISTENCE_HPP
#define TERVIK_ROM_SRC_COMMON_PERSISTENCE_HPP

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>

#include <tervik/rom/common.hpp>

#include "common/json.hpp"
#include "common/json_file.hpp"
#include "common/serialization_file.hpp"
#include "common/version.hpp"

namespace Tervik::Rom::Common {

// Throws head + fileName + " do not have the expected extension " + extension + "."
// unless fileName ends with "." + extension (case-sensitive).
void CheckFileExtension(const std::string& fileName, const std::string& extension, const char* head);

// The JSON envelope of binary files: {"data": the object's JSON, "version": 1}.
Json::Value ToEnvelope(const JsonService& object);
void FromEnvelope(const Json::Value& envelope, JsonService& object);
// Writes the object's envelope as a JSON text; a text in it that is not UTF-8 is refused,
// since the JSON writer would put other characters in its place.
void WriteEnvelope(ISerializationFile& file, const JsonService& object);

// An object stored under one key of a JSON document file. A resume reads the file into a
// copy of the object, checks it, and only then takes it over: a failed resume changes
// nothing.
class CPersistableJson : public virtual IPersistable, public JsonService {
public:
    void Resume(const std::string& fileName) override;
    void Save(const std::string& fileName) override;

protected:
    // Called first by Save.
    virtual void PrepareSave(const std::string& fileName);
    // Called last by Resume with the file's version.
    virtual void SetResumedVersion(std::uint32_t version);
    virtual std::string GetKey() const = 0;
    // What a resume reads into: an object of the same class holding the same state
    // (internal ids included), since members a file leaves out keep their values.
    virtual std::unique_ptr<CPersistableJson> CopyForResume() const = 0;
    // Refuses what was read when it does not agree with itself; throws naming the file.
    virtual void CheckResumed(const std::string& fileName) const;
    // Takes over the state of read, an object of the same class (read gets this one's).
    virtual void TakeResumed(CPersistableJson& read) noexcept = 0;
};

// Writes and restores the objects of one binary type, known by its serialization UUID.
class ISerializationFactory {
public:
    virtual ~ISerializationFactory() = default;
    virtual std::int32_t GetVersion() const = 0;
    virtual const char* GetUuid() const = 0;
    // The object's content, inside the object frame WriteObject and ReadObject handle.
    virtual void SerializeContent(ISerializationFile& file, const ISerializable& object) const = 0;
    // Restores the content of a frame of the given type version into an existing object.
    virtual void DeserializeContent(ISerializationFile& file, ISerializable& object, std::int32_t version) const = 0;
    // Refuses an object just restored from a whole file when its parts disagree (a reader
    // checks only what it needs to read on); throws naming the file.
    virtual void CheckRestored(const ISerializable& object, const std::string& fileName) const = 0;

protected:
    // Throws head + version + ". (Current supported version: " + GetVersion() + ")" unless
    // the version read is this type's.
    void RequireVersion(std::int32_t version, const char* head) const;
};

// A factory for objects of class T: the content operations receive a T.
template <class T>
class CSerializationFactory : public ISerializationFactory {
public:
    void SerializeContent(ISerializationFile& file, const ISerializable& object) const final {
        Write(file, Cast<const T>(object));
    }
    void DeserializeContent(ISerializationFile& file, ISerializable& object, std::int32_t version) const final {
        Read(file, Cast<T>(object), version);
    }
    void CheckRestored(const ISerializable& object, const std::string& fileName) const final {
        Check(Cast<const T>(object), fileName);
    }

protected:
    // The file's stream adapter writes and reads the primitives; nested objects go
    // through WriteObject and ReadObject with the file itself.
    virtual void Write(ISerializationFile& file, const T& object) const = 0;
    virtual void Read(ISerializationFile& file, T& object, std::int32_t version) const = 0;
    // Checks a whole object read from a file; nothing by default.
    virtual void Check(const T&, const std::string&) const {}

private:
    template <class U, class S>
    U& Cast(S& object) const {
        auto* typed = dynamic_cast<U*>(&object);
        if (typed == nullptr)
            throw RomException(std::string("Internal error: The SerializationFactory for the type ") + GetUuid() +
                               " cannot handle this object.");
        return *typed;
    }
};

// Throws "The file <fileName> cannot be resumed: <problem>" unless problem is "".
void RefuseResume(const std::string& fileName, const std::string& problem);

// The registry of the factories, by the UUID text of their type. Each family registers its
// own where it defines them, as the library is loaded:
//   const CSerializationFactoryRegistration registration{&snapshotFactory, &componentDataFactory};
class CSerializationFactoryRegistration {
public:
    CSerializationFactoryRegistration(std::initializer_list<const ISerializationFactory*> factories);
};
// The registered factory for a UUID text; throws when there is none.
const ISerializationFactory& FindSerializationFactory(const std::string& uuid);

// Writes an object frame (a nested-object record inside another object's content): the
// null flag, the frame version, the type's UUID and version, the product version, then the
// content, which the type's factory writes, or content() where the caller lends the writer
// something of its own. Null writes the null flag alone.
void WriteObject(ISerializationFile& file, const ISerializable* object);
void WriteObject(ISerializationFile& file, const ISerializable& object, const std::function<void()>& content);
// Reads an object frame into an existing object; gives the factory that read it.
const ISerializationFactory& ReadObject(ISerializationFile& file, ISerializable& object);

// An object saved as a binary file through its serialization factory. A resume reads the
// file into a new empty object, has its factory check it, and only then takes it over: a
// failed resume changes nothing.
class CPersistableBinary : public virtual IPersistable, public virtual ISerializable {
public:
    void Resume(const std::string& fileName) override;
    void Save(const std::string& fileName) override;

protected:
    // A new empty object of the same class, for a resume to read into.
    virtual std::unique_ptr<CPersistableBinary> MakeEmpty() const = 0;
    // Takes over what read (an object of the same class) holds; read gets what is left.
    virtual void TakeResumed(CPersistableBinary& read) noexcept = 0;
};

}  // namespace Tervik::Rom::Common

#endif
