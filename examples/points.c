/* Creates two parameter points, compares them both ways, shows the text of an error
 * provoked on purpose, then records a run in a snapshot cache, saves the cache and
 * finds the run again in the reloaded copy. */
#include <stdio.h>
#include <stdlib.h>

#include <tervik/rom/rom.h>

static void check(RomExceptionHandle error, const char* what) {
    if (error != NULL) {
        fprintf(stderr, "%s failed: %s\n", what, RomGetExceptionDescription(error));
        RomReleaseException(error);
        exit(1);
    }
}

int main(void) {
    RomObject* query = NULL;
    RomObject* run = NULL;
    uint32_t equal = 0;
    double value = 0.0;
    RomExceptionHandle error;

    check(RomFactoryCreateUserPoint(&query), "RomFactoryCreateUserPoint");
    check(RomFactoryCreateUserPoint(&run), "RomFactoryCreateUserPoint");

    check(RomPointSetValue(query, "pressure", 101325.0), "RomPointSetValue");
    check(RomPointSetValue(run, "pressure", 101325.0), "RomPointSetValue");
    check(RomPointSetValue(run, "temperature", 293.15), "RomPointSetValue");

    check(RomPointEquals(query, run, &equal), "RomPointEquals");
    printf("query equals run: %u\n", (unsigned)equal);
    check(RomPointEquals(run, query, &equal), "RomPointEquals");
    printf("run equals query: %u\n", (unsigned)equal);

    if (RomPointTryGetValue(run, "temperature", &value)) printf("run temperature: %g\n", value);

    error = RomPointGetValue(query, "temperature", &value);
    if (error != NULL) {
        printf("provoked error: %s\n", RomGetExceptionDescription(error));
        RomReleaseException(error);
    }

    printf("snapshot files end in .%s, caches in .%s\n", RomGetSnapshotFileExtension(),
           RomGetSnapshotCacheFileExtension());

    {
        RomObject* cache = NULL;
        RomObject* reloaded = NULL;
        RomObject* entry = NULL;
        const char* file = NULL;
        uint32_t added = 0;
        const char* path = "example.romcch";

        check(RomFactoryCreateSnapshotCache(&cache), "RomFactoryCreateSnapshotCache");
        check(RomSnapshotCachePush(cache, run, query, "run-001.romsnp", &added), "RomSnapshotCachePush");
        check(RomPersistableSave(cache, path), "RomPersistableSave");
        check(RomFactoryCreateSnapshotCache(&reloaded), "RomFactoryCreateSnapshotCache");
        check(RomPersistableResume(reloaded, path), "RomPersistableResume");
        check(RomSnapshotCachePull(reloaded, run, &entry), "RomSnapshotCachePull");
        if (entry != NULL) {
            check(RomSnasphotCacheEntryGetSnapshotFile(entry, &file), "RomSnasphotCacheEntryGetSnapshotFile");
            printf("cache %s: the run is in %s\n", path, file);
        }
        remove(path);
        check(RomFactoryRelease(cache), "RomFactoryRelease");
        check(RomFactoryRelease(reloaded), "RomFactoryRelease");
    }

    check(RomFactoryRelease(query), "RomFactoryRelease");
    check(RomFactoryRelease(run), "RomFactoryRelease");
    return 0;
}
