// `tervikrom export`: a mesh and its snapshots as VTK XML unstructured grids (raw
// appended data, 64-bit headers), one ".vtu" per snapshot and a ".pvd" collection
// when there are several.
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <limits>
#include <numeric>
#include <ostream>
#include <set>
#include <sstream>

#include <sys/stat.h>
#include <unistd.h>

#include "cli.hpp"

namespace tervik::cli {

// One array of the appended data: its XML attributes and its bytes, wherever they live.
struct VtuWriter::Array {
    enum Section { PointData, CellData, Points, Cells } section;
    std::string name;
    const char* type;
    int components;
    const void* data;  // null for values made while they are written
    std::uint64_t bytes;
    std::vector<std::string> componentNames = {};  // ComponentName0, ... when given
    std::string unit = {};                         // the UNITS_LABEL information key, when not empty
    // Makes the items [first, first + count) of an array without data, into out; calls
    // come in order from the first item, and count and first are multiples of its components.
    std::function<void(std::uint64_t first, std::uint64_t count, void* out)> make = {};

    std::uint64_t ItemBytes() const { return type[0] == 'F' ? 8 : type[0] == 'I' ? 4 : 1; }
};

// The pairs of a snapshot that make one array: the components of a field on one support
// (a null column for a component the snapshot does not hold), or one pair alone.
struct VtuWriter::Group {
    std::string name, unit, support;
    std::vector<const SnapshotPair*> columns;
    std::vector<std::string> componentNames;
};

namespace {

constexpr std::uint64_t kPage = 4096;
constexpr std::uint64_t kAlignedFrom = 64 * 1024;  // smaller arrays follow each other directly

template <class T>
std::uint64_t Bytes(const std::vector<T>& values) {
    return values.size() * sizeof(T);
}

std::int32_t Narrow(std::uint64_t value, const char* what) {
    if (value > static_cast<std::uint64_t>(std::numeric_limits<std::int32_t>::max()))
        throw MeshFailure(std::string("the mesh has more ") + what + " than a 32-bit index holds");
    return static_cast<std::int32_t>(value);
}

std::string Escaped(const std::string& text) {
    std::string out;
    for (const char c : text) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            default:
                out += c;
        }
    }
    return out;
}

// Bytes in page-aligned memory.
class PageBuffer {
public:
    PageBuffer() = default;
    explicit PageBuffer(std::uint64_t bytes)
        : data_(static_cast<char*>(std::aligned_alloc(kPage, (bytes + kPage - 1) / kPage * kPage))), size_(bytes) {
        if (data_ == nullptr) throw std::bad_alloc();
    }
    char* data() const { return data_.get(); }
    std::uint64_t size() const { return size_; }

private:
    struct Free {
        void operator()(char* memory) const { std::free(memory); }
    };
    std::unique_ptr<char, Free> data_;
    std::uint64_t size_ = 0;
};

template <class T>
bool Holds(const std::vector<T>& values, const T& value) {
    return std::find(values.begin(), values.end(), value) != values.end();
}

}  // namespace

