/* A C99 client: creates and releases objects and reads an exception text. */
#include <stdio.h>
#include <string.h>

#include <tervik/rom/rom.h>

static int failures = 0;

#define EXPECT(condition)                                                      \
    do {                                                                       \
        if (!(condition)) {                                                    \
            fprintf(stderr, "%s:%d: expected %s\n", __FILE__, __LINE__, #condition); \
            ++failures;                                                        \
        }                                                                      \
    } while (0)

int main(void) {
    RomObject* point = NULL;
    RomExceptionHandle error;
    double value = 7.0;
    uint32_t has = 5;

    EXPECT(RomFactoryCreateUserPoint(&point) == NULL);
    EXPECT(point != NULL);
    EXPECT(RomPointSetValue(point, "mach", 0.8) == NULL);
    EXPECT(RomPointHasValue(point, "mach", &has) == NULL && has == 1);

    error = RomPointGetValue(point, "alpha", &value);
    EXPECT(error != NULL);
    if (error != NULL) {
        EXPECT(strcmp(RomGetExceptionDescription(error), "The point does not contains the parameter alpha.") == 0);
        RomReleaseException(error);
    }
    EXPECT(value == 7.0);

    error = RomSnapshotCacheClear(point);
    EXPECT(error != NULL);
    if (error != NULL) {
        EXPECT(strcmp(RomGetExceptionDescription(error), "Invalid object handle: expected ISnapshotCache.") == 0);
        RomReleaseException(error);
    }

    EXPECT(strcmp(RomGetConfigurationFileExtension(), "romcfg") == 0);
    EXPECT(RomFactoryRelease(point) == NULL);
    EXPECT(RomFactoryRelease(NULL) == NULL);

    printf("%d passed, %d failed\n", failures == 0 ? 1 : 0, failures == 0 ? 0 : 1);
    return failures == 0 ? 0 : 1;
}
