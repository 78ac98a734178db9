// The tervikrom command: what its subcommands share. Everything is read through the
// library's exported functions; only the version fields of a file's header (and the
// parameter names of a snapshot cache, which no export lists) are read from the file,
// through the same checks as the library's own reads.
#ifndef TERVIK_ROM_CLI_CLI_HPP
#define TERVIK_ROM_CLI_CLI_HPP

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <future>
#include <iosfwd>
#include <map>
#include <optional>
#include <unordered_map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <json/value.h>

#include <tervik/rom/rom.h>

namespace tervik::cli {

// A file that cannot be read, or an export that cannot be made; the text names the
// problem, the caller adds the file name.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};
// A mesh that cannot be exported, found out wherever the export stands.
struct MeshFailure : Failure {
    using Failure::Failure;
};
// An output that cannot be written; the text starts with the output's path.
struct OutputFailure : Failure {
    using Failure::Failure;
};
// Options that cannot be followed (exit status 2); the text names the option.
struct UsageFailure : Failure {
    using Failure::Failure;
};

// The library's text of a failed call on one line (its line breaks become blanks), the
// handle released; "" for success.
std::string Released(RomExceptionHandle error);
// Throws a Failure carrying the library's text (released here) after `what`.
void Check(RomExceptionHandle error, const char* what);

// The members of a container handle, in order.
std::vector<RomObject*> Members(RomObject* container);

struct Release {
    void operator()(RomObject* object) const { RomReleaseException(RomFactoryRelease(object)); }
};
using Handle = std::unique_ptr<RomObject, Release>;

// A factory function of rom.h, RomFactoryCreate...
using Factory = RomExceptionHandle (*)(RomObject**);

// A new object of the factory function's kind, resumed from path.
Handle Resumed(Factory create, const std::string& path);

// A string getter's text.
std::string Text(RomExceptionHandle (*get)(RomObject*, const char**), RomObject* object);

// ---- File kinds and their header ---------------------------------------------------

enum class FileKind { Setup, MeshDataCfg, SnapshotCfg, Mesh, Snapshot, Cache, Project };

// The name used in every output ("mesh", "snapshotConfiguration", ...).
const char* KindName(FileKind kind);
// The factory function that makes an object of the kind, and whether it is a configuration.
Factory FactoryOf(FileKind kind);
bool IsConfiguration(FileKind kind);
// The file extension of the kind, and the key of its JSON document (null for a binary kind).
const char* ExtensionOf(FileKind kind);
const char* DocumentKey(FileKind kind);

// A JSON document is read up to this size, and nested up to this depth (as deep as the
// library's reader goes).
inline constexpr std::uint64_t kDocumentLimit = std::uint64_t{1} << 30;
inline constexpr int kJsonNestingLimit = 1000;

// Throws a Failure unless path names a regular file (a FIFO or a device is refused
// without waiting on it), of at most kDocumentLimit bytes for a JSON document. Every file
// passes this before the library reads it.
void CheckInput(const std::string& path);

// The kind from the extension; a configuration document by the kind the library resumes
// it as, which `resumed` then holds (for the other kinds it stays empty).
FileKind DetectKind(const std::string& path, Handle& resumed);

// A JSON document file: its root object and, when read strictly, what the library lets
// pass but a strict reader does not (text after the root object, a key given twice).
struct Document {
    Json::Value root;
    std::string suspect;
};
Document ReadDocument(const std::string& path, bool strict);
Json::Value ParseDocument(const std::string& path);

// The size of a regular file, and a new file holding its first bytes (both checked as
// CheckInput checks).
std::uint64_t SizeOf(const std::string& path);
void CopyStart(const std::string& from, std::uint64_t bytes, const std::string& to);

// The version fields of the file: "fileVersion" of a JSON document, "frameVersion",
// "typeVersion" and "type" of a binary frame, and "productVersion" ("18.2") of both.
// A project's header is followed by its id, given as "id".
Json::Value ReadVersions(const std::string& path, FileKind kind);

// ---- Element kinds ------------------------------------------------------------------

// A standard element kind of the library (its place is its type code), its node count
// and its VTK cell: made of the first vtkNodes of its nodes, in the same order.
struct ElementKind {
    const char* name;
    std::int32_t nodes;
    std::uint8_t vtkType;
    std::int32_t vtkNodes;
};
inline constexpr ElementKind kElementKinds[] = {
#define TERVIK_CLI_KIND(name, code, nodeCount, vtkType, vtkNodes) {#name, nodeCount, vtkType, vtkNodes},
    TERVIK_ROM_ELEMENT_KINDS(TERVIK_CLI_KIND)
#undef TERVIK_CLI_KIND
};
inline constexpr std::int32_t kElementKindCount = sizeof kElementKinds / sizeof kElementKinds[0];
static_assert(
    [] {
        for (const ElementKind& kind : kElementKinds)
            if (kind.vtkType == 0 || kind.vtkNodes < 1 || kind.vtkNodes > kind.nodes) return false;
        return true;
    }(),
    "element_kinds.h: every element kind needs its VTK cell, of at most its own nodes");
inline constexpr std::uint8_t kVtkPolygon = 7;
inline constexpr std::uint8_t kVtkPolyhedron = 42;

inline const ElementKind* FindKind(std::int32_t code) {
    return code >= 0 && code < kElementKindCount ? &kElementKinds[code] : nullptr;
}

// The entity type code of supports of nodes, as the examples, the Python package's meshio
// import and the export use it: the export puts the values of such a support on the
// points, those of any other (elements, faces, ...) on the cells. The library gives the
// codes no meaning.
inline constexpr std::int32_t kNodeEntities = 1;

// ---- Resumed files as tables --------------------------------------------------------

// A table of the library: a view of count entries of live storage.
template <class T>
struct Table {
    const T* data = nullptr;
    std::uint32_t count = 0;
    const T& operator[](std::size_t i) const { return data[i]; }
};

struct MeshSupport {
    std::string solverId;
    std::string region;
    std::int32_t entityType = 0;
    Table<std::int32_t> entities;
};

// A mesh file resumed into a mesh data; the tables belong to it. Absent parts have
// count 0.
struct Mesh {
    Handle data;
    RomObject* configuration = nullptr;
    std::int32_t dimension = 0;
    Table<double> coordinates;  // node count x dimension
    Table<std::int32_t> nodeIds;
    Table<std::int32_t> types, elementIds, connectivity;
    Table<std::int32_t> polygonIds, polygonConnectivity;
    Table<std::int32_t> polyhedronIds, polyhedronConnectivity;
    std::vector<MeshSupport> supports;

