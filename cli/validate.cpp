// `tervikrom validate`: each file read in full through the library, then checked for
// what its format implies, then saved again by the library and read back. Every finding
// names the file, the object and the first offending entries. Faults (what breaks a
// reader of the file) fail the file; what the library accepts but a writer of ours never
// writes is a warning.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <ostream>
#include <unordered_set>

#include <unistd.h>

#include "cli.hpp"

namespace tervik::cli {
namespace {

constexpr std::size_t kShown = 5;

class Findings {
public:
    Findings(std::ostream& err, std::string file) : err_(err), file_(std::move(file)) {}
    void Add(const std::string& object, const std::string& message) {
        err_ << file_ << ": " << object << ": " << message << "\n";
        ++faults_;
    }
    void Warn(const std::string& object, const std::string& message) {
        err_ << file_ << ": " << object << ": warning: " << message << "\n";
        ++warnings_;
    }
    int Faults() const { return faults_; }
    int Warnings() const { return warnings_; }

private:
    std::ostream& err_;
    std::string file_;
    int faults_ = 0, warnings_ = 0;
};

// Offending entries of one check: counted, the first few described.
class Offenders {
public:
    void Add(const std::string& entry) {
        if (shown_.size() < kShown) shown_.push_back(entry);
        ++count_;
    }
    void Report(Findings& findings, const std::string& object, const std::string& what, bool warning = false) const {
        if (count_ == 0) return;
        std::string text = std::to_string(count_) + " " + what + "; first: ";
        for (std::size_t i = 0; i < shown_.size(); ++i) text += (i == 0 ? "" : "; ") + shown_[i];
        if (warning)
            findings.Warn(object, text);
        else
            findings.Add(object, text);
    }

private:
    std::vector<std::string> shown_;
    std::uint64_t count_ = 0;
};

void CheckConfiguration(RomObject* configuration, Findings& findings, const char* object) {
    const std::string inconsistency = Released(RomConfigurationCheck(configuration));
    if (!inconsistency.empty()) findings.Add(object, inconsistency);
}

std::string Reference(std::int32_t node) { return "node " + std::to_string(node); }

void CheckMesh(const Mesh& mesh, bool indices, Findings& findings) {
    CheckConfiguration(mesh.configuration, findings, "configuration");
    std::optional<EntityIndex> nodes;
    try {
        nodes.emplace(std::vector<const Table<std::int32_t>*>{&mesh.nodeIds}, indices, "nodes");
    } catch (const Failure& duplicate) {
        findings.Add("node ids", duplicate.what());
    }

    // Standard elements: known kinds whose node counts fill the connectivity table.
    Offenders unknown, references;
    std::uint64_t used = 0;
    for (std::uint32_t e = 0; e < mesh.types.count; ++e) {
        const ElementKind* kind = FindKind(mesh.types[e]);
        if (kind == nullptr) {
            unknown.Add("element " + std::to_string(e) + " (id " + std::to_string(mesh.elementIds[e]) + ") has code " +
                        std::to_string(mesh.types[e]));
            continue;
        }
        for (std::int32_t k = 0; nodes && k < kind->nodes && used + k < mesh.connectivity.count; ++k)
            if (nodes->Find(mesh.connectivity[used + k]) < 0)
                references.Add("element " + std::to_string(e) + " (id " + std::to_string(mesh.elementIds[e]) + ", " +
                               kind->name + ") entry " + std::to_string(k) + " names " +
                               Reference(mesh.connectivity[used + k]));
        used += static_cast<std::uint64_t>(kind->nodes);
    }
    unknown.Report(findings, "standard elements", "elements of unknown type codes (0 to 16 are known)");
    if (used != mesh.connectivity.count)
        findings.Add("standard elements", "the node counts of their kinds add up to " + std::to_string(used) +
                                              " entries, the connectivity table holds " +
                                              std::to_string(mesh.connectivity.count));
    references.Report(findings, "standard elements", "references to no node");

    // Polygons and polyhedrons: slices that add up to the table, nodes that exist.
    const std::pair<const char*, bool> userKinds[] = {{"polygons", false}, {"polyhedrons", true}};
    for (const auto& userKind : userKinds) {
        const char* const name = userKind.first;  // not bindings: lambdas capture them only from C++20
        const bool polyhedron = userKind.second;
        const Table<std::int32_t>& table = polyhedron ? mesh.polyhedronConnectivity : mesh.polygonConnectivity;
        const Table<std::int32_t>& ids = polyhedron ? mesh.polyhedronIds : mesh.polygonIds;
        Offenders missing;
        const std::string broken =
            WalkSlices(table, ids, polyhedron, [&](std::uint32_t element, std::uint64_t start, std::uint64_t length) {
                // Entry counts (the face count and each face's node count) are skipped.
                std::uint64_t nextCount = start + (polyhedron ? 1 : 0);
                for (std::uint64_t at = start + 1; nodes && at < start + length; ++at) {
                    if (polyhedron && at == nextCount) {
                        nextCount += 1 + static_cast<std::uint64_t>(table[at]);
                        continue;
                    }
                    if (nodes->Find(table[at]) < 0)
                        missing.Add(std::string(name, std::strlen(name) - 1) + " " + std::to_string(element) + " (id " +
                                    std::to_string(ids[element]) + ") entry " + std::to_string(at) + " names " +
                                    Reference(table[at]));
                }
            });
        if (!broken.empty()) findings.Add(name, broken);
        missing.Report(findings, name, "references to no node");
    }

    // Support entities: ids of the mesh's nodes or elements. Entity types have no meaning
    // to the library, so another id (of a face, say) is only suspect.
    std::optional<EntityIndex> nodeIds, cellIds;
    try {
        nodeIds.emplace(std::vector<const Table<std::int32_t>*>{&mesh.nodeIds}, false, "nodes");
        cellIds.emplace(
            std::vector<const Table<std::int32_t>*>{&mesh.elementIds, &mesh.polygonIds, &mesh.polyhedronIds}, false,
            "elements");
    } catch (const Failure& duplicate) {
        if (nodeIds) findings.Warn("element ids", duplicate.what());
    }
    for (const MeshSupport& support : mesh.supports) {
        Offenders strangers;
        for (std::uint32_t i = 0; nodeIds && cellIds && i < support.entities.count; ++i)
            if (nodeIds->Find(support.entities[i]) < 0 && cellIds->Find(support.entities[i]) < 0)
                strangers.Add("entity " + std::to_string(i) + " has id " + std::to_string(support.entities[i]));
        strangers.Report(findings, "support " + support.solverId, "entities that are neither node ids nor element ids",
                         true);
    }
}

void CheckSnapshot(const Snapshot& snapshot, const Mesh* mesh, const std::string& meshPath, Findings& findings) {
    RomObject* configuration = nullptr;
    Check(RomSnapshotGetConfiguration(snapshot.data.get(), &configuration), "RomSnapshotGetConfiguration");
    CheckConfiguration(configuration, findings, "configuration");
    for (const auto& pair : snapshot.pairs) {
        const std::string object = "component " + pair.component + " on support " + pair.support;
        if (pair.expected != pair.entities)
            findings.Add(object, "the file holds " + std::to_string(pair.expected) +
                                     " values, the configuration's support " + "has " + std::to_string(pair.entities) +
                                     " entities");
        if (pair.assigned != pair.expected)
            findings.Add(object, std::to_string(pair.assigned) + " of " + std::to_string(pair.expected) + " values");
        std::vector<std::uint32_t> sorted(pair.ids.data, pair.ids.data + pair.assigned);
        std::sort(sorted.begin(), sorted.end());
        Offenders repeated;
        for (std::size_t i = 1; i < sorted.size(); ++i)
            if (sorted[i] == sorted[i - 1] && (i == 1 || sorted[i - 2] != sorted[i]))
                repeated.Add("id " + std::to_string(sorted[i]));
        repeated.Report(findings, object, "ids given more than once");
        if (mesh == nullptr) continue;
        const MeshSupport* support = mesh->FindSupport(pair.support);
        if (support == nullptr) {
            findings.Add(object, "the mesh " + meshPath + " has no support " + pair.support);
            continue;
        }
        const std::unordered_set<std::int64_t> entities(support->entities.data,
                                                        support->entities.data + support->entities.count);
        Offenders strangers;
        for (std::uint32_t i = 0; i < pair.assigned; ++i)
            if (entities.count(pair.ids[i]) == 0)
                strangers.Add("value " + std::to_string(i) + " has id " + std::to_string(pair.ids[i]));
        strangers.Report(findings, object, "ids that are not entities of the mesh's support " + pair.support, true);
    }
}

// ---- Read back: the library saves what it read and reads that again --------------------

// A folder of our own under $TMPDIR, removed with what it holds.
class ScratchFolder {
public:
    ScratchFolder() {
        const char* tmp = std::getenv("TMPDIR");
        std::string pattern = std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/tervikrom-validate.XXXXXX";
        if (::mkdtemp(pattern.data()) == nullptr)
            throw Failure("cannot make a folder under " + pattern.substr(0, pattern.rfind('/')));
        path_ = pattern;
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    ~ScratchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    std::string File(const std::string& name, FileKind kind) const {
        return path_ + "/" + name + "." + ExtensionOf(kind);
    }

private:
    std::string path_;
};

std::string Resumes(FileKind kind, const std::string& path) {
    try {
        Resumed(FactoryOf(kind), path);
        return "";
    } catch (const Failure& failure) {
        return failure.what();
    }
}

// Where two JSON values first differ ("" when they are equal); numbers by value.
std::string FirstDifference(const Json::Value& file, const Json::Value& saved, const std::string& where) {
    if (file.isNumeric() && saved.isNumeric()) {
        const bool same = file.isIntegral() && saved.isIntegral()
                              ? (file.isInt64() && saved.isInt64()
                                     ? file.asInt64() == saved.asInt64()
                                     : file.isUInt64() && saved.isUInt64() && file.asUInt64() == saved.asUInt64())
                              : file.asDouble() == saved.asDouble();
        return same ? "" : where;
    }
    if (file.type() != saved.type()) return where;
    if (file.isArray()) {
        if (file.size() != saved.size())
            return where + " (" + std::to_string(file.size()) + " entries, written back as " +
                   std::to_string(saved.size()) + ")";
        for (Json::ArrayIndex i = 0; i < file.size(); ++i) {
            std::string found = FirstDifference(file[i], saved[i], where + "/" + std::to_string(i));
            if (!found.empty()) return found;
        }
        return "";
    }
    if (file.isObject()) {
        for (const std::string& name : file.getMemberNames()) {
            if (!saved.isMember(name)) return where + "/" + name + " (not written back)";
            std::string found = FirstDifference(file[name], saved[name], where + "/" + name);
            if (!found.empty()) return found;
        }
        for (const std::string& name : saved.getMemberNames())
            if (!file.isMember(name)) return where + "/" + name + " (not in the file)";
        return "";
    }
    return file == saved ? "" : where;
}

// A JSON document: what a strict reader refuses, members nobody reads, and content the
// library writes back otherwise.
void CompareDocuments(const std::string& path, const std::string& saved, FileKind kind, Findings& findings) {
    const Document file = ReadDocument(path, true);
    if (!file.suspect.empty()) findings.Warn("file", "a strict JSON reader refuses it: " + file.suspect);
    const std::string key = DocumentKey(kind);
    for (const std::string& name : file.root.getMemberNames())
        if (name != key && name != "version" && name != "loomsteadVersion")
            findings.Warn("file", "the member \"" + name + "\" is read by nobody");
    const std::string difference = FirstDifference(file.root[key], ParseDocument(saved)[key], "/" + key);
    if (!difference.empty())
        findings.Warn("file", "the library writes what it read back otherwise, from " + difference + " on");
}

// A binary file: what the library saves of it takes as many bytes (the texts it writes
// anew, internal ids, keep their lengths). Fewer: when the file's first bytes alone
// resume, the rest is read by nobody.
void CompareSizes(const std::string& path, const std::string& saved, FileKind kind, const ScratchFolder& folder,
                  Findings& findings) {
    const std::uint64_t size = SizeOf(path), written = SizeOf(saved);
    if (size == written) return;
    if (written < size) {
        const std::string start = folder.File("start", kind);
        CopyStart(path, written, start);
        if (Resumes(kind, start).empty()) {
            findings.Warn("file",
                          std::to_string(size - written) + " bytes after the object, which the library does not read");
            return;
        }
    }
    findings.Warn("file", "the library saves what it read in " + std::to_string(written) + " bytes, the file holds " +
                              std::to_string(size) + ": a part of it is not read as it is written (a record skipped, " +
                              "of another version, say)");
}

// The object is released once saved, before its copy is read. What cannot be checked for
// want of room or rights under $TMPDIR is a warning.
void ReadBack(Handle object, FileKind kind, const std::string& path, Findings& findings) try {
    const ScratchFolder folder;
    const std::string saved = folder.File("saved", kind);
    const std::string refused = Released(RomPersistableSave(object.get(), saved.c_str()));
    object.reset();
    if (!refused.empty()) {
        findings.Warn("file", "the library does not save what it read of it again: " + refused);
        return;
    }
    const std::string unread = Resumes(kind, saved);
    if (!unread.empty())
        findings.Add("file", "the library reads it, saves it again and cannot read that back: " + unread);
    if (DocumentKey(kind) != nullptr)
        CompareDocuments(path, saved, kind, findings);
    else
        CompareSizes(path, saved, kind, folder, findings);
} catch (const Failure& failure) {
    findings.Warn("file", std::string("not read back: ") + failure.what());
}

}  // namespace

int Validate(const ValidateOptions& options, std::ostream& out, std::ostream& err) {
    std::optional<Mesh> mesh;
    if (!options.mesh.empty()) {
        try {
            mesh.emplace(LoadMesh(options.mesh));
        } catch (const std::exception& error) {
            err << "tervikrom: " << options.mesh << ": " << error.what() << "\n";
            return 1;
        }
    }
    int status = 0;
    for (const std::string& path : options.files) {
        Findings findings(err, path);
        try {
            Handle resumed;
            const FileKind kind = DetectKind(path, resumed);
            if (kind == FileKind::Mesh) {
                Mesh read = LoadMesh(path);
                CheckMesh(read, options.indices, findings);
                ReadBack(std::move(read.data), kind, path, findings);
            } else if (kind == FileKind::Snapshot) {
                Snapshot read = LoadSnapshot(path);
                CheckSnapshot(read, mesh ? &*mesh : nullptr, options.mesh, findings);
                ReadBack(std::move(read.data), kind, path, findings);
            } else {
                if (!resumed) resumed = Resumed(FactoryOf(kind), path);
                if (IsConfiguration(kind)) CheckConfiguration(resumed.get(), findings, "configuration");
                ReadBack(std::move(resumed), kind, path, findings);
            }
        } catch (const std::exception& error) {
            findings.Add("file", error.what());
        }
        if (findings.Faults() != 0) {
            status = 1;
        } else {
            out << path << ": valid";
            if (findings.Warnings() != 0)
                out << " (" << findings.Warnings() << (findings.Warnings() == 1 ? " warning)" : " warnings)");
            out << "\n";
        }
    }
    return status;
}

}  // namespace tervik::cli
