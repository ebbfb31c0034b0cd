/* Export macro of the orx libraries: C linkage, default visibility. */
#ifndef ORX_EXPORT_H
#define ORX_EXPORT_H

#ifdef __cplusplus
#define ORX_EXTERN_C extern "C"
#define ORX_NOEXCEPT noexcept
#else
#define ORX_EXTERN_C extern
#define ORX_NOEXCEPT
#endif

/* Every public entry point is declared with ORX_API; everything else in the
   libraries is hidden (they are compiled with -fvisibility=hidden). */
#define ORX_API ORX_EXTERN_C __attribute__((visibility("default")))

#endif