    std::uint32_t CellCount() const { return elementIds.count + polygonIds.count + polyhedronIds.count; }
    const MeshSupport* FindSupport(const std::string& solverId) const;
};
Mesh LoadMesh(const std::string& path);

struct SnapshotPair {
    std::string component, support;
    std::uint32_t assigned = 0, expected = 0;
    std::uint32_t entities = 0;  // the entity count of the support in the snapshot's configuration
    Table<std::uint32_t> ids;    // the expected count of entries
    Table<double> values;
};

struct Snapshot {
    Handle data;
    bool filled = false;
    std::vector<SnapshotPair> pairs;  // in the snapshot's order: by support, then component
};
Snapshot LoadSnapshot(const std::string& path);

// A field of a set-up: its components and the supports it is given on, in order.
struct Field {
    std::string solverId, caption, quantity, unit;
    std::int32_t entityType = 0;
    std::vector<std::string> components, supports;
};
// The fields of a setup configuration handle.
std::vector<Field> Fields(RomObject* setup);

// An entry of a snapshot cache: its snapshot file as stored, and its input and output
// parameters in the document's order.
struct Parameter {
    std::string name;
    double value = 0;
};
struct CacheEntry {
    std::string snapshotFile;
    std::vector<Parameter> input, output;
};
// The library resumes the cache; the parameter names come from the document (no export
// lists them), and each value is read back through the entry the library finds.
std::vector<CacheEntry> LoadCache(const std::string& path);

// ---- References to nodes and cells -------------------------------------------------

// The smallest and the largest of some references.
struct ReferenceRange {
    std::int32_t low = INT32_MAX;
    std::int32_t high = INT32_MIN;
};
ReferenceRange RangeOf(const Table<std::int32_t>& references);

// Finds the index of a node or cell from a reference: an id of the id table, or (for
// connectivity read with --indices) the index itself. Returns -1 for a reference that
// names nothing.
class EntityIndex {
public:
    // ids: the ids in index order; indices: references are indices below ids.size().
    // Throws a Failure naming `what` when two entries share an id.
    EntityIndex(std::vector<const Table<std::int32_t>*> ids, bool indices, const char* what);

