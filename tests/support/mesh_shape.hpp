// A mesh data configuration of given sizes and mesh data of it, built through the exported functions.
#ifndef TERVIK_ROM_TESTS_SUPPORT_MESH_SHAPE_HPP
#define TERVIK_ROM_TESTS_SUPPORT_MESH_SHAPE_HPP

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "support/exports.hpp"
#include "support/temp_dir.hpp"

// The sizes of a mesh data configuration; a zero count leaves that part out.
struct MeshShape {
    std::uint32_t nodes = 3;
    std::int32_t dimension = 2;
    std::uint32_t elements = 2, elementConnectivity = 5;
    std::uint32_t polygons = 2, polygonConnectivity = 7;
    std::uint32_t polyhedrons = 2, polyhedronConnectivity = 13;
    using Regions = std::vector<std::vector<std::string>>;
    Regions regions{{"S1", "S2"}, {"S3"}};  // support ids per region
    std::uint32_t supportSize = 3;

    // A copy with one member changed.
    template <class M, class V>
    MeshShape With(M MeshShape::*member, V value) const {
        MeshShape shape = *this;
        shape.*member = static_cast<M>(value);
        return shape;
    }
};

inline Owned NewConfiguration(const MeshShape& shape) {
    Owned cfg = Create(RomFactoryCreateMeshDataCfg);
    RomObject* nodes = Child(RomMeshDataCfgConfigureNodeData, cfg.get());
    ROM_OK(RomNodeDataCfgSetCount(nodes, shape.nodes));
    ROM_OK(RomNodeDataCfgSetDimension(nodes, shape.dimension));
    RomObject* elements = Child(RomMeshDataCfgConfigureElementData, cfg.get());
    if (shape.elements != 0) {
        RomObject* standard = Child(RomElementDataCfgConfigureStdElementData, elements);
        ROM_OK(RomStdElementDataCfgSetCount(standard, shape.elements));
        ROM_OK(RomStdElementDataCfgSetConnectivityTableSize(standard, shape.elementConnectivity));
    }
    if (shape.polygons != 0) {
        RomObject* user = Child(RomElementDataCfgConfigureUserElementData, elements);
        RomObject* polygons = Child(RomUserElementDataCfgConfigurePolygonData, user);
        ROM_OK(RomPolygonDataCfgSetCount(polygons, shape.polygons));
        ROM_OK(RomPolygonDataCfgSetConnectivityTableSize(polygons, shape.polygonConnectivity));
    }
    if (shape.polyhedrons != 0) {
        RomObject* user = Child(RomElementDataCfgConfigureUserElementData, elements);
        RomObject* polyhedrons = Child(RomUserElementDataCfgConfigurePolyhedronData, user);
        ROM_OK(RomPolyhedronDataCfgSetCount(polyhedrons, shape.polyhedrons));
        ROM_OK(RomPolyhedronDataCfgSetConnectivityTableSize(polyhedrons, shape.polyhedronConnectivity));
    }
    for (std::size_t r = 0; r < shape.regions.size(); ++r) {
        RomObject* region = Child(RomMeshDataCfgAddRegion, cfg.get());
        ROM_OK(RomSetSolverId(region, ("R" + std::to_string(r)).c_str()));
        for (const std::string& id : shape.regions[r]) {
            RomObject* support = Child(RomRegionCfgAddSupport, region);
            ROM_OK(RomSetSolverId(support, id.c_str()));
            ROM_OK(RomSupportCfgSetEntityCount(support, shape.supportSize));
            ROM_OK(RomSupportCfgSetEntitiesType(support, 1));
        }
    }
    return cfg;
}

inline Owned NewMeshData(RomObject* cfg) {
    Owned data = Create(RomFactoryCreateMeshData);
    ROM_OK(RomMeshDataInitialize(data.get(), cfg));
    return data;
}
inline Owned NewMeshData(const MeshShape& shape) { return NewMeshData(NewConfiguration(shape).get()); }

// The node count of the configuration a mesh data holds.
inline std::uint32_t NodeCount(RomObject* data) {
    return Read(RomNodeDataCfgGetCount, Child(RomMeshDataCfgGetNodeDataCfg, Child(RomMeshDataGetConfiguration, data)));
}

