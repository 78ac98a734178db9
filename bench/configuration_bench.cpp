// Configuration documents through the exported functions, against jsoncpp alone parsing
// the same files. Writes a mesh data configuration of 1,000 regions and 100,000 supports
// and a setup of 10,000 regions, 100,000 supports and 10 fields of 10,000 supports each,
// then times resuming and checking them, deriving the snapshot configuration, and
// looking every support up by its solver id.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <list>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <json/reader.h>
#include <json/value.h>

#include <tervik/rom/rom.h>

#include "bench.hpp"

namespace {

constexpr int kMeshRegions = 1000;
constexpr int kMeshSupportsPerRegion = 100;
constexpr int kSetupRegions = 10000;
constexpr int kSetupSupportsPerRegion = 10;
constexpr int kFields = 10;  // field k lives on the k-th support of every region
constexpr int kComponents = 3;
constexpr int kLookupSample = 1000;
constexpr const char* kTarget = "target <= 3x";

// Plain text in the layout the library writes: sorted keys, tab indentation.
class Text {
public:
    std::string out;

    void Line(int depth, const std::string& text) {
        out.append(static_cast<std::size_t>(depth), '\t');
        out += text;
        out += '\n';
    }
    static std::string Quoted(const std::string& text) { return '"' + text + '"'; }
    static std::string Member(const char* key, const std::string& value) {
        return std::string("\"") + key + "\" : " + value;
    }
};

std::string SupportId(const char* prefix, int region, int support) {
    return std::string(prefix) + ".region" + std::to_string(region) + ".support" + std::to_string(support);
}

std::int32_t EntityType(int support) { return 1 + support % 4; }

// The "meshData" member at the given depth; appends the support ids in mesh order to ids.
void AppendMeshData(Text& text, int depth, const char* prefix, int regions, int supportsPerRegion, const char* tail,
                    std::vector<std::string>& ids) {
    text.Line(depth, "\"meshData\" : ");
    text.Line(depth, "{");
    text.Line(depth + 1, "\"elementData\" : ");
    text.Line(depth + 1, "{");
    text.Line(depth + 2, "\"stdElementData\" : ");
    text.Line(depth + 2, "{");
    text.Line(depth + 3, Text::Member("connectivityTableSize", "4000000") + ",");
    text.Line(depth + 3, Text::Member("count", "500000"));
    text.Line(depth + 2, "}");
    text.Line(depth + 1, "},");
    text.Line(depth + 1, "\"nodeData\" : ");
    text.Line(depth + 1, "{");
    text.Line(depth + 2, Text::Member("count", "1000000") + ",");
    text.Line(depth + 2, Text::Member("dim", "3"));
    text.Line(depth + 1, "},");
    text.Line(depth + 1, "\"regions\" : ");
    text.Line(depth + 1, "[");
    for (int r = 0; r < regions; ++r) {
        text.Line(depth + 2, "{");
        text.Line(depth + 3, Text::Member("caption", Text::Quoted("Region " + std::to_string(r))) + ",");
        text.Line(depth + 3,
                  Text::Member("solverId", Text::Quoted(std::string(prefix) + ".region" + std::to_string(r))) + ",");
        text.Line(depth + 3, "\"supports\" : ");
        text.Line(depth + 3, "[");
        for (int s = 0; s < supportsPerRegion; ++s) {
            const int index = r * supportsPerRegion + s;
            ids.push_back(SupportId(prefix, r, s));
            text.Line(depth + 4, "{");
            text.Line(depth + 5, Text::Member("entityType", std::to_string(EntityType(s))) + ",");
            text.Line(depth + 5, Text::Member("size", std::to_string(1 + (index * 7919) % 5000)) + ",");
            text.Line(depth + 5, Text::Member("solverId", Text::Quoted(ids.back())));
            text.Line(depth + 4, s + 1 < supportsPerRegion ? "}," : "}");
        }
        text.Line(depth + 3, "]");
        text.Line(depth + 2, r + 1 < regions ? "}," : "}");
    }
    text.Line(depth + 1, "],");
    text.Line(depth + 1, Text::Member("unit", Text::Quoted("m")));
    text.Line(depth, std::string("}") + tail);
}

void WriteFile(const std::string& path, const std::string& content) { WriteRaw(path, content.data(), content.size()); }

std::string MeshDocument(std::vector<std::string>& ids) {
    Text text;
    text.Line(0, "{");
    text.Line(1, "\"loomsteadVersion\" : [ 18, 2 ],");
    AppendMeshData(text, 1, "mesh", kMeshRegions, kMeshSupportsPerRegion, ",", ids);
    text.Line(1, Text::Member("version", "1"));
    text.Line(0, "}");
    return text.out;
}

std::string SetupDocument() {
    std::vector<std::string> ids;
    Text text;
    text.Line(0, "{");
    text.Line(1, "\"loomsteadVersion\" : [ 18, 2 ],");
    text.Line(1, "\"setup\" : ");
    text.Line(1, "{");
    text.Line(2, "\"fields\" : ");
    text.Line(2, "[");
    for (int k = 0; k < kFields; ++k) {
        const std::string field = "field" + std::to_string(k);
        text.Line(3, "{");
        text.Line(4, Text::Member("caption", Text::Quoted("Field " + std::to_string(k))) + ",");
        text.Line(4, "\"components\" : ");
        text.Line(4, "[");
        for (int c = 0; c < kComponents; ++c) {
            const char axis[2] = {static_cast<char>('x' + c), '\0'};
            text.Line(5, "{");
            text.Line(6, Text::Member("caption", Text::Quoted(axis)) + ",");
            text.Line(6, Text::Member("solverId", Text::Quoted(field + "." + axis)));
            text.Line(5, c + 1 < kComponents ? "}," : "}");
        }
        text.Line(4, "],");
        text.Line(4, Text::Member("entityType", std::to_string(EntityType(k))) + ",");
        text.Line(4, Text::Member("quantity", Text::Quoted("Quantity " + std::to_string(k))) + ",");
        text.Line(4, Text::Member("solverId", Text::Quoted(field)) + ",");
        text.Line(4, "\"supports\" : ");
        text.Line(4, "[");
        for (int r = 0; r < kSetupRegions; ++r)
            text.Line(5, Text::Quoted(SupportId("setup", r, k)) + (r + 1 < kSetupRegions ? "," : ""));
        text.Line(4, "],");
        text.Line(4, Text::Member("unit", Text::Quoted("Pa")));
        text.Line(3, k + 1 < kFields ? "}," : "}");
    }
    text.Line(2, "],");
    AppendMeshData(text, 2, "setup", kSetupRegions, kSetupSupportsPerRegion, "", ids);
    text.Line(1, "},");
    text.Line(1, Text::Member("version", "1"));
    text.Line(0, "}");
    return text.out;
}

// The reference: the file read whole into a string and parsed by jsoncpp. The parsed
// values stay alive until the caller drops them, as the resumed objects do.
void ParseFile(const std::string& path, Json::Value& root) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) Fail("cannot open " + path);
    std::string content;
    char buffer[1 << 16];
    std::size_t read = 0;
    while ((read = std::fread(buffer, 1, sizeof buffer, file)) != 0) content.append(buffer, read);
    std::fclose(file);
    Json::CharReaderBuilder builder;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string errors;
    if (!reader->parse(content.data(), content.data() + content.size(), &root, &errors))
        Fail("jsoncpp cannot parse " + path + ": " + errors);
}