    std::int64_t Find(std::int64_t reference) const {
        if (offset_ != kNone) {
            const std::int64_t index = reference - offset_;
            return index >= 0 && index < size_ ? index : -1;
        }
        if (!dense_.empty()) {
            const std::int64_t slot = reference - base_;
            return slot >= 0 && slot < static_cast<std::int64_t>(dense_.size()) ? dense_[slot] : -1;
        }
        const auto found = sparse_.find(reference);
        return found == sparse_.end() ? -1 : found->second;
    }
    std::int64_t Size() const { return size_; }
    // The offset index = reference - offset, when there is one for every reference.
    std::optional<std::int64_t> Offset() const {
        return offset_ == kNone ? std::nullopt : std::optional<std::int64_t>(offset_);
    }
    // Whether the references give the indices 0, 1, ... Size() - 1 in this order.
    bool InOrder(const Table<std::uint32_t>& references) const {
        if (references.count != size_) return false;
        if (references.count == 0) return true;
        if (offset_ != kNone) {
            // In 32 bits, several at a time: the first and the last reference must fit them.
            if (offset_ < 0 || offset_ + size_ - 1 > INT64_C(0xFFFFFFFF)) return false;
            const auto first = static_cast<std::uint32_t>(offset_);
            std::uint32_t wrong = 0;
            for (std::uint32_t i = 0; i < references.count; ++i) wrong |= references.data[i] ^ (first + i);
            return wrong == 0;
        }
        for (std::uint32_t i = 0; i < references.count; ++i)
            if (Find(references[i]) != i) return false;
        return true;
    }

private:
    static constexpr std::int64_t kNone = INT64_MIN;
    std::int64_t size_ = 0;
    std::int64_t offset_ = kNone;  // index = reference - offset, when the ids ascend by one
    std::int64_t base_ = 0;
    std::vector<std::int32_t> dense_;  // index by reference - base, -1 for a gap
    std::unordered_map<std::int64_t, std::int64_t> sparse_;
};

// ---- Outputs ----------------------------------------------------------------------------

struct Pending;

// A file written under a temporary name made exclusively in the folder of path (never an
// existing name, never through a symbolic link) and renamed over path by Commit, so that
// path holds either what it held or the whole new file. A file not committed is removed,
// also when the process is stopped by a signal (RemoveOutputsOnSignals). A symbolic link
// at path is replaced, not followed.
class OutputFile {
public:
    explicit OutputFile(std::string path);
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile();
    void Write(const void* data, std::uint64_t bytes);
    void Write(const std::string& text) { Write(text.data(), text.size()); }
    // Sets aside bytes for the file in one step, its size unchanged (where the system can).
    void Reserve(std::uint64_t bytes);
    // Returns the bytes written.
    std::uint64_t Commit();

private:
    void Discard();
    std::string path_, temporary_;
    std::FILE* file_ = nullptr;
    Pending* pending_ = nullptr;
    std::uint64_t written_ = 0;
    bool committed_ = false;
};

// Makes SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE and SIGXFSZ remove the temporary files of
// the outputs being written before the process ends as the signal ends it.
void RemoveOutputsOnSignals();

// ---- Subcommands ---------------------------------------------------------------------

struct InfoOptions {
    std::vector<std::string> files;
    bool json = false;
    bool tables = false;
};
// Prints what each file holds; returns the exit status.
int Info(const InfoOptions& options, std::ostream& out, std::ostream& err);

struct ValidateOptions {
    std::vector<std::string> files;
    std::string mesh;
    bool indices = false;
};
int Validate(const ValidateOptions& options, std::ostream& out, std::ostream& err);

enum class Location { Points, Cells };

struct ExportOptions {
    std::string mesh;
    std::vector<std::string> snapshots;
    std::string output;
    bool indices = false;                       // connectivity references are node indices
    std::map<std::string, Location> locations;  // --location SUPPORT=points|cells
    std::string setup;                          // --setup; when empty, the one set-up in the mesh's folder, if one
    bool splitComponents = false;               // one array per component, as without a set-up
    std::string cache, time;                    // --cache CACHE [--time PARAMETER]: the snapshots of a cache
};
int Export(const ExportOptions& options, std::ostream& out, std::ostream& err);

// The unstructured grid of a resumed mesh: cells resolved once, then written with the
// arrays of any number of snapshots. Connectivity, offsets and faces are 32-bit. The
// cells of the standard elements are resolved by a thread of their own while Write
// writes the arrays that need no work (ids, points, values in mesh order). With fields,
// the components of a field on one support make one array named after the field.
class VtuWriter {
public:
    VtuWriter(const Mesh& mesh, const ExportOptions& options, std::vector<Field> fields = {});
    VtuWriter(const VtuWriter&) = delete;
    VtuWriter& operator=(const VtuWriter&) = delete;
    // Writes path (through a temporary file renamed over it); returns the bytes written.
    std::uint64_t Write(const Snapshot* snapshot, const std::string& path) const;

private:
    struct Array;
    struct Group;
    std::vector<Group> Groups(const Snapshot& snapshot) const;
    std::vector<Array> SnapshotArrays(const Snapshot& snapshot, std::vector<std::vector<double>>& storage) const;
    Location Locate(const MeshSupport& support) const;
    // Nodes and cells by id, for the entities of supports; built on first use, as ids
    // may repeat in a mesh exported without values.
    const EntityIndex& Nodes() const;
    const EntityIndex& Cells() const;
    std::int32_t Resolve(std::int32_t reference, const char* element, std::uint64_t index) const;
    void ResolveStandardElements(std::int32_t* out) const;
    std::vector<Array> CellArrays() const;
    std::uint8_t UserType(std::uint64_t cell) const;  // of a polygon or polyhedron

