#include <set>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "common/identifiable.hpp"
#include "support/temp_dir.hpp"

using namespace Tervik::Rom::Common;

namespace {

class Identified : public CIdentifiable, public CIdentifiableBySolver {
public:
    using CIdentifiable::InternalIdFromJson;
    using CIdentifiable::InternalIdToJson;
    using CIdentifiableBySolver::SolverIdFromJson;
    using CIdentifiableBySolver::SolverIdToJson;
};

bool IsUuidText(const std::string& id) {
    if (id.size() != 36) return false;
    for (std::size_t i = 0; i < id.size(); ++i) {
        const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
        const char c = id[i];
        if (dash ? c != '-' : !((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'))) return false;
    }
    return id[14] == '4' && std::string("89ab").find(id[19]) != std::string::npos;
}

}  // namespace

TEST(Identifiable, NewObjectsGetVersion4IdsUniqueAcrossThreads) {
    constexpr int threads = 8;
    constexpr int perThread = 5000;
    std::vector<std::vector<std::string>> ids(threads);
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t)
        workers.emplace_back([&ids, t] {
            for (int i = 0; i < perThread; ++i) ids[t].push_back(NewUuid());
        });
    for (auto& worker : workers) worker.join();
    const Identified a, b;
    std::set<std::string> all{a.GetInternalId(), b.GetInternalId()};
    for (const auto& list : ids) all.insert(list.begin(), list.end());
    EXPECT_EQ(all.size(), static_cast<std::size_t>(threads * perThread + 2));
    EXPECT_TRUE(IsUuidText(a.GetInternalId())) << a.GetInternalId();
    EXPECT_TRUE(IsUuidText(b.GetInternalId())) << b.GetInternalId();
}

TEST(Identifiable, JsonReadsTheIdOnlyWhenPresent) {
    Identified object;
    const std::string generated = object.GetInternalId();
    Json::Value value(Json::objectValue);
    object.InternalIdFromJson(value);
    EXPECT_EQ(object.GetInternalId(), generated);

    value["internalId"] = "not a uuid at all";
    object.InternalIdFromJson(value);
    EXPECT_EQ(object.GetInternalId(), "not a uuid at all");

    Json::Value written;
    object.InternalIdToJson(written);
    EXPECT_EQ(written["internalId"].asString(), "not a uuid at all");
}

TEST(IdentifiableBySolver, EmptyByDefaultAndWrittenAlways) {
    Identified object;
    EXPECT_EQ(object.GetSolverId(), "");
    Json::Value written;
    object.SolverIdToJson(written);
    ASSERT_TRUE(written.isMember("solverId"));
    EXPECT_EQ(written["solverId"].asString(), "");

    object.SetSolverId("wall");
    object.SolverIdFromJson(Json::Value(Json::objectValue));
    EXPECT_EQ(object.GetSolverId(), "wall");
    object.SetSolverId("");
    EXPECT_EQ(object.GetSolverId(), "");
}

TEST(RomObject, EqualsWithoutOverrideThrowsTheWorkInProgressText) {
    Identified a;
    EXPECT_EQ(MessageOf<RomException>([&] { (void)a.Equals(a); }),
              "Work in progress! Equals method must be used only with objects that override the method!");
}

TEST(SolverIdentifier, ComparesTextsByteForByte) {
    CSolverIdentifier a("inlet");
    CSolverIdentifier b("inlet");
    CSolverIdentifier c("Inlet");
    Identified other;
    EXPECT_TRUE(a.Equals(b));
    EXPECT_FALSE(a.Equals(c));
    EXPECT_FALSE(a.Equals(other));

    Json::Value value;
    a.ToJson(value);
    CSolverIdentifier read;
    read.FromJson(value, 1);
    EXPECT_EQ(read.GetId(), "inlet");
}