VtuWriter::VtuWriter(const Mesh& mesh, const ExportOptions& options, std::vector<Field> fields)
    : mesh_(mesh),
      options_(options),
      fields_(std::move(fields)),
      references_({&mesh.nodeIds}, options.indices, "nodes") {
    const std::uint32_t nodeCount = mesh.nodeIds.count;
    if (mesh.dimension != 3) {
        points_.assign(std::size_t{nodeCount} * 3, 0.0);
        const std::size_t dimension = static_cast<std::size_t>(std::clamp(mesh.dimension, 0, 3));
        for (std::size_t n = 0; n < nodeCount; ++n)
            for (std::size_t axis = 0; axis < dimension; ++axis)
                points_[3 * n + axis] = mesh.coordinates[n * static_cast<std::size_t>(mesh.dimension) + axis];
    }

    // Standard elements: known kinds within the table; their cells come later.
    std::uint64_t used = 0;
    for (std::uint32_t e = 0; e < mesh.types.count; ++e) {
        const ElementKind* kind = FindKind(mesh.types[e]);
        if (kind == nullptr || used + static_cast<std::uint64_t>(kind->nodes) > mesh.connectivity.count)
            throw MeshFailure("standard element " + std::to_string(e) + " has " +
                              (kind == nullptr ? "the unknown type code " + std::to_string(mesh.types[e])
                                               : "nodes past the end of the connectivity table") +
                              "; tervikrom validate tells more");
        used += static_cast<std::uint64_t>(kind->nodes);
        standardSize_ += static_cast<std::uint64_t>(kind->vtkNodes);
        trimmed_ = trimmed_ || kind->vtkNodes != kind->nodes;
    }

    // Polygons: their node lists. Polyhedrons: the face stream as stored (references
    // resolved), and each node once in the connectivity.
    const auto failed = [](const std::string& broken) {
        if (!broken.empty()) throw MeshFailure(broken + "; tervikrom validate tells more");
    };
    const Table<std::int32_t>& polygons = mesh.polygonConnectivity;
    failed(WalkSlices(polygons, mesh.polygonIds, false,
                      [&](std::uint32_t element, std::uint64_t start, std::uint64_t length) {
                          for (std::uint64_t at = start + 1; at < start + length; ++at)
                              user_.push_back(Resolve(polygons[at], "polygon", element));
                          userOffsets_.push_back(Narrow(standardSize_ + user_.size(), "connectivity entries"));
                      }));
    const Table<std::int32_t>& polyhedrons = mesh.polyhedronConnectivity;
    const std::uint32_t cellCount = mesh.CellCount();
    if (mesh.polyhedronIds.count != 0) {
        faceOffsets_.assign(cellCount, -1);
        faces_.reserve(polyhedrons.count);
    }
    std::uint32_t cell = mesh.elementIds.count + mesh.polygonIds.count;
    failed(WalkSlices(
        polyhedrons, mesh.polyhedronIds, true, [&](std::uint32_t element, std::uint64_t start, std::uint64_t length) {
            const std::size_t first = user_.size();
            faces_.push_back(polyhedrons[start]);
            for (std::uint64_t at = start + 1; at < start + length;) {
                const std::int32_t count = polyhedrons[at++];
                faces_.push_back(count);
                for (std::int32_t k = 0; k < count; ++k, ++at) {
                    const std::int32_t node = Resolve(polyhedrons[at], "polyhedron", element);
                    faces_.push_back(node);
                    if (std::find(user_.begin() + static_cast<std::ptrdiff_t>(first), user_.end(), node) == user_.end())
                        user_.push_back(node);
                }
            }
            userOffsets_.push_back(Narrow(standardSize_ + user_.size(), "connectivity entries"));
            faceOffsets_[cell++] = Narrow(faces_.size(), "face entries");
        }));

    connectivitySize_ = standardSize_ + user_.size();
    Narrow(connectivitySize_, "connectivity entries");

    if (mesh.polygonIds.count + mesh.polyhedronIds.count != 0) {
        cellIds_.reserve(cellCount);
        for (const auto* ids : {&mesh.elementIds, &mesh.polygonIds, &mesh.polyhedronIds})
            cellIds_.insert(cellIds_.end(), ids->data, ids->data + ids->count);
    }

    // The usual case, every kind keeping all its nodes and nodes named by ids that ascend
    // by one (or by indices), needs no tables: the cells are made in pieces as they are
    // written. Otherwise the standard elements are resolved once, beside the first write.
    const std::optional<std::int64_t> offset = references_.Offset();
    if (!trimmed_ && offset && *offset >= INT32_MIN && *offset <= INT32_MAX) {
        const std::int64_t last = std::min<std::int64_t>(*offset + references_.Size() - 1, INT32_MAX);
        shifted_.emplace(static_cast<std::int32_t>(*offset), static_cast<std::int32_t>(last));
        return;
    }
    connectivity_.reset(new std::int32_t[connectivitySize_]);
    offsets_.reset(new std::int32_t[cellCount]);
    types_.reset(new std::uint8_t[cellCount]);
    std::copy(user_.begin(), user_.end(), connectivity_.get() + standardSize_);
    std::copy(userOffsets_.begin(), userOffsets_.end(), offsets_.get() + mesh.elementIds.count);
    for (std::uint32_t cell = mesh.elementIds.count; cell < cellCount; ++cell) types_[cell] = UserType(cell);
    standard_ = std::async(std::launch::async, [this] { ResolveStandardElements(connectivity_.get()); }).share();
}

std::uint8_t VtuWriter::UserType(std::uint64_t cell) const {
    return cell < std::uint64_t{mesh_.elementIds.count} + mesh_.polygonIds.count ? kVtkPolygon : kVtkPolyhedron;
}

std::int32_t VtuWriter::Resolve(std::int32_t reference, const char* element, std::uint64_t index) const {
    const std::int64_t node = references_.Find(reference);
    if (node < 0)
        throw MeshFailure(std::string(element) + " " + std::to_string(index) + " names node " +
                          std::to_string(reference) + ", which the mesh does not hold" +
                          (options_.indices ? "" : " (give --indices if references are node indices)"));
    return static_cast<std::int32_t>(node);
}

