// `tervikrom validate`: each file read in full through the library, then checked for
// what its format implies. Every finding names the file, the object and the first
// offending entries.
#include <algorithm>
#include <ostream>
#include <unordered_set>

#include "cli.hpp"

namespace tervik::cli {
namespace {

constexpr std::size_t kShown = 5;

class Findings {
public:
    Findings(std::ostream& err, std::string file) : err_(err), file_(std::move(file)) {}
    void Add(const std::string& object, const std::string& message) {
        err_ << file_ << ": " << object << ": " << message << "\n";
        ++count_;
    }
    int Count() const { return count_; }

private:
    std::ostream& err_;
    std::string file_;
    int count_ = 0;
};

// Offending entries of one check: counted, the first few described.
class Offenders {
public:
    void Add(const std::string& entry) {
        if (shown_.size() < kShown) shown_.push_back(entry);
        ++count_;
    }
    void Report(Findings& findings, const std::string& object, const std::string& what) const {
        if (count_ == 0) return;
        std::string text = std::to_string(count_) + " " + what + "; first: ";
        for (std::size_t i = 0; i < shown_.size(); ++i) text += (i == 0 ? "" : "; ") + shown_[i];
        findings.Add(object, text);
    }

private:
    std::vector<std::string> shown_;
    std::uint64_t count_ = 0;
};

void CheckConfiguration(RomObject* configuration, Findings& findings, const char* object) {
    if (RomExceptionHandle error = RomConfigurationCheck(configuration)) {
        findings.Add(object, RomGetExceptionDescription(error));
        RomReleaseException(error);
    }
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
    for (const auto& [name, polyhedron] : userKinds) {
        const Table<std::int32_t>& table = polyhedron ? mesh.polyhedronConnectivity : mesh.polygonConnectivity;
        const Table<std::int32_t>& ids = polyhedron ? mesh.polyhedronIds : mesh.polygonIds;
        Offenders missing;
        const std::string broken =
            WalkSlices(table, ids.count, polyhedron, [&](std::uint32_t element, std::uint64_t start, std::uint64_t length) {
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
}

void CheckSnapshot(const Snapshot& snapshot, const Mesh* mesh, const std::string& meshPath, Findings& findings) {
    RomObject* configuration = nullptr;
    Check(RomSnapshotGetConfiguration(snapshot.data.get(), &configuration), "RomSnapshotGetConfiguration");
    CheckConfiguration(configuration, findings, "configuration");
    for (const auto& pair : snapshot.pairs) {
        const std::string object = "component " + pair.component + " on support " + pair.support;
        if (pair.assigned != pair.expected)
            findings.Add(object, std::to_string(pair.assigned) + " of " + std::to_string(pair.expected) + " values");
        std::vector<std::uint32_t> sorted(pair.ids.data, pair.ids.data + pair.assigned);
        std::sort(sorted.begin(), sorted.end());
        Offenders repeated;
        for (std::size_t i = 1; i < sorted.size(); ++i)
            if (sorted[i] == sorted[i - 1] && (i == 1 || sorted[i - 2] != sorted[i])) repeated.Add("id " + std::to_string(sorted[i]));
        repeated.Report(findings, object, "ids given more than once");
        if (mesh == nullptr) continue;
        const MeshSupport* support = mesh->FindSupport(pair.support);
        if (support == nullptr) {
            findings.Add(object, "the mesh " + meshPath + " has no support " + pair.support);
            continue;
        }
        const std::unordered_set<std::int32_t> entities(support->entities.data,
                                                        support->entities.data + support->entities.count);
        Offenders strangers;
        for (std::uint32_t i = 0; i < pair.assigned; ++i)
            if (entities.count(static_cast<std::int32_t>(pair.ids[i])) == 0)
                strangers.Add("value " + std::to_string(i) + " has id " + std::to_string(pair.ids[i]));
        strangers.Report(findings, object, "ids that are not entities of the mesh's support " + pair.support);
    }
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
            const FileKind kind = DetectKind(path);
            if (kind == FileKind::Mesh) {
                CheckMesh(LoadMesh(path), options.indices, findings);
            } else if (kind == FileKind::Snapshot) {
                CheckSnapshot(LoadSnapshot(path), mesh ? &*mesh : nullptr, options.mesh, findings);
            } else {
                const Handle object = Resumed(FactoryOf(kind), path);
                if (IsConfiguration(kind)) CheckConfiguration(object.get(), findings, "configuration");
            }
        } catch (const std::exception& error) {
            findings.Add("file", error.what());
        }
        if (findings.Count() == 0) {
            out << path << ": valid\n";
        } else {
            status = 1;
        }
    }
    return status;
}

}  // namespace tervik::cli
