// `tervikrom export`: a mesh and its snapshots as VTK XML unstructured grids (raw
// appended data, 64-bit headers), one ".vtu" per snapshot and a ".pvd" collection
// when there are several.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <ostream>
#include <sstream>

#include "cli.hpp"

namespace tervik::cli {

// One array of the appended data: its XML attributes and its bytes, wherever they live.
struct VtuWriter::Array {
    enum Section { PointData, CellData, Points, Cells } section;
    std::string name;
    const char* type;
    int components;
    const void* data;
    std::uint64_t bytes;
};

namespace {

constexpr std::uint64_t kPage = 4096;

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
            case '&': out += "&amp;"; break;
            case '<': out += "&lt;"; break;
            case '>': out += "&gt;"; break;
            case '"': out += "&quot;"; break;
            default: out += c;
        }
    }
    return out;
}

}  // namespace

VtuWriter::VtuWriter(const Mesh& mesh, const ExportOptions& options)
    : mesh_(mesh), options_(options), references_({&mesh.nodeIds}, options.indices, "nodes") {
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
    std::vector<std::int32_t> user, userOffsets;
    const Table<std::int32_t>& polygons = mesh.polygonConnectivity;
    failed(WalkSlices(polygons, mesh.polygonIds, false, [&](std::uint32_t element, std::uint64_t start, std::uint64_t length) {
        for (std::uint64_t at = start + 1; at < start + length; ++at) user.push_back(Resolve(polygons[at], "polygon", element));
        userOffsets.push_back(Narrow(standardSize_ + user.size(), "connectivity entries"));
    }));
    const Table<std::int32_t>& polyhedrons = mesh.polyhedronConnectivity;
    const std::uint32_t cellCount = mesh.CellCount();
    if (mesh.polyhedronIds.count != 0) {
        faceOffsets_.assign(cellCount, -1);
        faces_.reserve(polyhedrons.count);
    }
    std::uint32_t cell = mesh.elementIds.count + mesh.polygonIds.count;
    failed(WalkSlices(polyhedrons, mesh.polyhedronIds, true, [&](std::uint32_t element, std::uint64_t start, std::uint64_t length) {
        const std::size_t first = user.size();
        faces_.push_back(polyhedrons[start]);
        for (std::uint64_t at = start + 1; at < start + length;) {
            const std::int32_t count = polyhedrons[at++];
            faces_.push_back(count);
            for (std::int32_t k = 0; k < count; ++k, ++at) {
                const std::int32_t node = Resolve(polyhedrons[at], "polyhedron", element);
                faces_.push_back(node);
                if (std::find(user.begin() + static_cast<std::ptrdiff_t>(first), user.end(), node) == user.end())
                    user.push_back(node);
            }
        }
        userOffsets.push_back(Narrow(standardSize_ + user.size(), "connectivity entries"));
        faceOffsets_[cell++] = Narrow(faces_.size(), "face entries");
    }));

    connectivitySize_ = standardSize_ + user.size();
    Narrow(connectivitySize_, "connectivity entries");
    connectivity_.reset(new std::int32_t[connectivitySize_]);
    offsets_.reset(new std::int32_t[cellCount]);
    types_.reset(new std::uint8_t[cellCount]);
    std::copy(user.begin(), user.end(), connectivity_.get() + standardSize_);
    std::copy(userOffsets.begin(), userOffsets.end(), offsets_.get() + mesh.elementIds.count);
    std::fill(types_.get() + mesh.elementIds.count, types_.get() + mesh.elementIds.count + mesh.polygonIds.count, kVtkPolygon);
    std::fill(types_.get() + mesh.elementIds.count + mesh.polygonIds.count, types_.get() + cellCount, kVtkPolyhedron);

    if (mesh.polygonIds.count + mesh.polyhedronIds.count != 0) {
        cellIds_.reserve(cellCount);
        for (const auto* ids : {&mesh.elementIds, &mesh.polygonIds, &mesh.polyhedronIds})
            cellIds_.insert(cellIds_.end(), ids->data, ids->data + ids->count);
    }
    standard_ = std::async(std::launch::async, [this] { ResolveStandardElements(); }).share();
}

