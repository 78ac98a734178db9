/* A C99 client of an installed tervikrom: a few exports, success and failure. */
#include <stdio.h>
#include <string.h>

#include <tervik/rom/rom.h>

static int failures = 0;

static void expect(int condition, const char* what) {
    if (!condition) {
        fprintf(stderr, "consumer: %s\n", what);
        ++failures;
    }
}

/* Releases the handle; true when the call succeeded. */
static int ok(RomExceptionHandle error) {
    if (error == NULL) return 1;
    fprintf(stderr, "consumer: %s\n", RomGetExceptionDescription(error));
    RomReleaseException(error);
    return 0;
}

int main(void) {
    RomObject* point = NULL;
    RomExceptionHandle error;
    double value = 0.0;

    expect(strcmp(RomGetMeshFileExtension(), "rommsh") == 0, "mesh file extension");
    expect(strcmp(RomGetSnapshotCacheFileExtension(), "romcch") == 0, "snapshot cache file extension");

    expect(ok(RomFactoryCreateUserPoint(&point)) && point != NULL, "create a point");
    expect(ok(RomPointSetValue(point, "load", 1500.0)), "set a value");
    expect(ok(RomPointGetValue(point, "load", &value)) && value == 1500.0, "read the value back");

    value = 7.0;
    error = RomPointGetValue(point, "missing", &value);
    expect(error != NULL && strstr(RomGetExceptionDescription(error), "missing") != NULL,
           "a missing parameter is reported");
    RomReleaseException(error);
    expect(value == 7.0, "the out-parameter is untouched on failure");

    expect(ok(RomFactoryRelease(point)), "release the point");
    if (failures == 0) printf("consumer (C): tervikrom works\n");
    return failures == 0 ? 0 : 1;
}