// The first vtkNodes of each element's nodes, in order; out null to check them only.
void VtuWriter::ResolveStandardElements(std::int32_t* out) const {
    const Table<std::int32_t>& table = mesh_.connectivity;
    std::uint64_t used = 0, written = 0;
    for (std::uint32_t e = 0; e < mesh_.types.count; ++e) {
        const ElementKind& kind = kElementKinds[mesh_.types[e]];
        for (std::int32_t k = 0; k < kind.vtkNodes; ++k) {
            const std::int32_t node = Resolve(table[used + static_cast<std::uint64_t>(k)], "standard element", e);
            if (out != nullptr) out[written + static_cast<std::uint64_t>(k)] = node;
        }
        used += static_cast<std::uint64_t>(kind.nodes);
        written += static_cast<std::uint64_t>(kind.vtkNodes);
        if (out != nullptr) {
            offsets_[e] = static_cast<std::int32_t>(written);
            types_[e] = kind.vtkType;
        }
    }
}

// connectivity, offsets and types: the tables, or made in pieces from the mesh's tables.
std::vector<VtuWriter::Array> VtuWriter::CellArrays() const {
    const std::uint64_t cellCount = mesh_.CellCount();
    if (!shifted_)
        return {{Array::Cells, "connectivity", "Int32", 1, connectivity_.get(), connectivitySize_ * 4},
                {Array::Cells, "offsets", "Int32", 1, offsets_.get(), cellCount * 4},
                {Array::Cells, "types", "UInt8", 1, types_.get(), cellCount}};
    const std::uint64_t elements = mesh_.types.count;
    const std::int32_t* const kinds = mesh_.types.data;
    const auto connectivity = [this](std::uint64_t first, std::uint64_t count, void* bytes) {
        auto* out = static_cast<std::int32_t*>(bytes);
        const std::uint64_t standard = first < standardSize_ ? std::min(count, standardSize_ - first) : 0;
        const std::int32_t* in = mesh_.connectivity.data + first;
        const auto [low, high] = *shifted_;
        std::uint32_t outside = 0;
        for (std::uint64_t i = 0; i < standard; ++i) {
            outside |= static_cast<std::uint32_t>(in[i] < low) | static_cast<std::uint32_t>(in[i] > high);
            out[i] = static_cast<std::int32_t>(static_cast<std::uint32_t>(in[i]) - static_cast<std::uint32_t>(low));
        }
        if (outside != 0) ResolveStandardElements(nullptr);  // throws, naming the element
        if (standard < count)
            std::copy_n(user_.begin() + static_cast<std::ptrdiff_t>(first + standard - standardSize_), count - standard,
                        out + standard);
    };
    const auto offsets = [this, elements, kinds, written = std::uint64_t{0}](std::uint64_t first, std::uint64_t count,
                                                                             void* bytes) mutable {
        auto* out = static_cast<std::int32_t*>(bytes);
        const std::uint64_t standard = first < elements ? std::min(count, elements - first) : 0;
        for (std::uint64_t i = 0; i < standard; ++i) {
            written += static_cast<std::uint64_t>(kElementKinds[kinds[first + i]].vtkNodes);
            out[i] = static_cast<std::int32_t>(written);
        }
        if (standard < count)
            std::copy_n(userOffsets_.begin() + static_cast<std::ptrdiff_t>(first + standard - elements),
                        count - standard, out + standard);
    };
    const auto types = [this, elements, kinds](std::uint64_t first, std::uint64_t count, void* bytes) {
        auto* out = static_cast<std::uint8_t*>(bytes);
        for (std::uint64_t i = 0; i < count; ++i)
            out[i] = first + i < elements ? kElementKinds[kinds[first + i]].vtkType : UserType(first + i);
    };
    return {{Array::Cells, "connectivity", "Int32", 1, nullptr, connectivitySize_ * 4, {}, {}, connectivity},
            {Array::Cells, "offsets", "Int32", 1, nullptr, cellCount * 4, {}, {}, offsets},
            {Array::Cells, "types", "UInt8", 1, nullptr, cellCount, {}, {}, types}};
}

const EntityIndex& VtuWriter::Nodes() const {
    if (!options_.indices) return references_;
    if (!nodes_) nodes_.emplace(std::vector<const Table<std::int32_t>*>{&mesh_.nodeIds}, false, "nodes");
    return *nodes_;
}

const EntityIndex& VtuWriter::Cells() const {
    if (!cells_)
        cells_.emplace(
            std::vector<const Table<std::int32_t>*>{&mesh_.elementIds, &mesh_.polygonIds, &mesh_.polyhedronIds}, false,
            "elements");
    return *cells_;
}

Location VtuWriter::Locate(const MeshSupport& support) const {
    const auto chosen = options_.locations.find(support.solverId);
    if (chosen != options_.locations.end()) return chosen->second;
    return support.entityType == kNodeEntities ? Location::Points : Location::Cells;
}

