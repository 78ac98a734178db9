// The mesh builder: adds nodes, elements and support entities into a mesh data's tables.
#ifndef TERVIK_ROM_SRC_MESH_MESH_HPP
#define TERVIK_ROM_SRC_MESH_MESH_HPP

#include <cstdint>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <tervik/rom/mesh.hpp>

#include "mesh/mesh_data.hpp"

namespace Tervik::Rom::Mesh {

// The standard element kinds: the code stored in the types table, and how many
// connectivity entries an element of the kind occupies. A kind's place is its code.
struct ElementKind {
    const char* name;
    std::int32_t type;
    std::int32_t nodeCount;
};
inline constexpr ElementKind kElementKinds[] = {
#define TERVIK_ROM_KIND(name, type, nodeCount, ...) {#name, type, nodeCount},
    TERVIK_ROM_ELEMENT_KINDS(TERVIK_ROM_KIND)
#undef TERVIK_ROM_KIND
};
inline constexpr int kElementKindCount = sizeof kElementKinds / sizeof kElementKinds[0];
static_assert(
    [] {
        for (int i = 0; i < kElementKindCount; ++i)
            if (kElementKinds[i].type != i) return false;
        return true;
    }(),
    "element_kinds.h: the type codes must run 0, 1, 2, ... in the order of the lines");

// A position in a table: writes relative to it that would leave the table throw
// "Index out of range." and write nothing.
template <class T>
struct Cursor {
    T* table = nullptr;
    std::uint32_t size = 0;
    std::int64_t start = 0;

    bool Bound() const { return table != nullptr; }
    T& At(std::int64_t index) const {
        const std::int64_t position = start + index;
        if (position < 0 || position >= std::int64_t{size}) throw Common::RomException("Index out of range.");
        return table[position];
    }
};

class CNode final : public INode {
public:
    void SetId(std::uint32_t id) override;
    void SetCoordinate(std::int32_t dimensionIndex, double value) override;

    Cursor<double> coordinates;
    std::int32_t dimension = 0;
    std::int32_t* id = nullptr;
};

// The accessor of one standard element kind.
template <int Type>
class CStdElementOf final : public IStdElementOf<Type> {
public:
    static constexpr std::int32_t GetType() { return kElementKinds[Type].type; }
    static constexpr std::int32_t GetNodeCount() { return kElementKinds[Type].nodeCount; }

    void SetId(std::uint32_t value) override;
    void SetConnectivity(std::int32_t nodeIndex, std::uint32_t node) override;

    Cursor<std::int32_t> connectivity;
    std::int32_t* id = nullptr;
};

class CPolygon final : public IPolygon {
public:
    void SetId(std::uint32_t value) override;
    void SetNodeCount(std::uint32_t count) override;
    void SetConnectivity(std::int32_t nodeIndex, std::uint32_t node) override;
    // The node count of the current polygon; throws when it was never set.
    std::uint32_t NodeCount() const;

    Cursor<std::int32_t> slice;
    std::int32_t* id = nullptr;
    bool nodeCountSet = false;
};

class CPolyhedron final : public IPolyhedron {
public:
    void SetId(std::uint32_t value) override;
    void SetConnectivity(std::uint32_t faceIndex, std::int32_t nodeIndex, std::uint32_t node) override;
    void SetFaceCount(std::int32_t count) override;
    void SetNodeCount(std::int32_t faceIndex, std::uint32_t count) override;
    // 1 + F + the node counts of the current polyhedron's faces; throws when a count is missing.
    std::int64_t SliceLength() const;
    void Reset();

    Cursor<std::int32_t> slice;
    std::int32_t* id = nullptr;
    std::vector<bool> faceNodeCountSet;
    std::int32_t faceCount = 0;
    bool faceCountSet = false;

private:
    [[noreturn]] static void ThrowFaceWithoutCount(std::int64_t faceIndex);
    // Where face f's node count lies in the slice, once every earlier face has one.
    std::int64_t FaceStart(std::int64_t faceIndex) const;
};

class CSupport final : public ISupport {
public:
    void SetEntityId(std::uint32_t entityIndex, std::uint32_t id) override;

    std::uint32_t entityCount = 0;
    std::int32_t* entities = nullptr;
    bool entityCountSet = false;
};

template <class Kinds>
struct StdAccessors;
template <int... Types>
struct StdAccessors<std::integer_sequence<int, Types...>> {
    using type = std::tuple<CStdElementOf<Types>...>;
};

class CMesh final : public IMesh {
public:
    const Configuration::IMeshDataCfg* GetConfiguration() const override { return meshData_.GetConfiguration(); }
    void Initialize(const Configuration::IMeshDataCfg& configuration) override;
    bool IsInitialized() const override { return initialized_ && meshData_.IsInitialized(); }