// The machine may be shared: a figure and its reference take turns, one run of each
// per round, so that both see the same load. Best of the rounds for each.
struct Pair {
    double seconds = std::numeric_limits<double>::max();
    double reference = std::numeric_limits<double>::max();
};

template <class Action, class Reference>
Pair BestPair(Action&& action, Reference&& reference, int rounds = 3) {
    Pair best;
    for (int i = 0; i < rounds; ++i) {
        best.seconds = std::min(best.seconds, BestSeconds(action, 1));
        best.reference = std::min(best.reference, BestSeconds(reference, 1));
    }
    return best;
}

using Create = RomExceptionHandle (*)(RomObject**);

// Create + resume + check against jsoncpp reading the same file. The objects and the
// parsed values are released after the timing; the last object is returned.
RomObject* ResumeChecked(Create create, const std::string& path, Pair& times) {
    std::vector<RomObject*> objects;
    std::list<Json::Value> roots;
    times = BestPair(
        [&] {
            RomObject* object = nullptr;
            Must(create(&object), "create");
            objects.push_back(object);
            Must(RomPersistableResume(object, path.c_str()), "RomPersistableResume");
            Must(RomConfigurationCheck(object), "RomConfigurationCheck");
        },
        [&] { ParseFile(path, roots.emplace_back()); });
    for (std::size_t i = 0; i + 1 < objects.size(); ++i) Must(RomFactoryRelease(objects[i]), "RomFactoryRelease");
    return objects.back();
}