// Supports in the snapshot's order; on each, the fields given on it (in the set-up's
// order) each make an array of their components, and every other pair an array alone.
// A field given on two supports of the same side (points or cells) names its arrays
// "field@support".
std::vector<VtuWriter::Group> VtuWriter::Groups(const Snapshot& snapshot) const {
    std::vector<std::string> supports;
    std::map<std::string, Location> located;
    for (const auto& pair : snapshot.pairs) {
        if (located.count(pair.support) != 0) continue;
        const MeshSupport* support = mesh_.FindSupport(pair.support);
        if (support == nullptr)
            throw Failure("the mesh has no support " + pair.support + " for the values of " + pair.component);
        located.emplace(pair.support, Locate(*support));
        supports.push_back(pair.support);
    }
    std::map<std::pair<std::string, std::string>, const SnapshotPair*> pairs;
    for (const auto& pair : snapshot.pairs) pairs.emplace(std::pair{pair.component, pair.support}, &pair);
    const auto find = [&](const std::string& component, const std::string& support) -> const SnapshotPair* {
        const auto found = pairs.find({component, support});
        return found == pairs.end() ? nullptr : found->second;
    };
    const auto holds = [&](const Field& field, const std::string& support) {
        return Holds(field.supports, support) && located.count(support) != 0 &&
               std::any_of(field.components.begin(), field.components.end(),
                           [&](const std::string& component) { return find(component, support) != nullptr; });
    };
    std::vector<Group> groups;
    std::set<const SnapshotPair*> grouped;
    for (const std::string& support : supports) {
        for (const Field& field : options_.splitComponents ? std::vector<Field>{} : fields_) {
            if (!holds(field, support)) continue;
            const bool shared =
                std::any_of(field.supports.begin(), field.supports.end(), [&](const std::string& other) {
                    return other != support && holds(field, other) && located.at(other) == located.at(support);
                });
            Group& group = groups.emplace_back(
                Group{shared ? field.solverId + "@" + support : field.solverId, field.unit, support, {}, {}});
            for (const std::string& component : field.components) {
                group.columns.push_back(find(component, support));
                grouped.insert(group.columns.back());
            }
            if (field.components.size() > 1) group.componentNames = field.components;
        }
        for (const auto& pair : snapshot.pairs) {
            if (pair.support != support || grouped.count(&pair) != 0) continue;
            std::string unit;
            for (const Field& field : fields_)
                if (Holds(field.components, pair.component) && Holds(field.supports, support)) unit = field.unit;
            groups.push_back(Group{pair.component + "@" + support, unit, support, {&pair}, {}});
        }
    }
    return groups;
}

