/*
 * The exported functions of the library. Compiles as C99 and as C++.
 *
 * Every object is an opaque RomObject handle. Functions that can fail return a
 * RomExceptionHandle: null means success; otherwise read the text with
 * RomGetExceptionDescription and free it with RomReleaseException. Out-parameters
 * are written only on success. Flags are 32-bit values 0 or 1.
 */
#ifndef TERVIK_ROM_ROM_H
#define TERVIK_ROM_ROM_H

#include <stdint.h>

#if defined(__GNUC__)
#define TERVIK_ROM_API __attribute__((visibility("default")))
#else
#define TERVIK_ROM_API
#endif

#ifdef __cplusplus
namespace Tervik { namespace Rom { namespace Common { class IRomObject; } } }
typedef Tervik::Rom::Common::IRomObject RomObject;
extern "C" {
#else
typedef struct RomObject RomObject;
#endif

typedef struct RomExceptionRecord* RomExceptionHandle;

/* Exception handles */
TERVIK_ROM_API const char* RomGetExceptionDescription(RomExceptionHandle exception);
TERVIK_ROM_API void RomReleaseException(RomExceptionHandle exception);

/* Factory */
TERVIK_ROM_API RomExceptionHandle RomFactoryCreateProject(RomObject** out);
TERVIK_ROM_API RomExceptionHandle RomFactoryCreateSnapshotCache(RomObject** out);
TERVIK_ROM_API RomExceptionHandle RomFactoryCreateUserPoint(RomObject** out);
/* Releases an object created by a RomFactoryCreate function; null is accepted. */
TERVIK_ROM_API RomExceptionHandle RomFactoryRelease(RomObject* object);

/* File extensions, without the dot */
TERVIK_ROM_API const char* RomGetConfigurationFileExtension(void);
TERVIK_ROM_API const char* RomGetMeshFileExtension(void);
TERVIK_ROM_API const char* RomGetProjectFileExtension(void);
TERVIK_ROM_API const char* RomGetRomFileExtension(void);
TERVIK_ROM_API const char* RomGetSnapshotFileExtension(void);
TERVIK_ROM_API const char* RomGetSnapshotCacheFileExtension(void);

/* Solver ids; the string getters return "" for a bad handle */
TERVIK_ROM_API const char* RomGetSolverId(RomObject* object);
TERVIK_ROM_API RomExceptionHandle RomSetSolverId(RomObject* object, const char* solverId);
TERVIK_ROM_API const char* RomSolverIdentifierGetId(RomObject* object);

/* Containers; RomContainerIndexOf gives 0xFFFFFFFF for an object that is not a member */
TERVIK_ROM_API RomExceptionHandle RomContainerGetCount(RomObject* container, uint32_t* count);
TERVIK_ROM_API RomExceptionHandle RomContainerGetObject(RomObject* container, uint32_t index,
                                                        RomObject** out);
TERVIK_ROM_API RomExceptionHandle RomContainerIndexOf(RomObject* container, RomObject* object,
                                                      uint32_t* index);

/* Persistence */
TERVIK_ROM_API RomExceptionHandle RomPersistableResume(RomObject* object, const char* file);
TERVIK_ROM_API RomExceptionHandle RomPersistableSave(RomObject* object, const char* file);

/* Points */
TERVIK_ROM_API RomExceptionHandle RomPointClear(RomObject* point);
TERVIK_ROM_API RomExceptionHandle RomPointCopyTo(RomObject* point, RomObject* target);
TERVIK_ROM_API RomExceptionHandle RomPointEquals(RomObject* point, RomObject* other, uint32_t* equal);
TERVIK_ROM_API RomExceptionHandle RomPointGetValue(RomObject* point, const char* name, double* value);
TERVIK_ROM_API RomExceptionHandle RomPointHasValue(RomObject* point, const char* name, uint32_t* has);
TERVIK_ROM_API RomExceptionHandle RomPointSetValue(RomObject* point, const char* name, double value);
/* Returns 1 and writes *value when the parameter exists; 0 otherwise (also for bad arguments). */
TERVIK_ROM_API uint32_t RomPointTryGetValue(RomObject* point, const char* name, double* value);

/* Snapshot cache */
TERVIK_ROM_API RomExceptionHandle RomSnapshotCacheClear(RomObject* cache);
/* *entry is null when no entry matches. */
TERVIK_ROM_API RomExceptionHandle RomSnapshotCachePull(RomObject* cache, RomObject* input,
                                                       RomObject** entry);
TERVIK_ROM_API RomExceptionHandle RomSnapshotCachePush(RomObject* cache, RomObject* input,
                                                       RomObject* output, const char* snapshotFile,
                                                       uint32_t* added);
TERVIK_ROM_API RomExceptionHandle RomSnapshotCacheEntryGetInputPoint(RomObject* entry,
                                                                     RomObject** point);
TERVIK_ROM_API RomExceptionHandle RomSnapshotCacheEntryGetOutputPoint(RomObject* entry,
                                                                      RomObject** point);
TERVIK_ROM_API RomExceptionHandle RomSnasphotCacheEntryGetSnapshotFile(RomObject* entry,
                                                                       const char** file);

/* Project */
TERVIK_ROM_API RomExceptionHandle RomProjectComparison(RomObject* project, RomObject* other,
                                                       uint32_t* same);

#ifdef __cplusplus
}
#endif

#endif