std::int32_t VtuWriter::Resolve(std::int32_t reference, const char* element, std::uint64_t index) const {
    const std::int64_t node = references_.Find(reference);
    if (node < 0)
        throw MeshFailure(std::string(element) + " " + std::to_string(index) + " names node " + std::to_string(reference) +
                      ", which the mesh does not hold" +
                      (options_.indices ? "" : " (give --indices if references are node indices)"));
    return static_cast<std::int32_t>(node);
}

// The first vtkNodes of each element's nodes, in order. When every kind keeps all its
// nodes and node ids ascend by one (or references are indices), the connectivity is the
// table shifted by one offset, checked in the same pass.
void VtuWriter::ResolveStandardElements() {
    const Table<std::int32_t>& table = mesh_.connectivity;
    std::int32_t* out = connectivity_.get();
    const std::optional<std::int64_t> offset = references_.Offset();
    bool resolved = false;
    if (!trimmed_ && offset) {
        const std::uint64_t size = static_cast<std::uint64_t>(references_.Size());
        bool outside = false;
        for (std::uint64_t i = 0; i < standardSize_; ++i) {
            const std::int64_t node = table[i] - *offset;
            outside |= static_cast<std::uint64_t>(node) >= size;
            out[i] = static_cast<std::int32_t>(node);
        }
        resolved = !outside;
    }
    std::uint64_t used = 0, written = 0;
    for (std::uint32_t e = 0; e < mesh_.types.count; ++e) {
        const ElementKind& kind = kElementKinds[mesh_.types[e]];
        if (!resolved)
            for (std::int32_t k = 0; k < kind.vtkNodes; ++k)
                out[written + static_cast<std::uint64_t>(k)] = Resolve(table[used + static_cast<std::uint64_t>(k)], "standard element", e);
        used += static_cast<std::uint64_t>(kind.nodes);
        written += static_cast<std::uint64_t>(kind.vtkNodes);
        offsets_[e] = static_cast<std::int32_t>(written);
        types_[e] = kind.vtkType;
    }
}

const EntityIndex& VtuWriter::Nodes() const {
    if (!options_.indices) return references_;
    if (!nodes_) nodes_.emplace(std::vector<const Table<std::int32_t>*>{&mesh_.nodeIds}, false, "nodes");
    return *nodes_;
}

const EntityIndex& VtuWriter::Cells() const {
    if (!cells_) cells_.emplace(std::vector<const Table<std::int32_t>*>{&mesh_.elementIds, &mesh_.polygonIds, &mesh_.polyhedronIds},
                                false, "elements");
    return *cells_;
}

// Points when every entity of the support names a node and not every one names a cell;
// cells in the opposite case; --location decides the others.
Location VtuWriter::Locate(const MeshSupport& support) const {
    const auto chosen = options_.locations.find(support.solverId);
    if (chosen != options_.locations.end()) return chosen->second;
    const ReferenceRange range = RangeOf(support.entities);
    const bool nodes = Nodes().HoldsAll(support.entities, range), elements = Cells().HoldsAll(support.entities, range);
    if (nodes != elements) return nodes ? Location::Points : Location::Cells;
    const std::string option = "--location " + support.solverId + "=points or --location " + support.solverId + "=cells";
    if (nodes)
        throw Failure("every entity of the support " + support.solverId + " names a node and an element alike; give " + option);
    throw Failure("the entity ids of the support " + support.solverId +
                  " are neither all node ids nor all element ids of the mesh; give " + option);
}