    const Mesh& mesh_;
    const ExportOptions& options_;
    const std::vector<Field> fields_;
    EntityIndex references_;  // nodes as connectivity names them: by id, or by index with --indices
    mutable std::optional<EntityIndex> nodes_, cells_;
    std::vector<double> points_;  // the coordinates padded to 3, when the mesh has fewer
    std::uint64_t connectivitySize_ = 0, standardSize_ = 0;
    bool trimmed_ = false;  // a kind whose VTK cell takes fewer nodes than it has (beams)
    // The references [first, second] that name nodes, node 0 the first, when the standard
    // elements' connectivity is their table shifted; the cells are then made while written.
    std::optional<std::pair<std::int32_t, std::int32_t>> shifted_;
    std::vector<std::int32_t> user_, userOffsets_;  // polygons' and polyhedrons' entries, after the standard ones
    // Otherwise resolved once into tables, left uninitialised until then.
    std::unique_ptr<std::int32_t[]> connectivity_, offsets_;
    std::unique_ptr<std::uint8_t[]> types_;
    std::vector<std::int32_t> faces_, faceOffsets_, cellIds_;
    std::shared_future<void> standard_;  // last: waited for before the tables go
};

// Walks a polygon (polyhedron = false) or polyhedron connectivity table, one slice per
// entry of ids: calls visit(element, start, length) for each element's slice, or returns
// a text naming the element and the entry where the slices stop adding up to the table
// ("" when they do): a node or face count past the table's end or not positive, or
// entries left over.
template <class Visit>
std::string WalkSlices(const Table<std::int32_t>& table, const Table<std::int32_t>& ids, bool polyhedron,
                       Visit&& visit) {
    using std::to_string;
    const std::string kind = polyhedron ? "polyhedron" : "polygon";
    const std::string end = " the " + kind + " connectivity table of " + to_string(table.count) + " entries";
    std::uint64_t at = 0;
    for (std::uint32_t element = 0; element < ids.count; ++element) {
        const auto name = [&] { return kind + " " + to_string(element) + " (id " + to_string(ids[element]) + ")"; };
        const std::uint64_t start = at;
        if (at >= table.count) return name() + " starts at entry " + to_string(at) + ", past the end of" + end;
        const std::int64_t parts = table[at++];
        if (parts <= 0)
            return name() + " has " + to_string(parts) + (polyhedron ? " faces" : " nodes") + " (entry " +
                   to_string(start) + ")";
        if (!polyhedron) {
            at += static_cast<std::uint64_t>(parts);
            if (at > table.count)
                return name() + " announces " + to_string(parts) + " nodes at entry " + to_string(start) +
                       ", past the end of" + end;
        }
        for (std::int64_t face = 0; polyhedron && face < parts; ++face) {
            if (at >= table.count)
                return name() + " announces " + to_string(parts) + " faces at entry " + to_string(start) + ", and" +
                       end + " ends after " + to_string(face) + " of them";
            const std::int64_t nodes = table[at];
            if (nodes <= 0)
                return name() + " face " + to_string(face) + " has " + to_string(nodes) + " nodes (entry " +
                       to_string(at) + ")";
            if ((at += 1 + static_cast<std::uint64_t>(nodes)) > table.count)
                return name() + " face " + to_string(face) + " announces " + to_string(nodes) +
                       " nodes, past the end of" + end;
        }
        visit(element, start, at - start);
    }
    if (at != table.count)
        return "the " + kind + " slices add up to " + to_string(at) + " entries, the configured connectivity size is " +
               to_string(table.count);
    return "";
}

}  // namespace tervik::cli

#endif
