/* A C99 client of an installed tervikrom: a few exports, success and failure (the
 * out-parameter of a failed call untouched). */
#include <stdio.h>
#include <string.h>

#include <tervik/rom/rom.h>

int main(void) {
    RomObject* point = NULL;
    RomExceptionHandle error;
    double value = 0.0;
    int ok = strcmp(RomGetMeshFileExtension(), "rommsh") == 0 && RomFactoryCreateUserPoint(&point) == NULL &&
             RomPointSetValue(point, "load", 1500.0) == NULL && RomPointGetValue(point, "load", &value) == NULL &&
             value == 1500.0;
    value = 7.0;
    error = RomPointGetValue(point, "missing", &value);
    ok = ok && error != NULL && strstr(RomGetExceptionDescription(error), "missing") != NULL && value == 7.0;
    RomReleaseException(error);
    ok = ok && RomFactoryRelease(point) == NULL;
    printf("consumer (C): %s\n", ok ? "tervikrom works" : "failed");
    return ok ? 0 : 1;
}
