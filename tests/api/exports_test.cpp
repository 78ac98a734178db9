// The exported functions as a client sees them, through the shared library.
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <tervik/rom/api.hpp>
#include <tervik/rom/rom.h>
#include <tervik/rom/project.hpp>
#include <tervik/rom/snapshot.hpp>

namespace {

std::string TextOf(RomExceptionHandle error) {
    std::string text = error == nullptr ? "<success>" : RomGetExceptionDescription(error);
    RomReleaseException(error);
    return text;
}

RomObject* NewPoint() {
    RomObject* point = nullptr;
    EXPECT_EQ(TextOf(RomFactoryCreateUserPoint(&point)), "<success>");
    EXPECT_NE(point, nullptr);
    return point;
}

}  // namespace

TEST(Exports, FileExtensions) {
    EXPECT_STREQ(RomGetConfigurationFileExtension(), "romcfg");
    EXPECT_STREQ(RomGetMeshFileExtension(), "rommsh");
    EXPECT_STREQ(RomGetProjectFileExtension(), "rompjt");
    EXPECT_STREQ(RomGetRomFileExtension(), "romdat");
    EXPECT_STREQ(RomGetSnapshotFileExtension(), "romsnp");
    EXPECT_STREQ(RomGetSnapshotCacheFileExtension(), "romcch");
    EXPECT_EQ(RomGetMeshFileExtension(), GetFactory().GetMeshFileExtension().c_str());
    EXPECT_EQ(&GetFactory(), &GetFactory());
}

TEST(Exports, ReleaseAcceptsNull) { EXPECT_EQ(RomFactoryRelease(nullptr), nullptr); }

TEST(Exports, PointsThroughTheBoundary) {
    RomObject* a = NewPoint();
    RomObject* b = NewPoint();
    EXPECT_EQ(TextOf(RomPointSetValue(a, "x", 1.0)), "<success>");
    EXPECT_EQ(TextOf(RomPointSetValue(b, "x", 1.0)), "<success>");
    EXPECT_EQ(TextOf(RomPointSetValue(b, "y", 2.0)), "<success>");

    std::uint32_t flag = 9;
    EXPECT_EQ(TextOf(RomPointEquals(a, b, &flag)), "<success>");
    EXPECT_EQ(flag, 1u);
    EXPECT_EQ(TextOf(RomPointEquals(b, a, &flag)), "<success>");
    EXPECT_EQ(flag, 0u);
    EXPECT_EQ(TextOf(RomPointHasValue(a, "y", &flag)), "<success>");
    EXPECT_EQ(flag, 0u);

    EXPECT_EQ(TextOf(RomPointCopyTo(b, a)), "<success>");
    double value = 0;
    EXPECT_EQ(RomPointTryGetValue(a, "y", &value), 1u);
    EXPECT_EQ(value, 2.0);

    EXPECT_EQ(TextOf(RomPointClear(a)), "<success>");
    value = 5;
    EXPECT_EQ(TextOf(RomPointGetValue(a, "x", &value)), "The point does not contains the parameter x.");
    EXPECT_EQ(value, 5) << "out-parameter written on failure";
    EXPECT_EQ(RomPointTryGetValue(a, "x", &value), 0u);
    EXPECT_EQ(value, 5);

    EXPECT_EQ(TextOf(RomFactoryRelease(a)), "<success>");
    EXPECT_EQ(TextOf(RomFactoryRelease(b)), "<success>");
}

TEST(Exports, BadArgumentsBecomeExceptionHandles) {
    RomObject* point = NewPoint();
    double value = 3;
    std::uint32_t flag = 3;
    EXPECT_EQ(TextOf(RomPointSetValue(nullptr, "x", 1)), "Invalid object handle: null.");
    EXPECT_EQ(TextOf(RomPointSetValue(point, nullptr, 1)), "Invalid string argument: null.");
    EXPECT_EQ(TextOf(RomPointGetValue(point, "x", nullptr)), "Invalid output argument: null.");
    EXPECT_EQ(TextOf(RomContainerGetCount(point, &flag)), "Invalid object handle: expected IContainerBase.");
    EXPECT_EQ(TextOf(RomSnapshotCacheClear(point)), "Invalid object handle: expected ISnapshotCache.");
    EXPECT_EQ(TextOf(RomSetSolverId(point, "id")), "Invalid object handle: expected IIdentifiableBySolver.");
    EXPECT_EQ(TextOf(RomPersistableSave(point, "a.romcch")), "Invalid object handle: expected IPersistable.");
    EXPECT_EQ(flag, 3u);

    EXPECT_STREQ(RomGetSolverId(point), "");
    EXPECT_STREQ(RomGetSolverId(nullptr), "");
    EXPECT_STREQ(RomSolverIdentifierGetId(nullptr), "");
    EXPECT_EQ(RomPointTryGetValue(nullptr, "x", &value), 0u);
    EXPECT_EQ(RomPointTryGetValue(point, nullptr, &value), 0u);
    EXPECT_EQ(RomPointTryGetValue(point, "x", nullptr), 0u);
    EXPECT_EQ(value, 3);
    EXPECT_EQ(TextOf(RomFactoryRelease(point)), "<success>");
}

TEST(Exports, FactoryForCppClients) {
    Tervik::Rom::Snapshot::IUserPoint* point = GetFactory().CreateUserPoint();
    point->SetValue("x", 4);
    RomObject* handle = point;
    double value = 0;
    EXPECT_EQ(TextOf(RomPointGetValue(handle, "x", &value)), "<success>");
    EXPECT_EQ(value, 4);
    EXPECT_EQ(TextOf(RomFactoryRelease(handle)), "<success>");
}