std::vector<VtuWriter::Array> VtuWriter::SnapshotArrays(const Snapshot& snapshot,
                                                        std::vector<std::vector<double>>& storage) const {
    std::vector<Array> arrays;
    const std::vector<Group> groups = Groups(snapshot);
    storage.reserve(groups.size());
    for (const Group& group : groups) {
        const MeshSupport& support = *mesh_.FindSupport(group.support);
        const Location location = Locate(support);
        const EntityIndex& index = location == Location::Points ? Nodes() : Cells();
        const auto section = location == Location::Points ? Array::PointData : Array::CellData;
        const std::size_t width = group.columns.size();
        const SnapshotPair* first = group.columns.front();
        const auto inOrder = [&](const SnapshotPair* pair) {
            return pair == nullptr || (pair->assigned == pair->expected && index.InOrder(pair->ids));
        };
        if (width == 1 && inOrder(first)) {  // the values as they are
            arrays.push_back({section,
                              group.name,
                              "Float64",
                              1,
                              first->values.data,
                              std::uint64_t{first->assigned} * 8,
                              {},
                              group.unit});
            continue;
        }
        if (std::all_of(group.columns.begin(), group.columns.end(), inOrder)) {  // interleaved as they are written
            std::vector<const double*> columns;
            for (const SnapshotPair* pair : group.columns)
                columns.push_back(pair == nullptr ? nullptr : pair->values.data);
            const auto make = [columns, width](std::uint64_t begin, std::uint64_t count, void* bytes) {
                double* const out = static_cast<double*>(bytes);
                const std::uint64_t entity = begin / width, entities = count / width;
                const bool whole =
                    std::none_of(columns.begin(), columns.end(), [](const double* c) { return c == nullptr; });
                if (whole && width == 3) {  // vectors: one pass, the output written in order
                    const double *x = columns[0] + entity, *y = columns[1] + entity, *z = columns[2] + entity;
                    for (std::uint64_t i = 0; i < entities; ++i) {
                        out[3 * i] = x[i];
                        out[3 * i + 1] = y[i];
                        out[3 * i + 2] = z[i];
                    }
                    return;
                }
                for (std::size_t column = 0; column < width; ++column) {
                    const double* in = columns[column] == nullptr ? nullptr : columns[column] + entity;
                    double* to = out + column;
                    if (in == nullptr)
                        for (std::uint64_t i = 0; i < entities; ++i)
                            to[i * width] = std::numeric_limits<double>::quiet_NaN();
                    else
                        for (std::uint64_t i = 0; i < entities; ++i) to[i * width] = in[i];
                }
            };
            arrays.push_back({section, group.name, "Float64", static_cast<int>(width), nullptr,
                              static_cast<std::uint64_t>(index.Size()) * width * 8, group.componentNames, group.unit,
                              make});
            continue;
        }
        std::vector<double>& values = storage.emplace_back(static_cast<std::size_t>(index.Size()) * width,
                                                           std::numeric_limits<double>::quiet_NaN());
        for (std::size_t column = 0; column < width; ++column) {
            const SnapshotPair* pair = group.columns[column];
            if (pair == nullptr) continue;
            double* out = values.data() + column;
            if (pair->assigned == pair->expected && index.InOrder(pair->ids)) {
                for (std::uint32_t i = 0; i < pair->assigned; ++i) out[i * width] = pair->values[i];
                continue;
            }
            for (std::uint32_t i = 0; i < pair->assigned; ++i) {
                const std::int64_t at = index.Find(static_cast<std::int64_t>(pair->ids[i]));
                if (at < 0) {
                    const bool points = location == Location::Points;
                    const std::string where = points ? "points" : "cells", other = points ? "cells" : "points";
                    throw Failure("the value of " + pair->component + " on " + pair->support + " for entity " +
                                  std::to_string(pair->ids[i]) + " names no " + (points ? "node" : "element") +
                                  " of the mesh (" +
                                  (options_.locations.count(pair->support) != 0
                                       ? "--location " + pair->support + "=" + where +
                                             " puts the support's values on the " + where
                                       : "the support's entity type " + std::to_string(support.entityType) +
                                             " puts its values on the " + where + "; --location " + pair->support +
                                             "=" + other + " puts them on the " + other) +
                                  ")");
                }
                out[static_cast<std::size_t>(at) * width] = pair->values[i];
            }
        }
        arrays.push_back({section, group.name, "Float64", static_cast<int>(width), values.data(), Bytes(values),
                          group.componentNames, group.unit});
    }
    return arrays;
}

