// Snapshot configurations: supports, components and their lists, their checks, and what is
// refused in their documents, through the exported functions.
#include <cstdint>
#include <string>
#include <vector>

#include "support/configurations.hpp"
#include "support/temp_dir.hpp"

namespace {

const std::string kNoPair = "There is no component or support in the snapshot configuration.";
const std::string kSameSupportId = "Two supports of the snapshot configuration have the solver id S.";
// A component C listed on a support S of 4 entities.
void ListCOnS(RomObject* s) {
    ROM_OK(RomSnapshotCfgAddComponentToSupport(s, SnapshotComponent(s, "C"), SnapshotSupport(s, "S", 4)));
}
// Supports S and S, the second with a list.
void DuplicateSupport(RomObject* s) { SnapshotSupport(s, "S", 2), ListCOnS(s); }

using SnapshotCfgFiles = TempDirTest;

}  // namespace

TEST(SnapshotCfg, SnapshotOrder) {
    const std::string noSupport = "A snapshot must have at least one support.";
    ExpectChecks(
        NewSnapshot, Itself,
        {
            {"empty", [](RomObject*) {}, noSupport},
            {"component only", [](RomObject* s) { SnapshotComponent(s, "C"); }, noSupport},
            {"support only", [](RomObject* s) { SnapshotSupport(s, "S", 4); },
             "A snapshot must have at least one component."},
            {"supports before components", [](RomObject* s) { SnapshotSupport(s, "S", 0), SnapshotComponent(s, ""); },
             kSupportSize},
            {"components checked", [](RomObject* s) { SnapshotSupport(s, "S", 4), SnapshotComponent(s, ""); },
             kComponentId},
            {"no association", [](RomObject* s) { SnapshotSupport(s, "S", 4), SnapshotComponent(s, "C"); },
             "No component associated to a support !"},
            {"a support without list is tolerated", [](RomObject* s) { SnapshotSupport(s, "Lonely", 2), ListCOnS(s); },
             kOk},
            {"consistent", BuildSnapshot, kOk},
            // A file names supports and components by solver id: ones it could not tell apart.
            {"unlisted supports may share an id",
             [](RomObject* s) { SnapshotSupport(s, "Lonely", 2), SnapshotSupport(s, "Lonely", 3), ListCOnS(s); }, kOk},
            {"a listed support's id twice", DuplicateSupport, kSameSupportId},
            {"a listed component's id twice", [](RomObject* s) { SnapshotComponent(s, "C"), ListCOnS(s); },
             "Two components of the snapshot configuration have the solver id C."},
        });
}

TEST_F(SnapshotCfgFiles, AmbiguousSnapshotConfigurationsAreNotWritten) {
    Owned duplicate = NewSnapshot();
    DuplicateSupport(duplicate.get());
    EXPECT_EQ(TextOf(RomPersistableSave(duplicate.get(), Path("twice.romcfg").c_str())), kSameSupportId);
    Owned snapshot = SnapshotOf(duplicate.get());
    Fill(Data(snapshot.get(), "C", "S"), {{0, 1.0}, {1, 1.0}, {2, 1.0}, {3, 1.0}});
    EXPECT_EQ(TextOf(RomPersistableSave(snapshot.get(), Path("twice.romsnp").c_str())), kSameSupportId);
    EXPECT_TRUE(Files().empty());
}

TEST(SnapshotCfg, AddComponentToSupport) {
    Owned other = NewSnapshot();
    RomObject* foreignComponent = SnapshotComponent(other.get(), "FC");
    RomObject* foreignSupport = SnapshotSupport(other.get(), "FS", 1);
    struct Case {
        const char* name;
        bool hasComponent, hasSupport, foreignComponent, foreignSupport;
        std::string message;
    };
    const Case cases[] = {
        {"empty", false, false, true, true, kNoPair},
        {"no support", true, false, false, true, kNoPair},
        {"no component", false, true, true, false, kNoPair},
        {"component of another", true, true, true, false, "The snapshot does not have the component FC."},
        {"support of another", true, true, false, true, "The snapshot does not have the support FS."},
        {"component looked at first", true, true, true, true, "The snapshot does not have the component FC."},
        {"own", true, true, false, false, kOk},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Owned snapshot = NewSnapshot();
        RomObject* component = c.hasComponent ? SnapshotComponent(snapshot.get(), "C") : nullptr;
        RomObject* support = c.hasSupport ? SnapshotSupport(snapshot.get(), "S", 2) : nullptr;
        EXPECT_EQ(TextOf(RomSnapshotCfgAddComponentToSupport(snapshot.get(),
                                                             c.foreignComponent ? foreignComponent : component,
                                                             c.foreignSupport ? foreignSupport : support)),
                  c.message);
    }

    Owned snapshot = NewSnapshot();
    RomObject* linked = SnapshotSupport(snapshot.get(), "S", 2);
    RomObject* bare = SnapshotSupport(snapshot.get(), "B", 2);
    RomObject* component = SnapshotComponent(snapshot.get(), "C");
    ROM_OK(RomSnapshotCfgAddComponentToSupport(snapshot.get(), component, linked));
    const std::string again = TextOf(RomSnapshotCfgAddComponentToSupport(snapshot.get(), component, linked));
    EXPECT_EQ(again.rfind("Object with id ", 0), 0u) << again;
    EXPECT_NE(again.find(" already exists in container !"), std::string::npos) << again;

    EXPECT_EQ(Members(Read(RomSnapshotCfgGetComponentsOfSupport, snapshot.get(), linked)),
              std::vector<RomObject*>{component});
    RomObject* list = nullptr;
    EXPECT_EQ(TextOf(RomSnapshotCfgGetComponentsOfSupport(snapshot.get(), bare, &list)), "invalid map<K, T> key");
}

TEST_F(SnapshotCfgFiles, InconsistentDocumentsRefused) {
    const std::string objects = R"("supports": [{"solverId": "S1", "size": 2}], "components": [{"solverId": "C1"}], )";
    const std::string path = Path("bad.romcfg"), inconsistent = "The snapshot configuration file is inconsistent: ";
    const std::pair<std::string, std::string> cases[] = {
        {objects + R"("componentSupports": {"SX": ["C1"]})",
         inconsistent + "it contains a list of components associated to the unknow support SX."},
        {objects + R"("componentSupports": {"S1": ["C1", "CX"]})",
         inconsistent + "the support S1 is associated to the unknow component CX."},
        {R"("supports": [{"solverId": "S", "size": 1}, {"solverId": "S", "size": 2}],
            "components": [{"solverId": "C"}], "componentSupports": {"S": ["C"]})",
         "The file " + path + " cannot be resumed: two supports of the snapshot configuration have the solver id S."},
        {R"("supports": [{"solverId": "S", "size": -4}])", ""},
        {R"("components": [{"solverId": "c\u0000x"}])",
         "The file " + path +
             " cannot be resumed: the text \"c\\x00x\" at snapshot.components[0].solverId holds a "
             "NUL character, where it would be cut."},
    };
    for (const auto& [body, message] : cases) {
        Owned snapshot = NewSnapshot();
        const std::string text = Resumed(snapshot.get(), path, "snapshot", "{" + body + "}");
        if (message.empty())
            EXPECT_NE(text, kOk) << body;
        else
            EXPECT_EQ(text, message);
    }
}
