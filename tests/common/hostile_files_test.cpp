// Names that are not plain files must fail at once, and any name the system accepts
// must be savable.
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "project/project.hpp"
#include "snapshot/snapshot_cache.hpp"
#include "support/temp_dir.hpp"

using namespace Tervik::Rom;

using HostileFiles = TempDirTest;

TEST_F(HostileFiles, OnlyRegularFilesAreReadAndOpeningNeverBlocks) {
    const std::string fifo = Path("waiting.rompjt");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    Project::CProject project;
    EXPECT_EQ(MessageOf([&] { project.Resume(fifo); }), "Could not open the file " + fifo + ".");

    const std::string endless = Path("endless.romcch");
    std::filesystem::create_symlink("/dev/zero", endless);
    Snapshot::CSnapshotCache cache;
    EXPECT_EQ(MessageOf([&] { cache.Resume(endless); }), "Could not open the file " + endless + ".");
}

TEST_F(HostileFiles, TheLongestNameTheSystemAcceptsCanBeSaved) {
    for (std::size_t length : {241u, 242u, 250u, 255u}) {
        const std::string name = std::string(length - 7, 'n') + ".rompjt";
        Project::CProject project, resumed;
        ASSERT_NO_THROW(project.Save(Path(name))) << length;
        ASSERT_NO_THROW(project.Save(Path(name))) << "over the existing file, " << length;
        resumed.Resume(Path(name));
        EXPECT_TRUE(resumed.Compare(&project));
        std::filesystem::remove(Path(name));
        EXPECT_TRUE(Files().empty()) << "nothing temporary is left";
    }
}