std::uint64_t VtuWriter::Write(const Snapshot* snapshot, const std::string& path) const {
    std::vector<std::vector<double>> storage;
    std::vector<Array> arrays;
    const std::uint64_t nodeCount = mesh_.nodeIds.count;
    arrays.push_back({Array::PointData, "NodeId", "Int32", 1, mesh_.nodeIds.data, nodeCount * 4});
    arrays.push_back({Array::CellData, "ElementId", "Int32", 1,
                      cellIds_.empty() ? mesh_.elementIds.data : cellIds_.data(),
                      std::uint64_t{mesh_.CellCount()} * 4});
    if (snapshot != nullptr)
        for (Array& array : SnapshotArrays(*snapshot, storage)) arrays.push_back(std::move(array));
    arrays.push_back({Array::Points, "Points", "Float64", 3, points_.empty() ? mesh_.coordinates.data : points_.data(),
                      nodeCount * 24});
    const std::uint64_t cellCount = mesh_.CellCount();
    for (Array& array : CellArrays()) arrays.push_back(std::move(array));
    if (!faceOffsets_.empty()) {
        arrays.push_back({Array::Cells, "faces", "Int32", 1, faces_.data(), Bytes(faces_)});
        arrays.push_back({Array::Cells, "faceoffsets", "Int32", 1, faceOffsets_.data(), Bytes(faceOffsets_)});
    }
    std::stable_sort(arrays.begin(), arrays.end(),
                     [](const Array& a, const Array& b) { return a.section < b.section; });

    std::ostringstream xml;
    xml << "<?xml version=\"1.0\"?>\n"
        << "<VTKFile type=\"UnstructuredGrid\" version=\"1.0\" byte_order=\"LittleEndian\" header_type=\"UInt64\">\n"
        << "  <UnstructuredGrid>\n"
        << "    <Piece NumberOfPoints=\"" << nodeCount << "\" NumberOfCells=\"" << cellCount << "\">\n";
    // Each large array's bytes land in the file at the same place within a page as they
    // lie in memory (the header fills whole pages, the arrays are a page apart at most): the
    // kernel's copy into the page cache then runs as fast as for page-aligned data. The
    // bytes between two arrays make a padding block, [byte count][zeros], declared as an
    // array nested in the one that follows: readers of arrays skip it, and readers that
    // walk the appended data block by block (meshio) find a declared block at each offset.
    const char* const sections[] = {"PointData", "CellData", "Points", "Cells"};
    std::vector<std::uint64_t> gaps;
    std::uint64_t offset = 0;
    for (int section = Array::PointData; section <= Array::Cells; ++section) {
        xml << "      <" << sections[section] << ">\n";
        for (const Array& array : arrays) {
            if (array.section != section) continue;
            const auto address = reinterpret_cast<std::uintptr_t>(array.data);  // 0 for made values: page-aligned
            std::uint64_t gap = array.bytes < kAlignedFrom ? 0 : (address - (offset + sizeof(std::uint64_t))) % kPage;
            if (gap != 0 && gap < sizeof(std::uint64_t)) gap += kPage;  // room for the padding's byte count
            gaps.push_back(gap);
            xml << "        <DataArray type=\"" << array.type << "\" Name=\"" << Escaped(array.name) << "\"";
            if (array.components != 1) xml << " NumberOfComponents=\"" << array.components << "\"";
            for (std::size_t i = 0; i < array.componentNames.size(); ++i)
                xml << " ComponentName" << i << "=\"" << Escaped(array.componentNames[i]) << "\"";
            xml << " format=\"appended\" offset=\"" << offset + gap << "\"";
            if (array.unit.empty() && gap == 0) {
                xml << "/>\n";
            } else {
                xml << ">\n";
                if (gap != 0)
                    xml << "          <DataArray type=\"UInt8\" Name=\"padding\" format=\"appended\" offset=\""
                        << offset << "\"/>\n";
                if (!array.unit.empty())
                    xml << "          <InformationKey name=\"UNITS_LABEL\" location=\"vtkDataArray\">"
                        << Escaped(array.unit) << "</InformationKey>\n";
                xml << "        </DataArray>\n";
            }
            offset += gap + sizeof(std::uint64_t) + array.bytes;
        }
        xml << "      </" << sections[section] << ">\n";
    }
    xml << "    </Piece>\n  </UnstructuredGrid>\n  <AppendedData encoding=\"raw\">\n";
    std::string header = xml.str();
    header.resize((header.size() / kPage + 1) * kPage - 1, ' ');
    header += '_';

    static const char zeros[kPage] = {};
    PageBuffer buffer;
    const std::string trailer = "\n  </AppendedData>\n</VTKFile>\n";
    OutputFile file(path);
    file.Reserve(header.size() + offset + trailer.size());
    file.Write(header);
    for (std::size_t i = 0; i < arrays.size(); ++i) {
        const Array& array = arrays[i];
        if (array.section == Array::Cells && standard_.valid()) standard_.get();  // rethrows what resolving threw
        if (gaps[i] != 0) {
            const std::uint64_t padding = gaps[i] - sizeof padding;
            file.Write(&padding, sizeof padding);
            file.Write(zeros, padding);
        }
        file.Write(&array.bytes, sizeof array.bytes);
        if (array.data != nullptr) {
            file.Write(array.data, array.bytes);
            continue;
        }
        // Made in pieces of whole pages and whole tuples, in a page-aligned buffer.
        const std::uint64_t item = array.ItemBytes();
        const std::uint64_t piece = kPage * 64 / item * static_cast<std::uint64_t>(array.components);
        if (buffer.size() < piece * item) buffer = PageBuffer(piece * item);
        for (std::uint64_t first = 0, total = array.bytes / item; first < total; first += piece) {
            const std::uint64_t count = std::min(piece, total - first);
            array.make(first, count, buffer.data());
            file.Write(buffer.data(), count * item);
        }
    }
    file.Write(trailer);
    return file.Commit();
}

