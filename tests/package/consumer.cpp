// A C++ client of an installed tervikrom: the factory, an interface cast and an exception
// thrown inside the library and caught here by its type.
#include <cstdio>
#include <memory>

#include <tervik/rom/api.hpp>
#include <tervik/rom/snapshot.hpp>

int main() {
    using Tervik::Rom::Common::RomException;
    auto& factory = GetFactory();
    std::unique_ptr<Tervik::Rom::Snapshot::IUserPoint> point(factory.CreateUserPoint());
    point->SetValue("load", 1500.0);
    if (point->GetValue("load") != 1500.0 || factory.GetProjectFileExtension() != "rompjt") {
        std::fprintf(stderr, "consumer_cpp: wrong value or extension\n");
        return 1;
    }
    Tervik::Rom::Common::IRomObject* object = point.get();
    if (dynamic_cast<Tervik::Rom::Snapshot::IPoint*>(object) == nullptr) {
        std::fprintf(stderr, "consumer_cpp: the point is not an IPoint\n");
        return 1;
    }
    try {
        point->GetValue("missing");
        std::fprintf(stderr, "consumer_cpp: no exception for a missing parameter\n");
        return 1;
    } catch (const RomException& e) {
        std::printf("consumer (C++): tervikrom works (%s)\n", e.what());
    }
    return 0;
}
