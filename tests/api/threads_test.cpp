// Different objects used from different threads at the same time.
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "support/exports.hpp"

TEST(Threads, EightThreadsWithTheirOwnObjects) {
    constexpr int threads = 8;
    constexpr int rounds = 2000;
    std::atomic<int> failures{0};
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t) {
        workers.emplace_back([t, &failures] {
            const std::string name = "p" + std::to_string(t);
            for (int i = 0; i < rounds; ++i) {
                RomObject* a = nullptr;
                RomObject* b = nullptr;
                if (RomFactoryCreateUserPoint(&a) != nullptr || RomFactoryCreateUserPoint(&b) != nullptr) {
                    ++failures;
                    return;
                }
                RomPointSetValue(a, name.c_str(), i);
                RomPointCopyTo(a, b);
                std::uint32_t equal = 0;
                double value = -1;
                if (RomPointEquals(b, a, &equal) != nullptr || equal != 1) ++failures;
                if (RomPointTryGetValue(b, name.c_str(), &value) != 1 || value != i) ++failures;
                if (TextOf(RomPointGetValue(a, "absent", &value)) !=
                    "The point does not contains the parameter absent.")
                    ++failures;

                RomObject* cache = nullptr;
                RomObject* project = nullptr;
                std::uint32_t added = 0;
                std::uint32_t same = 1;
                if (RomFactoryCreateSnapshotCache(&cache) != nullptr || RomFactoryCreateProject(&project) != nullptr ||
                    RomSnapshotCachePush(cache, a, b, name.c_str(), &added) != nullptr || added != 1 ||
                    RomProjectComparison(project, cache, &same) != nullptr || same != 0)
                    ++failures;
                for (RomObject* object : {a, b, cache, project}) RomFactoryRelease(object);
            }
        });
    }
    for (auto& worker : workers) worker.join();
    EXPECT_EQ(failures.load(), 0);
}