namespace {

std::string BaseName(const std::string& path) {
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string FolderOf(const std::string& path) {
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

std::string WithoutExtension(const std::string& path, const char* extension) {
    const std::size_t size = std::strlen(extension);
    return path.size() > size && path.compare(path.size() - size, size, extension) == 0
               ? path.substr(0, path.size() - size)
               : path;
}

// OUT without its ".vtu" or ".pvd" ending. Another extension of letters and digits
// (".vtk", ".xdmf", ".h5", ...) names a format the export does not write.
std::string OutputBase(const std::string& output) {
    const std::string name = BaseName(output);
    const auto dot = name.rfind('.');
    if (name.empty() || dot == std::string::npos || dot == 0) return output;
    const std::string extension = name.substr(dot + 1);
    std::string lower = extension;
    std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
    const std::string base = output.substr(0, output.size() - extension.size() - 1);
    if (lower == "vtu" || lower == "pvd") return base;
    if (!extension.empty() && std::isalpha(static_cast<unsigned char>(extension[0])) &&
        std::all_of(extension.begin(), extension.end(), [](unsigned char c) { return std::isalnum(c); }))
        throw UsageFailure("-o " + output + ": the export writes VTK XML unstructured grids (.vtu, and a .pvd for " +
                           "several snapshots), not ." + extension + " files; give -o " + base + " or -o " + base +
                           ".vtu");
    return output;
}

// Fails at once, before the files are read, when the output's folder takes no new file.
void CheckOutputFolder(const std::string& base) {
    const std::string folder = FolderOf(base);
    struct stat status {};
    const char* reason = nullptr;
    if (::stat(folder.c_str(), &status) != 0 || (S_ISDIR(status.st_mode) && ::access(folder.c_str(), W_OK | X_OK) != 0))
        reason = std::strerror(errno);
    else if (!S_ISDIR(status.st_mode))
        reason = "not a folder";
    if (reason != nullptr)
        throw OutputFailure("-o " + base + ": cannot write into the folder " + folder + ": " + reason);
}

// A snapshot of the series: its file, the name and the time step the collection gives it.
struct Step {
    std::string path, name, time;
};

// Shortest text that reads back as the same double.
std::string Number(double value) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value).ptr;
    return std::string(text, end);
}

// The snapshots given, in their order (time steps 0, 1, ...), or those of --cache, in
// the cache's order or, with --time, by that input parameter (time steps its values).
// current names the file being read.
std::vector<Step> Steps(const ExportOptions& options, std::string& current) {
    std::vector<Step> steps;
    const auto stem = [](const std::string& path) { return WithoutExtension(BaseName(path), ".romsnp"); };
    if (options.cache.empty()) {
        if (!options.time.empty())
            throw UsageFailure("--time " + options.time + " orders the snapshots of a cache: give --cache");
        for (std::size_t i = 0; i < options.snapshots.size(); ++i)
            steps.push_back({options.snapshots[i], stem(options.snapshots[i]), std::to_string(i)});
        return steps;
    }
    if (!options.snapshots.empty())
        throw UsageFailure("--cache " + options.cache + " gives the snapshots: name no snapshot file beside it");
    current = options.cache;
    const std::vector<CacheEntry> entries = LoadCache(options.cache);
    if (entries.empty()) throw Failure("the cache holds no entry");
    std::vector<std::pair<double, std::size_t>> order;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        double time = static_cast<double>(i);
        if (!options.time.empty()) {
            const auto& input = entries[i].input;
            const auto found =
                std::find_if(input.begin(), input.end(), [&](const Parameter& p) { return p.name == options.time; });
            if (found == input.end()) {
                std::string names;
                for (const Parameter& parameter : input) names += (names.empty() ? "" : ", ") + parameter.name;
                throw Failure("--time " + options.time + ": entry " + std::to_string(i) + " (" +
                              entries[i].snapshotFile + ") has no input parameter " + options.time +
                              "; its input parameters: " + (names.empty() ? "none" : names));
            }
            time = found->value;
        }
        order.emplace_back(time, i);
    }
    std::stable_sort(order.begin(), order.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    for (const auto& [time, i] : order) {
        const std::string& file = entries[i].snapshotFile;
        const std::string folder = FolderOf(options.cache);
        const std::string path = file.empty() || file[0] == '/' || folder == "." ? file : folder + "/" + file;
        steps.push_back({path, stem(file), options.time.empty() ? std::to_string(steps.size()) : Number(time)});
    }
    return steps;
}

// Whether the set-up describes the mesh: its mesh data configuration has the mesh's supports.
bool Describes(RomObject* setup, const Mesh& mesh) {
    RomObject *meshData = nullptr, *supports = nullptr;
    Check(RomSetupCfgGetMeshData(setup, &meshData), "RomSetupCfgGetMeshData");
    Check(RomMeshDataCfgGetSupportCfgs(meshData, &supports), "RomMeshDataCfgGetSupportCfgs");
    std::set<std::string> ids, meshIds;
    for (RomObject* support : Members(supports)) ids.insert(RomGetSolverId(support));
    for (const MeshSupport& support : mesh.supports) meshIds.insert(support.solverId);
    return ids == meshIds;
}

// The set-up whose fields name the arrays: --setup, or the one setup document among the
// configuration files of the mesh's folder that has the mesh's supports (none when there
// are several: a note says so).
std::vector<Field> SetupFields(const ExportOptions& options, const Mesh& mesh, std::string& current, std::ostream& out,
                               std::ostream& err) {
    std::string path = options.setup;
    if (path.empty()) {
        std::vector<std::string> found;
        std::error_code error;
        const std::string folder = FolderOf(options.mesh);
        const std::string extension = std::string(".") + RomGetConfigurationFileExtension();
        for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
            std::error_code ignored;
            if (entry.path().extension() != extension || !entry.is_regular_file(ignored)) continue;
            const std::string candidate = folder == "." && options.mesh.find('/') == std::string::npos
                                              ? entry.path().filename().string()
                                              : entry.path().string();
            try {
                Handle resumed;
                if (DetectKind(candidate, resumed) == FileKind::Setup && Describes(resumed.get(), mesh))
                    found.push_back(candidate);
            } catch (const std::exception&) {  // not a set-up of ours
            }
        }
        std::sort(found.begin(), found.end());
        if (found.size() > 1) {
            std::string names;
            for (const std::string& name : found) names += (names.empty() ? "" : ", ") + name;
            err << "tervikrom: " << options.mesh << ": note: several set-ups of the mesh beside it (" << names
                << "); give --setup to name the arrays after the fields of one\n";
        }
        if (found.size() != 1) return {};
        path = found.front();
    }
    current = path;
    Handle resumed;
    const FileKind kind = DetectKind(path, resumed);
    if (kind != FileKind::Setup) throw Failure(std::string("a ") + KindName(kind) + ", not a setup");
    std::vector<Field> fields = Fields(resumed.get());
    std::string names;
    for (const Field& field : fields) names += (names.empty() ? " " : ", ") + field.solverId;
    out << path << ": fields" << (names.empty() ? " none" : names) << "\n";
    return fields;
}

}  // namespace

