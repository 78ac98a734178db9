#include <tervik/rom/common.hpp>

#include "common/persistence.hpp"
#include "project/project.hpp"
#include "snapshot/snapshot_cache.hpp"
#include "support/temp_dir.hpp"

using namespace Tervik::Rom;

namespace {

class PersistenceTest : public TempDirTest {
protected:
    std::string ProjectFile() {
        const std::string path = Path("p.rompjt");
        project_.Save(path);
        return ReadBytes(path);
    }

    Project::CProject project_;
};

// Claims to be a project without being one: its content writer throws after the
// frame was written.
class CFakeProject : public Common::CPersistableBinary {
public:
    const std::string& GetFileExtension() const override { return project_.GetFileExtension(); }
    const char* GetSerializationUuid() const override { return project_.GetSerializationUuid(); }

protected:
    std::unique_ptr<Common::CPersistableBinary> MakeEmpty() const override { return std::make_unique<CFakeProject>(); }
    void TakeResumed(Common::CPersistableBinary&) noexcept override {}

private:
    Project::CProject project_;
};

std::string Le32(std::uint32_t value) { return std::string(reinterpret_cast<const char*>(&value), 4); }

}  // namespace

TEST_F(PersistenceTest, ExtensionIsCheckedFromTheEndAndCaseSensitively) {
    EXPECT_NO_THROW(Common::CheckFileExtension("a.b.rommsh", "rommsh", "The file "));
    for (const std::string name : {"mesh.ROMMSH", "rommsh", ""})
        EXPECT_EQ(MessageOf([&] { Common::CheckFileExtension(name, "rommsh", "The file "); }),
                  "The file " + name + " do not have the expected extension rommsh.");

    Snapshot::CSnapshotCache cache;
    EXPECT_EQ(MessageOf([&] { cache.Save(Path("c.romcfg")); }),
              "The configuration file " + Path("c.romcfg") + " do not have the expected extension romcch.");
    EXPECT_EQ(MessageOf([&] { cache.Resume(Path("c.romcfg")); }),
              "The file " + Path("c.romcfg") + " do not have the expected extension romcch.");
    EXPECT_EQ(MessageOf([&] { project_.Save(Path("p.Rompjt")); }),
              "The file " + Path("p.Rompjt") + " do not have the expected extension rompjt.");
    EXPECT_TRUE(Files().empty());
}

TEST_F(PersistenceTest, JsonFileOfAFutureVersionIsRefused) {
    const std::string path = Path("future.romcch");
    Snapshot::CSnapshotCache cache;
    WriteBytes(path, R"({"version": 2, "loomsteadVersion": [19, 1], "snapshotCache": {"entries": []}})");
    EXPECT_EQ(MessageOf([&] { cache.Resume(path); }),
              "The file " + path + " has a future version number (2) and cannot be resumed.\n"
              "It was saved with the ROM API shipped in Loomstead 19.1.\n"
              "The latest supported file version of your installation is 1.");
    WriteBytes(path, R"({"version": 2, "snapshotCache": {"entries": []}})");
    EXPECT_EQ(MessageOf([&] { cache.Resume(path); }),
              "The file " + path + " has a future version number (2) and cannot be resumed.\n"
              "The latest supported file version of your installation is 1.");
}

TEST_F(PersistenceTest, ProjectFileIsTheFrameThenTheId) {
    const std::string expected = Le32(0) + Le32(1) + Le32(36) + "FB0C4231-34CF-4942-8D1A-1D93C99E02D7" + Le32(1) +
                                 Le32(18) + Le32(2) + Le32(36) + project_.GetInternalId();
    EXPECT_EQ(ProjectFile(), expected);
}

TEST_F(PersistenceTest, FrameHeaderErrors) {
    const std::string file = ProjectFile();
    const std::string path = Path("bad.rompjt");
    const std::pair<std::string, std::string> cases[] = {
        {Le32(1), "Internal error: Tried to restore a NULL object to an already instanciated object."},
        {Le32(0) + Le32(2) + file.substr(8),
         "The file was saved with a future version (2) of the product and cannot be resumed. The latest "
         "supported version of your installation is 1."},
        {std::string(file).replace(12, 36, "00000000-0000-0000-0000-000000000000"),
         "Internal error: The SerializationFactory for the type 00000000-0000-0000-0000-000000000000 is missing."},
    };
    for (const auto& [bytes, message] : cases) {
        WriteBytes(path, bytes);
        Project::CProject target;
        EXPECT_EQ(MessageOf([&] { target.Resume(path); }), message);
    }
}

TEST_F(PersistenceTest, AFailedSaveLeavesTheOldFileByteForByte) {
    const std::string path = Path("p.rompjt");
    const std::string old = ProjectFile();
    CFakeProject fake;
    EXPECT_NE(MessageOf([&] { fake.Save(path); }).find("cannot handle this object"), std::string::npos);
    EXPECT_EQ(ReadBytes(path), old);
    EXPECT_EQ(Files(), std::vector<std::string>{"p.rompjt"});

    EXPECT_NE(MessageOf([&] { project_.Save(Path("missing/p.rompjt")); }).find("Could not open the file"),
              std::string::npos);

    // A JSON save whose content cannot be written.
    Snapshot::CSnapshotCache cache;
    Snapshot::CPoint point;
    cache.Push(point, point, "run.romsnp");
    cache.Save(Path("c.romcch"));
    const std::string cacheFile = ReadBytes(Path("c.romcch"));
    point.SetValue("x", 1);
    cache.Push(point, point, "");
    EXPECT_EQ(MessageOf([&] { cache.Save(Path("c.romcch")); }), "A snapshot cache entry misses its snapshot file name.");
    EXPECT_EQ(ReadBytes(Path("c.romcch")), cacheFile);
}

TEST_F(PersistenceTest, AFileOfAnotherTypeIsRefused) {
    const std::string path = Path("p.rompjt");
    ProjectFile();
    class COther : public Common::CPersistableBinary {
    public:
        const std::string& GetFileExtension() const override { return project_.GetFileExtension(); }
        const char* GetSerializationUuid() const override { return "0F0F0F0F-0000-4000-8000-000000000000"; }

    protected:
        std::unique_ptr<Common::CPersistableBinary> MakeEmpty() const override { return std::make_unique<COther>(); }
        void TakeResumed(Common::CPersistableBinary&) noexcept override {}

    private:
        Project::CProject project_;
    } other;
    EXPECT_EQ(MessageOf([&] { other.Resume(path); }),
              "The file " + path +
                  " holds an object of type FB0C4231-34CF-4942-8D1A-1D93C99E02D7 where an object of type "
                  "0F0F0F0F-0000-4000-8000-000000000000 is expected.");
}

TEST_F(PersistenceTest, EnvelopeWrapsTheDataWithVersionOne) {
    Snapshot::CPoint point;
    point.SetValue("x", 2);
    const Json::Value envelope = Common::ToEnvelope(point);
    EXPECT_EQ(envelope["version"].asInt(), 1);
    EXPECT_EQ(envelope["data"][0]["id"].asString(), "x");
    Snapshot::CPoint read;
    Common::FromEnvelope(envelope, read);
    EXPECT_TRUE(read.Equals(point));
}