    INode* AddNode() override;
#define TERVIK_ROM_ADD_STD(name, type, ...) \
    I##name* Add##name() override { return AddStd<type>(); }
    TERVIK_ROM_ELEMENT_KINDS(TERVIK_ROM_ADD_STD)
#undef TERVIK_ROM_ADD_STD
    IPolygon* AddPolygon() override;
    IPolyhedron* AddPolyhedron() override;
    ISupport* AddSupport(const std::string& solverId) override;

    void Resume(const std::string& fileName) override { meshData_.Resume(fileName); }
    void Save(const std::string& fileName) override { meshData_.Save(fileName); }
    const std::string& GetFileExtension() const override { return meshData_.GetFileExtension(); }

    const CMeshData& MeshData() const { return meshData_; }

private:
    // Counters of one family of user elements.
    struct UserCounters {
        std::int32_t* connectivity = nullptr;
        std::int32_t* ids = nullptr;
        std::int64_t used = 0;
        std::uint32_t size = 0;
        std::uint32_t count = 0;
        std::uint32_t added = 0;
        bool configured = false;
    };

    template <int Type>
    CStdElementOf<Type>* AddStd();
    void RequireInitialized() const;

    bool initialized_ = false;
    CNode node_;
    Cursor<double> coordinates_;
    std::int32_t* nodeIds_ = nullptr;
    std::int64_t coordinatesUsed_ = 0;
    std::uint32_t nodeCount_ = 0;
    std::uint32_t nodesAdded_ = 0;
    CPolygon polygon_;
    UserCounters polygons_;
    CPolyhedron polyhedron_;
    UserCounters polyhedrons_;
    StdAccessors<std::make_integer_sequence<int, kElementKindCount>>::type elements_;
    std::int32_t* connectivity_ = nullptr;
    std::int32_t* elementIds_ = nullptr;
    std::int32_t* types_ = nullptr;
    std::uint64_t connectivityUsed_ = 0;
    std::uint32_t connectivitySize_ = 0;
    std::uint32_t elementCount_ = 0;
    std::uint32_t elementsAdded_ = 0;
    bool elementsConfigured_ = false;
    CSupport support_;
    CMeshData meshData_;
    // The tables the pointers above write into, kept alive when the mesh data lets them go.
    std::vector<std::shared_ptr<const void>> bound_;
    std::shared_ptr<const void> supportBound_;
};

[[noreturn]] void ThrowNumbered(const char* head, std::int64_t number, const char* middle, std::int64_t limit,
                                const char* tail);

template <int Type>
void CStdElementOf<Type>::SetId(std::uint32_t value) {
    if (id == nullptr) throw Common::RomException("Element is not link to any id table !");
    *id = static_cast<std::int32_t>(value);
}

template <int Type>
void CStdElementOf<Type>::SetConnectivity(std::int32_t nodeIndex, std::uint32_t node) {
    if (nodeIndex >= GetNodeCount())
        ThrowNumbered("Node index ", nodeIndex, " exceeds the number of nodes of the element (", GetNodeCount(), ") !");
    if (!connectivity.Bound()) throw Common::RomException("Element is not link to any connectivity table !");
    connectivity.At(nodeIndex) = static_cast<std::int32_t>(node);
}

template <int Type>
CStdElementOf<Type>* CMesh::AddStd() {
    RequireInitialized();
    if (!elementsConfigured_) throw Common::RomException("No standard element has been configured in the mesh!");
    if (elementsAdded_ >= elementCount_)
        ThrowNumbered("Number of added standard elements (", elementsAdded_,
                      ") exceeds specified standard element count (", elementCount_, ") in the mesh configuration!");
    constexpr std::int32_t nodeCount = CStdElementOf<Type>::GetNodeCount();
    if (connectivityUsed_ + nodeCount > connectivitySize_)
        ThrowNumbered("Connectivity index (", static_cast<std::int64_t>(connectivityUsed_ + nodeCount),
                      ") will exceed specified standard element connectivity table size (", connectivitySize_,
                      ") in the mesh configuration!");
    auto& element = std::get<Type>(elements_);
    types_[elementsAdded_] = CStdElementOf<Type>::GetType();
    element.id = elementIds_ + elementsAdded_;
    element.connectivity =
        Cursor<std::int32_t>{connectivity_, connectivitySize_, static_cast<std::int64_t>(connectivityUsed_)};
    ++elementsAdded_;
    connectivityUsed_ += nodeCount;
    return &element;
}

}  // namespace Tervik::Rom::Mesh

#endif
