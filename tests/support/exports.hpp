// Helpers of the tests that go through the exported functions.
#ifndef TERVIK_ROM_TESTS_SUPPORT_EXPORTS_HPP
#define TERVIK_ROM_TESTS_SUPPORT_EXPORTS_HPP

#include <cstdint>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tervik/rom/rom.h>

inline const std::string kOk = "<success>";

// The text of an exception handle, released; kOk for null.
inline std::string TextOf(RomExceptionHandle error) {
    std::string text = error == nullptr ? kOk : RomGetExceptionDescription(error);
    RomReleaseException(error);
    return text;
}

#define ROM_OK(call) EXPECT_EQ(TextOf(call), kOk) << #call

// What a getter writes to its out-parameter, given the argument before it, if any.
template <class T>
T Read(RomExceptionHandle (*get)(RomObject*, T*), RomObject* object) {
    T value{};
    ROM_OK(get(object, &value));
    return value;
}
template <class T>
struct Given {
    using type = T;
};
template <class A, class T>
T Read(RomExceptionHandle (*get)(RomObject*, A, T*), RomObject* object, typename Given<A>::type argument) {
    T value{};
    ROM_OK(get(object, argument, &value));
    return value;
}

// The members of a container, in order, and the solver id of an object.
inline std::vector<RomObject*> Members(RomObject* container) {
    std::vector<RomObject*> members(Read(RomContainerGetCount, container));
    for (std::uint32_t i = 0; i < members.size(); ++i) ROM_OK(RomContainerGetObject(container, i, &members[i]));
    return members;
}
inline std::string Id(RomObject* object) { return RomGetSolverId(object); }

struct Release {
    void operator()(RomObject* object) const { RomReleaseException(RomFactoryRelease(object)); }
};
using Owned = std::unique_ptr<RomObject, Release>;

inline Owned Create(RomExceptionHandle (*create)(RomObject**)) {
    RomObject* object = nullptr;
    ROM_OK(create(&object));
    return Owned(object);
}

using ChildFn = RomExceptionHandle (*)(RomObject*, RomObject**);
inline RomObject* Child(ChildFn get, RomObject* parent) { return Read(get, parent); }

// The bytes of the file object saves at path.
inline std::string Saved(RomObject* object, const std::string& path) {
    ROM_OK(RomPersistableSave(object, path.c_str()));
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

#endif
