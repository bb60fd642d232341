/* VintrelAPI.h: the public C interface of the Vintrel keyword scanner.
 *
 * Conventions:
 * (1) Results: functions returning int give 1 for success and 0 for failure; functions returning a
 *     handle give -1 on failure; functions returning text give NULL on failure. After a failure,
 *     VT_GetLastErrorMsg() tells why.
 * (2) Returned texts belong to the library (for scans, to the scanner instance, which frees them later
 *     in batches): copy them, never free them.
 * (3) Texts are read and written in the encoding chosen once at VT_Init; inside, the library works in GBK.
 * (4) Threads: every function may be called from several threads at once; the functions that are not
 *     safe to overlap say so in their comment.
 * (5) NULL or empty arguments and invalid handles give the failure value, never a crash.
 */
#ifndef VINTREL_VINTREL_VINTRELAPI_H_
#define VINTREL_VINTREL_VINTRELAPI_H_

#if defined(VINTREL_BUILDING_LIBRARY)
#define VT_API __attribute__((visibility("default")))
#else
#define VT_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* VT_GetLastErrorMsg: the text of the latest error reported by the library in any thread, "" before the
 * first. The pointer is a copy private to the calling thread and stays valid until that thread calls
 * VT_GetLastErrorMsg again. Never NULL. The text is never cleared by a success. */
VT_API const char* VT_GetLastErrorMsg(void);

/* VT_ExportDict: does no work and always returns 0, whatever the arguments (the keyword dictionary is not
 * exported through this interface). */
VT_API int VT_ExportDict(const char* sFilename, int handle);

#ifdef __cplusplus
}
#endif

#endif /* VINTREL_VINTREL_VINTRELAPI_H_ */