int Export(const ExportOptions& options, std::ostream& out, std::ostream& err) {
    std::string current = options.mesh;
    try {
        const std::string base = OutputBase(options.output);
        const std::vector<Step> steps = Steps(options, current);
        CheckOutputFolder(base);
        const Mesh mesh = LoadMesh(options.mesh);
        for (const auto& location : options.locations)
            if (mesh.FindSupport(location.first) == nullptr) {
                std::string names;
                for (const MeshSupport& support : mesh.supports)
                    names += (names.empty() ? "" : ", ") + support.solverId;
                throw UsageFailure(options.mesh + ": --location names the support " + location.first +
                                   ", which the mesh does not have; its supports: " + (names.empty() ? "none" : names));
            }
        std::vector<Field> fields = SetupFields(options, mesh, current, out, err);
        current = options.mesh;
        const VtuWriter writer(mesh, options, std::move(fields));
        if (steps.size() <= 1) {
            std::optional<Snapshot> snapshot;
            if (!steps.empty()) snapshot.emplace(LoadSnapshot(current = steps.front().path));
            const std::string path = base + ".vtu";
            const std::uint64_t bytes = writer.Write(snapshot ? &*snapshot : nullptr, path);
            out << path << ": " << mesh.nodeIds.count << " points, " << mesh.CellCount() << " cells, " << bytes
                << " bytes\n";
            return 0;
        }
        std::ostringstream collection;
        collection
            << "<?xml version=\"1.0\"?>\n<VTKFile type=\"Collection\" version=\"0.1\" byte_order=\"LittleEndian\">\n"
            << "  <Collection>\n";
        for (std::size_t i = 0; i < steps.size(); ++i) {
            const Snapshot snapshot = LoadSnapshot(current = steps[i].path);
            const std::string path = base + "_" + std::to_string(i) + ".vtu";
            const std::uint64_t bytes = writer.Write(&snapshot, path);
            out << path << ": " << steps[i].path << ", " << bytes << " bytes\n";
            collection << "    <DataSet timestep=\"" << steps[i].time << "\" part=\"0\" file=\""
                       << Escaped(BaseName(path)) << "\" name=\"" << Escaped(steps[i].name) << "\"/>\n";
        }
        collection << "  </Collection>\n</VTKFile>\n";
        OutputFile pvd(base + ".pvd");
        pvd.Write(collection.str());
        pvd.Commit();
        out << base << ".pvd: " << steps.size() << " time steps\n";
        return 0;
    } catch (const UsageFailure& error) {
        err << "tervikrom: " << error.what() << "\n";
        return 2;
    } catch (const OutputFailure& error) {
        err << "tervikrom: " << error.what() << "\n";
        return 1;
    } catch (const MeshFailure& error) {
        err << "tervikrom: " << options.mesh << ": " << error.what() << "\n";
        return 1;
    } catch (const std::exception& error) {
        err << "tervikrom: " << current << ": " << error.what() << "\n";
        return 1;
    }
}

}  // namespace tervik::cli