std::vector<VtuWriter::Array> VtuWriter::SnapshotArrays(const Snapshot& snapshot,
                                                         std::vector<std::vector<double>>& storage) const {
    std::vector<Array> arrays;
    std::map<std::string, Location> located;  // the components of one support share its location
    storage.reserve(snapshot.pairs.size());
    for (const auto& pair : snapshot.pairs) {
        const MeshSupport* support = mesh_.FindSupport(pair.support);
        if (support == nullptr) throw Failure("the mesh has no support " + pair.support + " for the values of " + pair.component);
        auto found = located.find(pair.support);
        if (found == located.end()) found = located.emplace(pair.support, Locate(*support)).first;
        const Location location = found->second;
        const EntityIndex& index = location == Location::Points ? Nodes() : Cells();
        const std::string name = pair.component + "@" + pair.support;
        const auto section = location == Location::Points ? Array::PointData : Array::CellData;
        if (pair.assigned == pair.expected && index.InOrder(pair.ids)) {  // the values as they are
            arrays.push_back({section, name, "Float64", 1, pair.values.data, std::uint64_t{pair.assigned} * 8});
            continue;
        }
        std::vector<double>& values = storage.emplace_back(static_cast<std::size_t>(index.Size()),
                                                           std::numeric_limits<double>::quiet_NaN());
        for (std::uint32_t i = 0; i < pair.assigned; ++i) {
            const std::int64_t at = index.Find(static_cast<std::int64_t>(pair.ids[i]));
            if (at < 0)
                throw Failure("the value of " + pair.component + " on " + pair.support + " for entity " +
                              std::to_string(pair.ids[i]) + " names no " + (location == Location::Points ? "node" : "element") +
                              " of the mesh");
            values[static_cast<std::size_t>(at)] = pair.values[i];
        }
        arrays.push_back({section, name, "Float64", 1, values.data(), Bytes(values)});
    }
    return arrays;
}

std::uint64_t VtuWriter::Write(const Snapshot* snapshot, const std::string& path) const {
    std::vector<std::vector<double>> storage;
    std::vector<Array> arrays;
    const std::uint64_t nodeCount = mesh_.nodeIds.count;
    arrays.push_back({Array::PointData, "NodeId", "Int32", 1, mesh_.nodeIds.data, nodeCount * 4});
    arrays.push_back({Array::CellData, "ElementId", "Int32", 1, cellIds_.empty() ? mesh_.elementIds.data : cellIds_.data(),
                      std::uint64_t{mesh_.CellCount()} * 4});
    if (snapshot != nullptr)
        for (Array& array : SnapshotArrays(*snapshot, storage)) arrays.push_back(std::move(array));
    arrays.push_back({Array::Points, "Points", "Float64", 3, points_.empty() ? mesh_.coordinates.data : points_.data(),
                      nodeCount * 24});
    const std::uint64_t cellCount = mesh_.CellCount();
    arrays.push_back({Array::Cells, "connectivity", "Int32", 1, connectivity_.get(), connectivitySize_ * 4});
    arrays.push_back({Array::Cells, "offsets", "Int32", 1, offsets_.get(), cellCount * 4});
    arrays.push_back({Array::Cells, "types", "UInt8", 1, types_.get(), cellCount});
    if (!faceOffsets_.empty()) {
        arrays.push_back({Array::Cells, "faces", "Int32", 1, faces_.data(), Bytes(faces_)});
        arrays.push_back({Array::Cells, "faceoffsets", "Int32", 1, faceOffsets_.data(), Bytes(faceOffsets_)});
    }
    std::stable_sort(arrays.begin(), arrays.end(), [](const Array& a, const Array& b) { return a.section < b.section; });

    std::ostringstream xml;
    xml << "<?xml version=\"1.0\"?>\n"
        << "<VTKFile type=\"UnstructuredGrid\" version=\"1.0\" byte_order=\"LittleEndian\" header_type=\"UInt64\">\n"
        << "  <UnstructuredGrid>\n"
        << "    <Piece NumberOfPoints=\"" << nodeCount << "\" NumberOfCells=\"" << cellCount << "\">\n";
    // Each array's bytes land in the file at the same place within a page as they lie in
    // memory (the header fills whole pages, the gaps between arrays are zeros): the
    // kernel's copy into the page cache then runs as fast as for page-aligned data.
    const char* const sections[] = {"PointData", "CellData", "Points", "Cells"};
    std::vector<std::uint64_t> gaps;
    std::uint64_t offset = 0;
    for (int section = Array::PointData; section <= Array::Cells; ++section) {
        xml << "      <" << sections[section] << ">\n";
        for (const Array& array : arrays) {
            if (array.section != section) continue;
            const auto address = reinterpret_cast<std::uintptr_t>(array.data);
            gaps.push_back((address - (offset + sizeof(std::uint64_t))) % kPage);
            offset += gaps.back();
            xml << "        <DataArray type=\"" << array.type << "\" Name=\"" << Escaped(array.name) << "\"";
            if (array.components != 1) xml << " NumberOfComponents=\"" << array.components << "\"";
            xml << " format=\"appended\" offset=\"" << offset << "\"/>\n";
            offset += sizeof(std::uint64_t) + array.bytes;
        }
        xml << "      </" << sections[section] << ">\n";
    }
    xml << "    </Piece>\n  </UnstructuredGrid>\n  <AppendedData encoding=\"raw\">\n";
    std::string header = xml.str();
    header.resize((header.size() / kPage + 1) * kPage - 1, ' ');
    header += '_';

    static const char zeros[kPage] = {};
    const std::string trailer = "\n  </AppendedData>\n</VTKFile>\n";
    OutputFile file(path);
    file.Reserve(header.size() + offset + trailer.size());
    file.Write(header);
    for (std::size_t i = 0; i < arrays.size(); ++i) {
        const Array& array = arrays[i];
        if (array.section == Array::Cells) standard_.get();  // rethrows what resolving threw
        file.Write(zeros, gaps[i]);
        file.Write(&array.bytes, sizeof array.bytes);
        file.Write(array.data, array.bytes);
    }
    file.Write(trailer);
    return file.Commit();
}