TEST(Exports, SnapshotCacheThroughTheBoundary) {
    RomObject* cache = nullptr;
    ASSERT_EQ(TextOf(RomFactoryCreateSnapshotCache(&cache)), "<success>");
    RomObject* input = NewPoint();
    RomObject* output = NewPoint();
    RomPointSetValue(input, "x", 1);
    RomPointSetValue(output, "lift", 0.5);

    std::uint32_t added = 9;
    EXPECT_EQ(TextOf(RomSnapshotCachePush(cache, input, output, "run.romsnp", &added)), "<success>");
    EXPECT_EQ(added, 1u);
    EXPECT_EQ(TextOf(RomSnapshotCachePush(cache, input, output, "again.romsnp", &added)), "<success>");
    EXPECT_EQ(added, 0u);

    RomObject* entry = nullptr;
    EXPECT_EQ(TextOf(RomSnapshotCachePull(cache, input, &entry)), "<success>");
    ASSERT_NE(entry, nullptr);
    const char* file = nullptr;
    EXPECT_EQ(TextOf(RomSnasphotCacheEntryGetSnapshotFile(entry, &file)), "<success>");
    EXPECT_STREQ(file, "run.romsnp");
    RomObject* point = nullptr;
    EXPECT_EQ(TextOf(RomSnapshotCacheEntryGetOutputPoint(entry, &point)), "<success>");
    double lift = 0;
    EXPECT_EQ(TextOf(RomPointGetValue(point, "lift", &lift)), "<success>");
    EXPECT_EQ(lift, 0.5);
    EXPECT_EQ(TextOf(RomSnapshotCacheEntryGetInputPoint(entry, &point)), "<success>");
    EXPECT_EQ(TextOf(RomPointSetValue(point, "x", 2)), "<success>") << "entry points are writable";

    EXPECT_EQ(TextOf(RomPersistableSave(cache, "/nonexistent-folder/c.romcch")),
              "Could not open the file /nonexistent-folder/c.romcch.");
    EXPECT_EQ(TextOf(RomPersistableResume(cache, "/nonexistent-folder/c.romcch")),
              "JsonSerializationFile does not exist!\nProvided complete path to file is :\n/nonexistent-folder/c.romcch");

    EXPECT_EQ(TextOf(RomSnapshotCacheClear(cache)), "<success>");
    entry = input;
    EXPECT_EQ(TextOf(RomSnapshotCachePull(cache, input, &entry)), "<success>");
    EXPECT_EQ(entry, nullptr);
    EXPECT_EQ(TextOf(RomSnapshotCachePull(cache, cache, &entry)), "Invalid object handle: expected IPoint.");

    for (RomObject* object : {cache, input, output}) EXPECT_EQ(TextOf(RomFactoryRelease(object)), "<success>");
}

TEST(Exports, ProjectsThroughTheBoundary) {
    RomObject* a = nullptr;
    RomObject* b = nullptr;
    ASSERT_EQ(TextOf(RomFactoryCreateProject(&a)), "<success>");
    ASSERT_EQ(TextOf(RomFactoryCreateProject(&b)), "<success>");
    std::uint32_t same = 7;
    EXPECT_EQ(TextOf(RomProjectComparison(a, a, &same)), "<success>");
    EXPECT_EQ(same, 1u);
    EXPECT_EQ(TextOf(RomProjectComparison(a, b, &same)), "<success>");
    EXPECT_EQ(same, 0u);
    RomObject* point = NewPoint();
    EXPECT_EQ(TextOf(RomProjectComparison(a, point, &same)), "<success>") << "another kind compares unequal";
    EXPECT_EQ(same, 0u);
    EXPECT_EQ(TextOf(RomProjectComparison(point, a, &same)), "Invalid object handle: expected IProject.");

    const std::string path = testing::TempDir() + "exports_project.rompjt";
    EXPECT_EQ(TextOf(RomPersistableSave(a, path.c_str())), "<success>");
    EXPECT_EQ(TextOf(RomPersistableResume(b, path.c_str())), "<success>");
    EXPECT_EQ(TextOf(RomProjectComparison(b, a, &same)), "<success>");
    EXPECT_EQ(same, 1u);
    EXPECT_EQ(TextOf(RomPersistableResume(b, (path + ".bak").c_str())),
              "The file " + path + ".bak do not have the expected extension rompjt.");
    std::remove(path.c_str());

    for (RomObject* object : {a, b, point}) EXPECT_EQ(TextOf(RomFactoryRelease(object)), "<success>");
}

TEST(Exports, CppClientsCastAndCatchTheLibrarysTypes) {
    using namespace Tervik::Rom;
    const std::unique_ptr<Snapshot::IUserPoint> point(GetFactory().CreateUserPoint());
    Common::IRomObject* handle = point.get();
    EXPECT_EQ(dynamic_cast<Snapshot::IPoint*>(handle), point.get());
    EXPECT_EQ(dynamic_cast<Project::IProject*>(handle), nullptr);
    try {
        point->GetValue("x");
        FAIL() << "no exception";
    } catch (const Common::RomException& e) {
        EXPECT_STREQ(e.what(), "The point does not contains the parameter x.");
    }
    EXPECT_THROW(GetFactory().CreateAndResumeProject("missing.rompjt"), Common::RomException);
}
