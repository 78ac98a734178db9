// Every proper prefix of a valid binary file fails with the read error; every single-byte
// corruption of it resumes to a library error or to an object, never to a crash, a hang
// or a huge allocation (the sanitizer build checks the memory side).
#include <functional>
#include <string>

#include <tervik/rom/rom.h>

#include "support/small_objects.hpp"
#include "support/temp_dir.hpp"

using namespace SmallObjects;

using DamagedFiles = TempDirTest;

TEST_F(DamagedFiles, PrefixesFailAndCorruptionsNeverCrash) {
    struct Kind {
        const char* file;
        std::function<RomObject*()> make;
        RomExceptionHandle (*create)(RomObject**);
    };
    const Kind kinds[] = {
        {"mesh.rommsh", [] { return MeshData(3); }, &RomFactoryCreateMeshData},
        {"run.romsnp", [] { return Snapshot(4); }, &RomFactoryCreateSnapshot},
        {"project.rompjt", [] { RomObject* p = nullptr; Ok(RomFactoryCreateProject(&p)); return p; },
         &RomFactoryCreateProject},
    };
    for (const Kind& kind : kinds) {
        SCOPED_TRACE(kind.file);
        const std::string path = Path(kind.file);
        RomObject* original = kind.make();
        Ok(RomPersistableSave(original, path.c_str()));
        Ok(RomFactoryRelease(original));
        const std::string bytes = ReadBytes(path);

        const auto resume = [&](const std::string& content) {
            std::filesystem::remove(path);  // a new file: truncating one in place waits for its writeback
            WriteBytes(path, content);
            RomObject* object = nullptr;
            Ok(kind.create(&object));
            const std::string text = TextOf(RomPersistableResume(object, path.c_str()));
            Ok(RomFactoryRelease(object));
            return text;
        };
        for (std::size_t length = 0; length < bytes.size(); ++length)
            EXPECT_EQ(resume(bytes.substr(0, length)), "System error while trying to read from a file.")
                << "prefix of " << length << " bytes";
        for (std::size_t at = 0; at < bytes.size(); ++at)
            for (const char value : {'\x00', '\x7f', '\xff'}) {
                std::string corrupt = bytes;
                if (corrupt[at] == value) continue;
                corrupt[at] = value;
                resume(corrupt);
            }
        EXPECT_EQ(resume(bytes), kOk);
    }
}
