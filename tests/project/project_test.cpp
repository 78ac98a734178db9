#include "project/project.hpp"
#include "snapshot/point.hpp"
#include "support/temp_dir.hpp"

using namespace Tervik::Rom;
using Project::CProject;

namespace {

class ProjectTest : public TempDirTest {};

std::string Le32(std::uint32_t value) { return std::string(reinterpret_cast<const char*>(&value), 4); }

}  // namespace

TEST(Project, ComparesByInternalId) {
    CProject a;
    CProject b;
    Snapshot::CPoint notAProject;
    EXPECT_TRUE(a.Compare(&a));
    EXPECT_FALSE(a.Compare(&b));
    EXPECT_FALSE(a.Compare(&notAProject));
    EXPECT_FALSE(a.Compare(nullptr));
    b.SetInternalId(a.GetInternalId());
    EXPECT_TRUE(a.Compare(&b));
}

TEST_F(ProjectTest, UnsupportedVersionKeepsTheId) {
    CProject saved;
    saved.Save(Path("p.rompjt"));
    std::string bytes = ReadBytes(Path("p.rompjt"));
    bytes.replace(48, 4, Le32(2));  // the type version after the UUID
    WriteBytes(Path("v2.rompjt"), bytes);
    CProject project;
    const std::string id = project.GetInternalId();
    EXPECT_EQ(MessageOf([&] { project.Resume(Path("v2.rompjt")); }),
              "The project has been saved using the unsupported version 2. (Current supported version: 1)");
    EXPECT_EQ(project.GetInternalId(), id);
}

// The file is the object frame, then the id; an id is kept as read.
TEST_F(ProjectTest, FileIsTheFrameThenTheId) {
    const std::string frame =
        Le32(0) + Le32(1) + Le32(36) + "FB0C4231-34CF-4942-8D1A-1D93C99E02D7" + Le32(1) + Le32(18) + Le32(2);
    CProject project;
    project.Save(Path("p.rompjt"));
    EXPECT_EQ(ReadBytes(Path("p.rompjt")), frame + Le32(36) + project.GetInternalId());
    WriteBytes(Path("odd.rompjt"), frame + Le32(5) + "hello");
    project.Resume(Path("odd.rompjt"));
    EXPECT_EQ(project.GetInternalId(), "hello");
}
