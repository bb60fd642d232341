// ReadFile.h: CReadFile, a whole-file reader that keeps the last file open and serves several
// readers.
#ifndef VINTREL_UTILITY_READFILE_H_
#define VINTREL_UTILITY_READFILE_H_

#include <condition_variable>
#include <cstddef>
#include <cstdio>
#include <mutex>
#include <string>

// CReadFile reads pieces of files at byte offsets. It holds the last file it opened and reuses the
// handle while callers keep asking for the same name (compared without case); asking for another
// name closes the held file and opens the new one.
//
// Lifecycle: construct, ReadFile any number of times, destroy (closes the held file).
//
// Threads: ReadFile may run from many threads at once. Readers of the held file read in parallel
// (each reads at its own offset without moving a shared file position); a reader that needs another
// file waits, on a condition variable, until the readers inside have left, and keeps new readers
// out meanwhile.
class CReadFile {
public:
    CReadFile();
    ~CReadFile();
    CReadFile(const CReadFile&) = delete;  // owns an open file handle
    CReadFile& operator=(const CReadFile&) = delete;

    // ReadFile: reads nSize bytes from byte nOffset of sFilename (the held size of the whole file
    // when nSize is 0 and bReadAll; nothing when nSize is 0 and not bReadAll). A request past the
    // end of the file gives the bytes up to the end. Returns the bytes read; when it is above 0,
    // *pBuffer receives a new NUL-terminated buffer that the caller frees with delete[]. When 0 is
    // returned *pBuffer is null:
    //  - the file cannot be opened: "Failed open file  <name>" goes to the ".log" file and the held
    //  file,
    //    if any, stays held;
    //  - no file is held (sFilename "" before any file was opened);
    //  - nothing to read (empty file, nOffset negative or at or past the end), a failed read or no
    //  memory.
    // A null sFilename or pBuffer gives 0 and changes nothing.
    size_t ReadFile(const char* sFilename, char** pBuffer, long nOffset = 0, size_t nSize = 0,
                    bool bReadAll = true);
    // ReadFile: the same into sContent ("" when 0 is returned).
    size_t ReadFile(const char* sFilename, std::string& sContent, long nOffset = 0,
                    size_t nSize = 0, bool bReadAll = true);

private:
    std::mutex m_mutex;
    std::condition_variable m_cvChanged;  // signalled when m_bWriting clears or a reader leaves
    std::string m_sFileRead;              // guarded by m_mutex
    FILE* m_fpFileRead = nullptr;  // guarded by m_mutex; closed only while no reader is inside
    int m_nReadThreadCount = 0;    // guarded by m_mutex
    bool m_bWriting = false;       // guarded by m_mutex
    size_t m_nFileSize = 0;        // guarded by m_mutex
};

#endif  // VINTREL_UTILITY_READFILE_H_