namespace {

std::string WithoutExtension(const std::string& path, std::initializer_list<const char*> extensions) {
    for (const std::string extension : extensions)
        if (path.size() > extension.size() && path.compare(path.size() - extension.size(), extension.size(), extension) == 0)
            return path.substr(0, path.size() - extension.size());
    return path;
}

std::string BaseName(const std::string& path) {
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

}  // namespace

int Export(const ExportOptions& options, std::ostream& out, std::ostream& err) {
    std::string current = options.mesh;
    try {
        const Mesh mesh = LoadMesh(options.mesh);
        const VtuWriter writer(mesh, options);
        const std::string base = WithoutExtension(options.output, {".vtu", ".pvd"});
        if (options.snapshots.size() <= 1) {
            std::optional<Snapshot> snapshot;
            if (!options.snapshots.empty()) snapshot.emplace(LoadSnapshot(current = options.snapshots.front()));
            const std::string path = base + ".vtu";
            const std::uint64_t bytes = writer.Write(snapshot ? &*snapshot : nullptr, path);
            out << path << ": " << mesh.nodeIds.count << " points, " << mesh.CellCount() << " cells, " << bytes
                << " bytes\n";
            return 0;
        }
        std::ostringstream collection;
        collection << "<?xml version=\"1.0\"?>\n<VTKFile type=\"Collection\" version=\"0.1\" byte_order=\"LittleEndian\">\n"
                   << "  <Collection>\n";
        for (std::size_t i = 0; i < options.snapshots.size(); ++i) {
            const Snapshot snapshot = LoadSnapshot(current = options.snapshots[i]);
            const std::string path = base + "_" + std::to_string(i) + ".vtu";
            const std::uint64_t bytes = writer.Write(&snapshot, path);
            out << path << ": " << options.snapshots[i] << ", " << bytes << " bytes\n";
            collection << "    <DataSet timestep=\"" << i << "\" part=\"0\" file=\"" << Escaped(BaseName(path))
                       << "\" name=\"" << Escaped(WithoutExtension(BaseName(options.snapshots[i]), {".romsnp"})) << "\"/>\n";
        }
        collection << "  </Collection>\n</VTKFile>\n";
        OutputFile pvd(current = base + ".pvd");
        pvd.Write(collection.str());
        pvd.Commit();
        out << current << ": " << options.snapshots.size() << " time steps\n";
        return 0;
    } catch (const MeshFailure& error) {
        err << "tervikrom: " << options.mesh << ": " << error.what() << "\n";
        return 1;
    } catch (const std::exception& error) {
        err << "tervikrom: " << current << ": " << error.what() << "\n";
        return 1;
    }
}

}  // namespace tervik::cli
