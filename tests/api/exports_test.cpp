// The exported functions as a client sees them, through the shared library.
#include <cstdio>
#include <memory>
#include <string>

#include <tervik/rom/api.hpp>
#include <tervik/rom/project.hpp>
#include <tervik/rom/snapshot.hpp>

#include "support/exports.hpp"
#include "support/temp_dir.hpp"

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

// Each export of the points, the snapshot cache and the project reaches its operation with
// its arguments in order; what the operations do is tested on the classes themselves.
TEST(Exports, PointsCachesAndProjectsThroughTheBoundary) {
    EXPECT_EQ(RomFactoryRelease(nullptr), nullptr);
    const Owned a = Create(RomFactoryCreateUserPoint), b = Create(RomFactoryCreateUserPoint);
    ROM_OK(RomPointSetValue(a.get(), "x", 1.0));
    ROM_OK(RomPointSetValue(b.get(), "x", 1.0));
    ROM_OK(RomPointSetValue(b.get(), "y", 2.0));
    EXPECT_EQ(Read(RomPointEquals, a.get(), b.get()), 1u);
    EXPECT_EQ(Read(RomPointEquals, b.get(), a.get()), 0u);
    EXPECT_EQ(Read(RomPointHasValue, a.get(), "y"), 0u);
    ROM_OK(RomPointCopyTo(b.get(), a.get()));
    double value = 0;
    EXPECT_EQ(RomPointTryGetValue(a.get(), "y", &value), 1u);
    EXPECT_EQ(value, 2.0);
    ROM_OK(RomPointClear(a.get()));
    EXPECT_EQ(TextOf(RomPointGetValue(a.get(), "x", &value)), "The point does not contains the parameter x.");
    EXPECT_EQ(RomPointTryGetValue(a.get(), "x", &value), 0u);
    EXPECT_EQ(value, 2.0) << "out-parameter written on failure";

    const Owned cache = Create(RomFactoryCreateSnapshotCache), output = Create(RomFactoryCreateUserPoint);
    ROM_OK(RomPointSetValue(output.get(), "lift", 0.5));
    std::uint32_t added = 9;
    ROM_OK(RomSnapshotCachePush(cache.get(), b.get(), output.get(), "run.romsnp", &added));
    EXPECT_EQ(added, 1u);
    ROM_OK(RomSnapshotCachePush(cache.get(), b.get(), output.get(), "again.romsnp", &added));
    EXPECT_EQ(added, 0u);
    RomObject* entry = Read(RomSnapshotCachePull, cache.get(), b.get());
    ASSERT_NE(entry, nullptr);
    EXPECT_STREQ(Read(RomSnasphotCacheEntryGetSnapshotFile, entry), "run.romsnp");
    EXPECT_EQ(Read(RomPointGetValue, Child(RomSnapshotCacheEntryGetOutputPoint, entry), "lift"), 0.5);
    ROM_OK(RomPointSetValue(Child(RomSnapshotCacheEntryGetInputPoint, entry), "x", 2));
    ROM_OK(RomSnapshotCacheClear(cache.get()));
    EXPECT_EQ(Read(RomSnapshotCachePull, cache.get(), b.get()), nullptr);
    EXPECT_EQ(TextOf(RomSnapshotCachePull(cache.get(), cache.get(), &entry)),
              "Invalid object handle: expected IPoint.");

    const Owned p = Create(RomFactoryCreateProject), q = Create(RomFactoryCreateProject);
    EXPECT_EQ(Read(RomProjectComparison, p.get(), p.get()), 1u);
    EXPECT_EQ(Read(RomProjectComparison, p.get(), q.get()), 0u);
    EXPECT_EQ(Read(RomProjectComparison, p.get(), a.get()), 0u) << "another kind";
    EXPECT_EQ(TextOf(RomProjectComparison(a.get(), p.get(), &added)), "Invalid object handle: expected IProject.");
    const std::string path = testing::TempDir() + "exports_project.rompjt";
    ROM_OK(RomPersistableSave(p.get(), path.c_str()));
    ROM_OK(RomPersistableResume(q.get(), path.c_str()));
    EXPECT_EQ(Read(RomProjectComparison, q.get(), p.get()), 1u);
    std::remove(path.c_str());
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
    EXPECT_EQ(TextOf(RomConfigurationCheck(point)), "Invalid object handle: expected IConfiguration.");
    EXPECT_EQ(flag, 3u);

    EXPECT_STREQ(RomGetSolverId(point), "");
    EXPECT_STREQ(RomGetSolverId(nullptr), "");
    EXPECT_STREQ(RomSolverIdentifierGetId(nullptr), "");
    EXPECT_EQ(RomPointTryGetValue(nullptr, "x", &value), 0u);
    EXPECT_EQ(RomPointTryGetValue(point, nullptr, &value), 0u);
    EXPECT_EQ(RomPointTryGetValue(point, "x", nullptr), 0u);
    EXPECT_EQ(value, 3);
}

TEST(Exports, CppClientsCastAndCatchTheLibrarysTypes) {
    using namespace Tervik::Rom;
    const std::unique_ptr<Snapshot::IUserPoint> point(GetFactory().CreateUserPoint());
    Common::IRomObject* handle = point.get();
    EXPECT_EQ(dynamic_cast<Snapshot::IPoint*>(handle), point.get());
    EXPECT_EQ(dynamic_cast<Project::IProject*>(handle), nullptr);
    EXPECT_EQ(MessageOf<Common::RomException>([&] { point->GetValue("x"); }),
              "The point does not contains the parameter x.");
    EXPECT_THROW(GetFactory().CreateAndResumeProject("missing.rompjt"), Common::RomException);
    point->SetValue("x", 4);
    double value = 0;
    ROM_OK(RomPointGetValue(handle, "x", &value));
    EXPECT_EQ(value, 4) << "a C++ object is a handle";
}
