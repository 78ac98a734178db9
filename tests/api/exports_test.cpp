// The exported functions as a client sees them, through the shared library.
#include <cstdio>
#include <memory>
#include <string>

#include <tervik/rom/api.hpp>
#include <tervik/rom/project.hpp>
#include <tervik/rom/snapshot.hpp>

#include "support/exports.hpp"

// Each extension, from the C function and from the C++ factory: one string for the life of the process.
TEST(Exports, FileExtensions) {
    using Factory = Tervik::Rom::Api::IFactory;
    const struct {
        const char* (*exported)();
        const std::string& (Factory::*member)() const;
        const char* expected;
    } kinds[] = {
        {&RomGetConfigurationFileExtension, &Factory::GetConfigurationFileExtension, "romcfg"},
        {&RomGetMeshFileExtension, &Factory::GetMeshFileExtension, "rommsh"},
        {&RomGetProjectFileExtension, &Factory::GetProjectFileExtension, "rompjt"},
        {&RomGetRomFileExtension, &Factory::GetRomFileExtension, "romdat"},
        {&RomGetSnapshotFileExtension, &Factory::GetSnapshotFileExtension, "romsnp"},
        {&RomGetSnapshotCacheFileExtension, &Factory::GetSnapshotCacheFileExtension, "romcch"},
    };
    for (const auto& kind : kinds) {
        EXPECT_STREQ(kind.exported(), kind.expected);
        EXPECT_EQ((GetFactory().*kind.member)(), kind.expected);
        EXPECT_EQ(kind.exported(), (GetFactory().*kind.member)().c_str()) << kind.expected;
    }
    EXPECT_EQ(&GetFactory(), &GetFactory());
}

TEST(Exports, ReleaseAcceptsNull) { EXPECT_EQ(RomFactoryRelease(nullptr), nullptr); }

TEST(Exports, PointsThroughTheBoundary) {
    RomObject* a = Create(RomFactoryCreateUserPoint).release();
    RomObject* b = Create(RomFactoryCreateUserPoint).release();
    ASSERT_NE(a, nullptr);
    ROM_OK(RomPointSetValue(a, "x", 1.0));
    ROM_OK(RomPointSetValue(b, "x", 1.0));
    ROM_OK(RomPointSetValue(b, "y", 2.0));

    std::uint32_t flag = 9;
    ROM_OK(RomPointEquals(a, b, &flag));
    EXPECT_EQ(flag, 1u);
    ROM_OK(RomPointEquals(b, a, &flag));
    EXPECT_EQ(flag, 0u);
    ROM_OK(RomPointHasValue(a, "y", &flag));
    EXPECT_EQ(flag, 0u);

    ROM_OK(RomPointCopyTo(b, a));
    double value = 0;
    EXPECT_EQ(RomPointTryGetValue(a, "y", &value), 1u);
    EXPECT_EQ(value, 2.0);

    ROM_OK(RomPointClear(a));
    value = 5;
    EXPECT_EQ(TextOf(RomPointGetValue(a, "x", &value)), "The point does not contains the parameter x.");
    EXPECT_EQ(value, 5) << "out-parameter written on failure";
    EXPECT_EQ(RomPointTryGetValue(a, "x", &value), 0u);
    EXPECT_EQ(value, 5);

    ROM_OK(RomFactoryRelease(a));
    ROM_OK(RomFactoryRelease(b));
}

TEST(Exports, BadArgumentsBecomeExceptionHandles) {
    const Owned owned = Create(RomFactoryCreateUserPoint);
    RomObject* point = owned.get();
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
}

TEST(Exports, FactoryForCppClients) {
    Tervik::Rom::Snapshot::IUserPoint* point = GetFactory().CreateUserPoint();
    point->SetValue("x", 4);
    const Owned handle(point);
    double value = 0;
    ROM_OK(RomPointGetValue(handle.get(), "x", &value));
    EXPECT_EQ(value, 4);
}

TEST(Exports, SnapshotCacheThroughTheBoundary) {
    const Owned cache = Create(RomFactoryCreateSnapshotCache), input = Create(RomFactoryCreateUserPoint),
                output = Create(RomFactoryCreateUserPoint);
    ASSERT_NE(cache, nullptr);
    ROM_OK(RomPointSetValue(input.get(), "x", 1));
    ROM_OK(RomPointSetValue(output.get(), "lift", 0.5));

    std::uint32_t added = 9;
    ROM_OK(RomSnapshotCachePush(cache.get(), input.get(), output.get(), "run.romsnp", &added));
    EXPECT_EQ(added, 1u);
    ROM_OK(RomSnapshotCachePush(cache.get(), input.get(), output.get(), "again.romsnp", &added));
    EXPECT_EQ(added, 0u);

    RomObject* entry = nullptr;
    ROM_OK(RomSnapshotCachePull(cache.get(), input.get(), &entry));
    ASSERT_NE(entry, nullptr);
    const char* file = nullptr;
    ROM_OK(RomSnasphotCacheEntryGetSnapshotFile(entry, &file));
    EXPECT_STREQ(file, "run.romsnp");
    double lift = 0;
    ROM_OK(RomPointGetValue(Child(RomSnapshotCacheEntryGetOutputPoint, entry), "lift", &lift));
    EXPECT_EQ(lift, 0.5);
    EXPECT_EQ(TextOf(RomPointSetValue(Child(RomSnapshotCacheEntryGetInputPoint, entry), "x", 2)), kOk)
        << "entry points are writable";

    EXPECT_EQ(TextOf(RomPersistableSave(cache.get(), "/nonexistent-folder/c.romcch")),
              "Could not open the file /nonexistent-folder/c.romcch.");
    EXPECT_EQ(TextOf(RomPersistableResume(cache.get(), "/nonexistent-folder/c.romcch")),
              "JsonSerializationFile does not exist!\nProvided complete path to file is :\n/nonexistent-folder/c.romcch");

    ROM_OK(RomSnapshotCacheClear(cache.get()));
    entry = input.get();
    ROM_OK(RomSnapshotCachePull(cache.get(), input.get(), &entry));
    EXPECT_EQ(entry, nullptr);
    EXPECT_EQ(TextOf(RomSnapshotCachePull(cache.get(), cache.get(), &entry)), "Invalid object handle: expected IPoint.");
}

TEST(Exports, ProjectsThroughTheBoundary) {
    const Owned a = Create(RomFactoryCreateProject), b = Create(RomFactoryCreateProject),
                point = Create(RomFactoryCreateUserPoint);
    const auto same = [](const Owned& x, RomObject* y) {
        std::uint32_t flag = 7;
        ROM_OK(RomProjectComparison(x.get(), y, &flag));
        return flag;
    };
    EXPECT_EQ(same(a, a.get()), 1u);
    EXPECT_EQ(same(a, b.get()), 0u);
    EXPECT_EQ(same(a, point.get()), 0u) << "another kind compares unequal";
    std::uint32_t flag = 7;
    EXPECT_EQ(TextOf(RomProjectComparison(point.get(), a.get(), &flag)), "Invalid object handle: expected IProject.");

    const std::string path = testing::TempDir() + "exports_project.rompjt";
    ROM_OK(RomPersistableSave(a.get(), path.c_str()));
    ROM_OK(RomPersistableResume(b.get(), path.c_str()));
    EXPECT_EQ(same(b, a.get()), 1u);
    EXPECT_EQ(TextOf(RomPersistableResume(b.get(), (path + ".bak").c_str())),
              "The file " + path + ".bak do not have the expected extension rompjt.");
    std::remove(path.c_str());
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
