// A C++ client of an installed tervikrom: the factory, an interface cast and an exception
// thrown inside the library and caught here by its type.
#include <cstdio>
#include <memory>

#include <tervik/rom/api.hpp>
#include <tervik/rom/snapshot.hpp>

int main() {
    auto& factory = GetFactory();
    std::unique_ptr<Tervik::Rom::Snapshot::IUserPoint> point(factory.CreateUserPoint());
    point->SetValue("load", 1500.0);
    Tervik::Rom::Common::IRomObject* object = point.get();
    if (point->GetValue("load") != 1500.0 || factory.GetProjectFileExtension() != "rompjt" ||
        dynamic_cast<Tervik::Rom::Snapshot::IPoint*>(object) == nullptr) {
        std::fprintf(stderr, "consumer_cpp: wrong value, extension or interface\n");
        return 1;
    }
    try {
        point->GetValue("missing");
    } catch (const Tervik::Rom::Common::RomException& e) {
        std::printf("consumer (C++): tervikrom works (%s)\n", e.what());
        return 0;
    }
    std::fprintf(stderr, "consumer_cpp: no exception for a missing parameter\n");
    return 1;
}
