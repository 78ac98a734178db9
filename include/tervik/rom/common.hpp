// Root interfaces shared by every object of the library.
#ifndef TERVIK_ROM_COMMON_HPP
#define TERVIK_ROM_COMMON_HPP

#include <cstdint>
#include <exception>
#include <string>
#include <utility>

namespace Tervik::Rom::Common {

// Base of every object handed across the call boundary; always inherited virtually.
// Defined entirely here, like every class of these headers, so that a C++ client
// has its type information without the library exporting any.
class IRomObject {
public:
    virtual ~IRomObject() = default;
    // Compares two objects; classes that do not override it throw.
    virtual bool Equals(const IRomObject& other) const;

protected:
    IRomObject() = default;
    IRomObject(const IRomObject&) = default;
    IRomObject& operator=(const IRomObject&) = default;
};

// The one exception type of the library; its message is the text a client receives.
class RomException : public std::exception {
public:
    explicit RomException(std::string message) : message_(std::move(message)) {}
    const char* what() const noexcept override { return message_.c_str(); }

private:
    std::string message_;
};

inline bool IRomObject::Equals(const IRomObject&) const {
    throw RomException("Work in progress! Equals method must be used only with objects that override the method!");
}

// An object with a generated internal id (a random UUID text).
class IIdentifiable : public virtual IRomObject {
public:
    virtual const std::string& GetInternalId() const = 0;
    virtual void SetInternalId(const std::string& id) = 0;
};

// An id text given by the caller's solver.
class ISolverIdentifier : public virtual IRomObject {
public:
    virtual const std::string& GetId() const = 0;
};

// An object that carries a solver id beside its internal id.
class IIdentifiableBySolver : public virtual IRomObject {
public:
    virtual const std::string& GetSolverId() const = 0;
    virtual void SetSolverId(const std::string& solverId) = 0;
};

// Untyped view of every container: owned members in insertion order.
class IContainerBase : public virtual IIdentifiable {
public:
    static constexpr std::uint32_t kNotFound = 0xFFFFFFFFu;

    virtual IRomObject* GetObject(std::uint32_t index) const = 0;
    // Index of the member with this identity, or kNotFound.
    virtual std::uint32_t IndexOf(const IRomObject* object) const = 0;
    virtual std::uint32_t GetCount() const = 0;
};

template <class I>
class IContainer : public IContainerBase {
public:
    virtual I* Get(std::uint32_t index) const = 0;
};

// An object saved to, and resumed from, a file of its own kind.
class IPersistable : public virtual IRomObject {
public:
    virtual void Resume(const std::string& fileName) = 0;
    virtual void Save(const std::string& fileName) = 0;
    // The file extension the object expects, without the dot.
    virtual const std::string& GetFileExtension() const = 0;
};

// An object written through a binary serialization factory, known by its type UUID.
class ISerializable : public virtual IRomObject {
public:
    virtual const char* GetSerializationUuid() const = 0;
};

}  // namespace Tervik::Rom::Common

#endif
