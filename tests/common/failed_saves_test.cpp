// A save that fails at any of its writes, flushes, closes or renames leaves the file it
// was replacing byte for byte, and no temporary file.
#include <functional>
#include <string>
#include <vector>

#include <tervik/rom/rom.h>

#include "common/fault_injection.hpp"
#include "support/small_objects.hpp"
#include "support/temp_dir.hpp"

namespace FaultInjection = Tervik::Rom::Common::FaultInjection;

using namespace SmallObjects;

namespace {

struct Kind {
    const char* file;
    std::function<RomObject*(int)> make;  // two different objects for 0 and 1
};

}  // namespace

using FailedSaves = TempDirTest;

TEST_F(FailedSaves, EveryFailingOperationLeavesThePreviousFile) {
    const std::vector<Kind> kinds = {
        {"setup.romcfg", [](int v) { return SetupCfg(v == 0 ? "m" : "mm"); }},
        {"mesh.romcfg", [](int v) { return MeshConfiguration(v + 1); }},
        {"snapshot.romcfg",
         [](int v) {
             RomObject* cfg = nullptr;
             Ok(RomFactoryCreateSnapshotCfg(&cfg));
             if (v == 1) Ok(RomSetSolverId(Child(&RomSnapshotCfgAddSupport, cfg), "s"));
             return cfg;
         }},
        {"runs.romcch", [](int v) { return Cache(v + 1.0); }},
        {"project.rompjt", [](int) { RomObject* p = nullptr; Ok(RomFactoryCreateProject(&p)); return p; }},
        {"mesh.rommsh", [](int v) { return MeshData(v + 2); }},
        {"run.romsnp", [](int v) { return Snapshot(v + 3); }},
    };
    for (const Kind& kind : kinds) {
        SCOPED_TRACE(kind.file);
        const std::string target = Path(kind.file);
        RomObject* before = kind.make(0);
        RomObject* after = kind.make(1);
        Ok(RomPersistableSave(before, target.c_str()));
        const std::string bytes = ReadBytes(target);

        FaultInjection::Arm(~std::uint64_t{0});
        Ok(RomPersistableSave(after, Path(std::string("count-") + kind.file).c_str()));
        const std::uint64_t operations = FaultInjection::Counted();
        FaultInjection::Arm(0);
        std::filesystem::remove(Path(std::string("count-") + kind.file));
        ASSERT_GE(operations, 3u);

        for (std::uint64_t failing = 1; failing <= operations; ++failing) {
            FaultInjection::Arm(failing);
            const std::string text = TextOf(RomPersistableSave(after, target.c_str()));
            FaultInjection::Arm(0);
            ASSERT_EQ(text, "System error while trying to write to a file.")
                << "operation " << failing << " of " << operations;
            ASSERT_EQ(ReadBytes(target), bytes) << "operation " << failing;
            ASSERT_EQ(Files(), std::vector<std::string>{kind.file}) << "operation " << failing;
        }
        Ok(RomPersistableSave(after, target.c_str()));
        EXPECT_NE(ReadBytes(target), bytes);
        Ok(RomFactoryRelease(before));
        Ok(RomFactoryRelease(after));
        std::filesystem::remove(target);
    }
}
