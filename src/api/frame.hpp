// The call frame shared by every exported function.
//
// An export is one call: Frame::Run(ROM_CALL(...)) for an operation without a
// result, or Frame::Run(out, ROM_CALL(...)) for one that returns a value through an
// out-pointer. The body casts its handles with As<I>() and copies its strings with
// Str(); any exception becomes an exception handle, and *out is written only on
// success.
#ifndef TERVIK_ROM_SRC_API_FRAME_HPP
#define TERVIK_ROM_SRC_API_FRAME_HPP

#include <atomic>
#include <cstdint>
#include <cstring>
#include <exception>
#include <string>
#include <type_traits>

#include <tervik/rom/common.hpp>
#include <tervik/rom/configuration.hpp>
#include <tervik/rom/mesh.hpp>
#include <tervik/rom/project.hpp>
#include <tervik/rom/rom.h>
#include <tervik/rom/snapshot.hpp>

// The block an exception handle points to: one malloc'ed, NUL-terminated text.
struct RomExceptionRecord {
    char* text;
};

// The body of an export: an expression evaluated inside the frame. References it
// returns stay references, so strings and objects are handed out where they live.
#define ROM_CALL(...) [&]() -> decltype(auto) { return __VA_ARGS__; }

namespace Tervik::Rom::Api::Frame {

// A new exception handle holding a copy of text. Never null: when memory runs out it
// returns a static handle whose release does nothing.
RomExceptionHandle MakeException(const char* text) noexcept;

// The name used in handle errors ("expected IPoint.").
template <class I>
constexpr const char* kInterfaceName = nullptr;
#define TERVIK_ROM_INTERFACE(Namespace, Interface) \
    template <> \
    inline constexpr const char* kInterfaceName<Namespace::Interface> = #Interface
TERVIK_ROM_INTERFACE(Common, IRomObject);
TERVIK_ROM_INTERFACE(Common, IContainerBase);
TERVIK_ROM_INTERFACE(Common, IIdentifiableBySolver);
TERVIK_ROM_INTERFACE(Common, ISolverIdentifier);
TERVIK_ROM_INTERFACE(Common, IPersistable);
TERVIK_ROM_INTERFACE(Configuration, IConfiguration);
TERVIK_ROM_INTERFACE(Configuration, INodeDataCfg);
TERVIK_ROM_INTERFACE(Configuration, IStdElementDataCfg);
TERVIK_ROM_INTERFACE(Configuration, IPolygonDataCfg);
TERVIK_ROM_INTERFACE(Configuration, IPolyhedronDataCfg);
TERVIK_ROM_INTERFACE(Configuration, IElementDataCfg);
TERVIK_ROM_INTERFACE(Configuration, IUserElementDataCfg);
TERVIK_ROM_INTERFACE(Configuration, ISupportCfg);
TERVIK_ROM_INTERFACE(Configuration, IRegionCfg);
TERVIK_ROM_INTERFACE(Configuration, IMeshDataCfg);
TERVIK_ROM_INTERFACE(Configuration, IComponentCfg);
TERVIK_ROM_INTERFACE(Configuration, IFieldCfg);
TERVIK_ROM_INTERFACE(Configuration, IRomSetupCfg);
TERVIK_ROM_INTERFACE(Configuration, ISnapshotCfg);
TERVIK_ROM_INTERFACE(Mesh, INodeData);
TERVIK_ROM_INTERFACE(Mesh, IStdElementData);
TERVIK_ROM_INTERFACE(Mesh, IPolygonData);
TERVIK_ROM_INTERFACE(Mesh, IPolyhedronData);
TERVIK_ROM_INTERFACE(Mesh, IUserElementData);
TERVIK_ROM_INTERFACE(Mesh, IElementData);
TERVIK_ROM_INTERFACE(Mesh, ISupportData);
TERVIK_ROM_INTERFACE(Mesh, IMeshData);
TERVIK_ROM_INTERFACE(Mesh, IMesh);
TERVIK_ROM_INTERFACE(Mesh, ISupportEntity);
TERVIK_ROM_INTERFACE(Mesh, INode);
TERVIK_ROM_INTERFACE(Mesh, IStdElement);
TERVIK_ROM_INTERFACE(Mesh, IPolygon);
TERVIK_ROM_INTERFACE(Mesh, IPolyhedron);
TERVIK_ROM_INTERFACE(Mesh, ISupport);
TERVIK_ROM_INTERFACE(Snapshot, ISnapshot);
TERVIK_ROM_INTERFACE(Snapshot, ISnapshotComponentData);
TERVIK_ROM_INTERFACE(Snapshot, IPoint);
TERVIK_ROM_INTERFACE(Snapshot, IUserPoint);
TERVIK_ROM_INTERFACE(Snapshot, ISnapshotCache);
TERVIK_ROM_INTERFACE(Snapshot, ISnapshotCacheEntry);
TERVIK_ROM_INTERFACE(Project, IProject);
#undef TERVIK_ROM_INTERFACE

[[noreturn]] void ThrowWrongHandle(const char* interfaceName);

// The handle's object as interface I; a null handle or one of another kind throws.
//
// The checked cast is done once per class of object: where the I sub-object lies
// relative to the handle depends only on the object's class, which the handle's
// virtual table pointer identifies. The last class seen for each interface is
// remembered with that offset in one atomic word (table pointer in the low 48 bits,
// offset in the high 16), so a call on the same kind of object as the previous one
// costs a load and a compare, from any thread.
template <class I>
I& As(RomObject* handle) {
    static_assert(kInterfaceName<I> != nullptr, "name the interface in frame.hpp");
    static std::atomic<std::uint64_t> lastClass{0};
    constexpr std::uint64_t kTableBits = (std::uint64_t{1} << 48) - 1;
    constexpr std::int64_t kOffsetBias = 1 << 15;

    if (handle == nullptr) throw Common::RomException("Invalid object handle: null.");
    std::uint64_t table = 0;
    std::memcpy(&table, static_cast<const void*>(handle), sizeof table);
    const std::uint64_t known = lastClass.load(std::memory_order_relaxed);
    if (known != 0 && (known & kTableBits) == table) {
        const std::int64_t offset = static_cast<std::int64_t>(known >> 48) - kOffsetBias;
        return *reinterpret_cast<I*>(reinterpret_cast<char*>(handle) + offset);
    }
    I* object = dynamic_cast<I*>(handle);
    if (object == nullptr) ThrowWrongHandle(kInterfaceName<I>);
    const std::int64_t offset = reinterpret_cast<char*>(object) - reinterpret_cast<char*>(handle);
    if ((table & ~kTableBits) == 0 && offset > -kOffsetBias && offset < kOffsetBias)
        lastClass.store(table | (static_cast<std::uint64_t>(offset + kOffsetBias) << 48), std::memory_order_relaxed);
    return *object;
}

// A copy of a string argument; null throws.
std::string Str(const char* text);

// What an out-pointer of type Out receives from a body's result.
template <class Out, class Result>
Out ToOut(Result&& result) {
    using R = std::remove_cv_t<std::remove_reference_t<Result>>;
    if constexpr (std::is_same_v<Out, RomObject*>) {
        // Objects reached through a read-only getter are handed out like the others.
        if constexpr (std::is_pointer_v<R>) {
            if (result == nullptr) return nullptr;
            return const_cast<Common::IRomObject*>(static_cast<const Common::IRomObject*>(result));
        } else {
            return const_cast<Common::IRomObject*>(static_cast<const Common::IRomObject*>(&result));
        }
    } else if constexpr (std::is_same_v<Out, const char*>) {
        static_assert(std::is_lvalue_reference_v<Result>, "a returned string must live in its object");
        return result.c_str();
    } else if constexpr (std::is_same_v<R, bool>) {
        return result ? 1u : 0u;
    } else {
        return result;
    }
}

template <class Body>
RomExceptionHandle Run(Body&& body) noexcept {
    try {
        body();
        return nullptr;
    } catch (const std::exception& e) {
        return MakeException(e.what());
    } catch (...) {
        return MakeException("Unknown error.");
    }
}

template <class Out, class Body>
RomExceptionHandle Run(Out* out, Body&& body) noexcept {
    return Run([&] {
        if (out == nullptr) throw Common::RomException("Invalid output argument: null.");
        *out = ToOut<Out>(body());
    });
}

// For the exports with two out-pointers: body fills two locals, which are copied out
// once it succeeded.
template <class A, class B, class Body>
void Both(A* first, B* second, Body&& body) {
    if (first == nullptr || second == nullptr) throw Common::RomException("Invalid output argument: null.");
    A a{};
    B b{};
    body(a, b);
    *first = a;
    *second = b;
}

// For the exports that return a string: "" when anything goes wrong.
template <class Body>
const char* RunString(Body&& body) noexcept {
    try {
        return body().c_str();
    } catch (...) {
        return "";
    }
}

// For the exports that return a found flag: 0 when anything goes wrong.
template <class Body>
std::uint32_t RunFound(Body&& body) noexcept {
    try {
        return body() ? 1u : 0u;
    } catch (...) {
        return 0u;
    }
}

// For the TryGet exports: returns whether the part exists and writes its handle, or
// null, to *out; false and null when anything goes wrong.
template <class Part, class Body>
bool RunTryGet(RomObject** out, Body&& body) noexcept {
    if (out == nullptr) return false;
    *out = nullptr;
    try {
        const Part* part = nullptr;
        if (!body(part)) return false;
        *out = ToOut<RomObject*>(part);
        return true;
    } catch (...) {
        return false;
    }
}

}  // namespace Tervik::Rom::Api::Frame

#endif