// The objects of a mesh data that own its tables.
inline RomObject* NodeData(RomObject* data) { return Child(RomMeshDataGetMutableNodeData, data); }
inline RomObject* Elements(RomObject* data) { return Child(RomMeshDataGetMutableElementData, data); }
inline RomObject* StdElements(RomObject* data) { return Child(RomElementDataGetMutableStdElementData, Elements(data)); }
inline RomObject* UserElements(RomObject* data) {
    return Child(RomElementDataGetMutableUserElementData, Elements(data));
}
inline RomObject* Polygons(RomObject* data) {
    return Child(RomUserElementDataGetMutablePolygonData, UserElements(data));
}
inline RomObject* Polyhedrons(RomObject* data) {
    return Child(RomUserElementDataGetMutablePolyhedronData, UserElements(data));
}
inline RomObject* SupportData(RomObject* data, const std::string& id) {
    return Read(RomMeshDataGetMutableSupportData, data, id.c_str());
}

// The first size values of a table through its getter; none while it has no table.
template <class T>
std::vector<T> TableOf(RomObject* owner, RomExceptionHandle (*get)(RomObject*, T**), std::uint32_t size) {
    T* table = nullptr;
    ROM_OK(get(owner, &table));
    return table == nullptr ? std::vector<T>() : std::vector<T>(table, table + size);
}

// count values: first, first + 1, ...
template <class T>
std::vector<T> Values(std::uint32_t count, int first) {
    std::vector<T> values(count);
    for (std::uint32_t i = 0; i < count; ++i) values[i] = static_cast<T>(first + static_cast<int>(i));
    return values;
}

// Mesh data of a shape of the default element tables (any nodes and supports), every table
// filled; scale tells two apart.
inline Owned FilledMeshData(const MeshShape& shape = MeshShape(), int scale = 1) {
    Owned data = NewMeshData(shape);
    RomObject* d = data.get();
    const std::vector<std::int32_t> ids = Values<std::int32_t>(shape.nodes, scale);
    const std::vector<double> xyz = Values<double>(shape.nodes * std::uint32_t(shape.dimension), 10 * scale);
    ROM_OK(RomNodeDataCopyIds(NodeData(d), ids.data(), 0, 0));
    ROM_OK(RomNodeDataCopyCoordinateTable(NodeData(d), xyz.data(), 0, 0));
    // A triangle and a line of each kind; polyhedrons of two faces and of one.
    const std::vector<std::int32_t> types{5, 1}, connectivity{0, 1, 2, 0, 1}, polygons{3, 0, 1, 2, 2, 1, 2};
    const std::vector<std::int32_t> polyhedrons{2, 3, 0, 1, 2, 2, 1, 2, 1, 3, 0, 1, 2};
    ROM_OK(RomStdElementDataCopyIds(StdElements(d), ids.data(), 0, 2));
    ROM_OK(RomStdElementDataCopyTypes(StdElements(d), types.data(), 0, 0));
    ROM_OK(RomStdElementDataCopyConnectivityTable(StdElements(d), connectivity.data(), 0, 0));
    ROM_OK(RomPolygonDataCopyIds(Polygons(d), ids.data(), 0, 2));
    ROM_OK(RomPolygonDataCopyConnectivityTable(Polygons(d), polygons.data(), 0, 0));
    ROM_OK(RomPolyhedronDataCopyIds(Polyhedrons(d), ids.data(), 0, 2));
    ROM_OK(RomPolyhedronDataCopyConnectivityTable(Polyhedrons(d), polyhedrons.data(), 0, 0));
    for (const auto& region : shape.regions)
        for (const std::string& id : region)
            ROM_OK(RomSupportDataCopyEntities(SupportData(d, id), Values<std::int32_t>(shape.supportSize, scale).data(),
                                              0, 0));
    return data;
}

// A folder of mesh files, a new one for every save or write.
class MeshFiles : public TempDirTest {
protected:
    std::string NextPath(const char* extension) { return Path("f" + std::to_string(files_++) + "." + extension); }
    std::string Saved(RomObject* persistable) {
        const std::string file = NextPath("rommsh");
        ROM_OK(RomPersistableSave(persistable, file.c_str()));
        return file;
    }
    std::string Written(const std::string& bytes) {
        const std::string file = NextPath("rommsh");
        WriteBytes(file, bytes);
        return file;
    }
    // What resuming a fresh mesh data from file says, and the mesh data.
    std::pair<std::string, Owned> Resume(const std::string& file) {
        Owned data = Create(RomFactoryCreateMeshData);
        std::string text = TextOf(RomPersistableResume(data.get(), file.c_str()));
        return {text, std::move(data)};
    }

    int files_ = 0;
};

#endif
