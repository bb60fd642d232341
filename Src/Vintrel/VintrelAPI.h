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

/* ---- Lifecycle ------------------------------------------------------------------------------------ */

/* VT_Init: starts the library on the data directory sInitDirPath (the working directory when NULL or
 * empty): the segmentation engine (sInitDirPath/Data), the encoding converter for encode 1 (UTF-8),
 * 2 (BIG5), 3 (GBK in traditional characters), 4 (UTF-8 over the traditional tables) or 5 (UTF-8; 0 or
 * any other value: GBK, no conversion), the look-alike and pinyin tables (optional), and scanner
 * instance 0. sDelimiter separates the fields of detailed results (NULL counts as ""). 1 on success;
 * 0 when the engine or the converter cannot start. Calling it again without VT_Exit adds an instance.
 * Not safe to overlap with any other call. */
VT_API int VT_Init(const char* sInitDirPath, int encode, const char* sDelimiter);
/* VT_Exit: deletes every instance and stops everything VT_Init started; it waits for calls under way.
 * Texts returned before become invalid. */
VT_API void VT_Exit(void);
/* VT_NewInstance: a new scanner instance with its own dictionary files
 * (<data>/Vintrelner/Filter<handle>_...); its handle, or -1 before VT_Init. Handles are never reused. */
VT_API int VT_NewInstance(void);
/* VT_DeleteInstance: deletes an instance (calls under way on it finish first); 1 for a handle that
 * was ever given out (also when already deleted), else 0. */
VT_API int VT_DeleteInstance(int handle);

/* ---- Dictionaries --------------------------------------------------------------------------------- */

/* VT_ImportUserDict: imports a keyword file, one entry a line: keyword (or [keyword with blanks]),
 * class (default "filter"), weight (default 1), pinyin flag (1: also match its pinyin); a keyword with
 * "+" is a compound rule such as {A;B}+C-D. bOverwrite replaces the instance's keywords, otherwise
 * they are merged. The number of lines accepted; 0 on failure, the instance then unchanged in memory
 * and on disk. Scans may run meanwhile; two imports or deletions on one instance run one after the
 * other. */
VT_API int VT_ImportUserDict(const char* sFilename, int bOverwrite, int handle);
/* VT_DeleteUserDict: removes the keywords listed in a file (first token of a line, or [keyword]); the
 * number of lines whose keyword was found; 0 on failure. */
VT_API int VT_DeleteUserDict(const char* sFilename, int handle);

/* ---- Scans ---------------------------------------------------------------------------------------- */

/* VT_Scan: the classes whose keywords occur in sContent, "class/total#" each, highest total first; ""
 * when none. NULL on failure. */
VT_API const char* VT_Scan(const char* sContent, int handle);
/* VT_ScanDetail: the detailed scan: keyword hits confirmed by word segmentation (a keyword lying
 * across two words is dropped), scored, compound rules applied when no keyword is sensitive by itself;
 * a text without keywords is retried with look-alike characters replaced ("[形变]" before the keywords,
 * then "||" and the input at the end) and then through its pinyin ("(音变)" before the keywords). The
 * result reads: score ("%.2f"), delimiter, keywords ("##" between them), delimiter, classes,
 * delimiter, the standardised text (a text over 1024 bytes: its hit sentences marked with
 * <class name="..." weight=...>...</class>). "" when nothing is hit; NULL on failure. Many threads may
 * scan one instance at once. */
VT_API const char* VT_ScanDetail(const char* sContent, int handle);
/* VT_ScanFile, VT_ScanFileDetail: VT_Scan or VT_ScanDetail of a whole file; "" when it cannot be read
 * or is empty ("Cannot read file <name>"); NULL for an invalid handle. */
VT_API const char* VT_ScanFile(const char* sFilename, int handle);
VT_API const char* VT_ScanFileDetail(const char* sFilename, int handle);
/* VT_ScanLine: VT_ScanDetail of every line of sFilename (read in pieces of at most 10239 bytes),
 * printing "Processing <n>\r" every 100 lines; creates sResultFilename (holding the UTF-8 byte-order
 * mark when callers write another encoding than GBK). The number of lines read; -1 when the result
 * file cannot be created; 0 when the input cannot be read or the handle is invalid. */
VT_API int VT_ScanLine(const char* sFilename, const char* sResultFilename, int handle, int bEncript);
/* VT_ScanStat: writes the hit statistics of the instance to sResultFile (GBK); 1 on success. */
VT_API int VT_ScanStat(const char* sResultFile, int handle);

/* ---- Errors --------------------------------------------------------------------------------------- */

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