std::uint32_t Count(RomObject* container) {
    std::uint32_t count = 0;
    Must(RomContainerGetCount(container, &count), "RomContainerGetCount");
    return count;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string dir = argc > 1 ? argv[1] : std::filesystem::temp_directory_path().string();
    std::filesystem::create_directories(dir);
    const std::string extension = RomGetConfigurationFileExtension();
    const std::string meshPath = dir + "/mesh." + extension;
    const std::string setupPath = dir + "/setup." + extension;
    const std::string snapshotPath = dir + "/snapshot." + extension;

    std::vector<std::string> ids;
    WriteFile(meshPath, MeshDocument(ids));
    WriteFile(setupPath, SetupDocument());
    std::printf("mesh.%s %.1f MB, setup.%s %.1f MB\n", extension.c_str(),
                static_cast<double>(std::filesystem::file_size(meshPath)) / 1e6, extension.c_str(),
                static_cast<double>(std::filesystem::file_size(setupPath)) / 1e6);

    // Mesh data configuration.
    Pair meshTimes;
    RomObject* mesh = ResumeChecked(&RomFactoryCreateMeshDataCfg, meshPath, meshTimes);
    ReportTarget("mesh cfg create+resume+check (100k supports)", meshTimes.seconds, "jsoncpp read+parse of file",
                 meshTimes.reference, kTarget);

    RomObject* supports = nullptr;
    Must(RomMeshDataCfgGetSupportCfgs(mesh, &supports), "RomMeshDataCfgGetSupportCfgs");
    if (Count(supports) != ids.size()) Fail("the resumed mesh does not hold every support");
    std::vector<RomObject*> inOrder(ids.size(), nullptr);
    std::unordered_map<std::string, RomObject*> byId;
    for (std::uint32_t i = 0; i < ids.size(); ++i) {
        Must(RomContainerGetObject(supports, i, &inOrder[i]), "RomContainerGetObject");
        if (ids[i] != RomGetSolverId(inOrder[i])) Fail("support " + ids[i] + " is out of place");
        byId.emplace(ids[i], inOrder[i]);
    }

    // Each support looked up by its solver id, in mesh order.
    const auto lookUp = [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            RomObject* support = nullptr;
            Must(RomMeshDataCfgGetSupportCfg(mesh, ids[i].c_str(), &support), "RomMeshDataCfgGetSupportCfg");
            if (support != inOrder[i]) Fail("RomMeshDataCfgGetSupportCfg found another support for " + ids[i]);
        }
    };
    std::size_t found = 0;
    const Pair lookUps = BestPair([&] { lookUp(0, ids.size()); },
                                  [&] {
                                      for (const std::string& id : ids) found += byId.find(id) != byId.end() ? 1 : 0;
                                  });
    if (found != 3 * ids.size()) Fail("reference lookup lost an id");
    ReportTarget("GetSupportCfg x 100k ids, in turn", lookUps.seconds, "unordered_map find x 100k", lookUps.reference,
                 kTarget);
    const double first = BestSeconds([&] { lookUp(0, kLookupSample); });
    const double last = BestSeconds([&] { lookUp(ids.size() - kLookupSample, ids.size()); });
    std::printf("  GetSupportCfg: %.1f ms in all, %.0f ns per call; first 1000 ids %.0f ns, last 1000 ids %.0f ns\n",
                lookUps.seconds * 1e3, lookUps.seconds * 1e9 / static_cast<double>(ids.size()),
                first * 1e9 / kLookupSample, last * 1e9 / kLookupSample);
    Must(RomFactoryRelease(mesh), "RomFactoryRelease");

    // Setup configuration.
    Pair setupTimes;
    RomObject* setup = ResumeChecked(&RomFactoryCreateSetupCfg, setupPath, setupTimes);
    ReportTarget("setup cfg create+resume+check (10 fields)", setupTimes.seconds, "jsoncpp read+parse of file",
                 setupTimes.reference, kTarget);
    RomObject* fields = nullptr;
    Must(RomSetupCfgGetFields(setup, &fields), "RomSetupCfgGetFields");
    if (Count(fields) != kFields) Fail("the resumed setup does not hold every field");

    // The snapshot configuration derived from the setup, beside a parse of the file it
    // writes; the parse of the setup it reads is printed too.
    std::list<Json::Value> roots;
    const Pair save = BestPair(
        [&] {
            Must(RomSetupCfgSaveSnapshotConfiguration(setup, snapshotPath.c_str()),
                 "RomSetupCfgSaveSnapshotConfiguration");
        },
        [&] { ParseFile(snapshotPath, roots.emplace_back()); });
    roots.clear();
    const double setupParse = BestSeconds([&] { ParseFile(setupPath, roots.emplace_back()); });
    roots.clear();
    ReportTarget("save snapshot cfg of the setup", save.seconds, "jsoncpp read+parse of that file", save.reference,
                 kTarget);
    std::printf("  the same save beside a parse of the setup it reads (%.4f s): ratio %.2f\n", setupParse,
                save.seconds / setupParse);
    Must(RomFactoryRelease(setup), "RomFactoryRelease");

    Pair snapshotTimes;
    RomObject* snapshot = ResumeChecked(&RomFactoryCreateSnapshotCfg, snapshotPath, snapshotTimes);
    std::printf("  snapshot.%s written: %.1f MB, jsoncpp read+parse %.4f s\n", extension.c_str(),
                static_cast<double>(std::filesystem::file_size(snapshotPath)) / 1e6, snapshotTimes.reference);
    ReportTarget("snapshot cfg create+resume+check", snapshotTimes.seconds, "jsoncpp read+parse of file",
                 snapshotTimes.reference, kTarget);
    RomObject* snapshotSupports = nullptr;
    Must(RomSnapshotCfgGetSupportCfgs(snapshot, &snapshotSupports), "RomSnapshotCfgGetSupportCfgs");
    if (Count(snapshotSupports) != kSetupRegions * kSetupSupportsPerRegion)
        Fail("the snapshot configuration does not hold every support");
    Must(RomFactoryRelease(snapshot), "RomFactoryRelease");

    std::remove(meshPath.c_str());
    std::remove(setupPath.c_str());
    std::remove(snapshotPath.c_str());
    return 0;
}
