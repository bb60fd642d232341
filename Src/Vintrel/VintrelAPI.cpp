// VintrelAPI.cpp: the exported VT_ functions: start-up and shut-down, the registry of scanner instances
// and the calls forwarded to them. Nothing thrown crosses this boundary: each entry runs its body
// through GuardCall, which turns any exception into the function's failure value.
//
// Threads: g_lifeLock is held shared by every call for its whole duration and exclusively by VT_Init
// and VT_Exit, so the library is never taken down under a running call. A waiting VT_Init or VT_Exit
// goes before calls that arrive after it, so threads that keep calling cannot shut it out. The
// registry holds shared pointers: a call keeps its instance alive even when VT_DeleteInstance
// removes it meanwhile.
//
// The plain scan has a second, lock-free road, taken by every ordinary call: inside g_readGate it
// checks g_bStarted, finds the instance's raw pointer in g_pSlotChunks and borrows the instance's
// dictionary set through its raw pointer, so that a call writes no cache line that other threads
// write too. Whatever frees what that road reads first makes it unreachable and then waits for the
// gate: VT_Init and VT_Exit clear g_bStarted (the converter, the instances), VT_DeleteInstance
// empties the slot (the instance), an import or deletion stores the new set (the old set). Every
// other case (not started, bad or deleted handle, null text) leaves the gate and takes the locked
// road, which gives the failure values and messages.
#include "Vintrel/VintrelAPI.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <shared_mutex>
#include <string>
#include <system_error>
#include <vector>

#include "DORVANE/API/GRAVO.h"
#include "Utility/CodeTran.h"
#include "Utility/Pinyin.h"
#include "Utility/StrTran.h"
#include "Utility/Utility.h"
#include "Vintrel/ReadGate.h"
#include "Vintrel/Vintrel.h"

CCodeTran* g_pVintrelCodeTranslator = nullptr;
CStrTran* g_pXingZiTran = nullptr;
CPinyin* g_pPinyin = nullptr;

namespace {

// CLifeLock: a readers-writer lock (usable with std::shared_lock and std::unique_lock) under which a
// waiting writer goes first: once it waits, readers that come later wait behind it. The plain
// std::shared_mutex lets readers in as long as any reader holds the lock, so a stream of calls
// overlapping each other could keep VT_Exit waiting for ever. Readers must not take it twice.
class CLifeLock {
public:
    CLifeLock() {
        pthread_rwlockattr_t attr;
        pthread_rwlockattr_init(&attr);
#ifdef __GLIBC__
        pthread_rwlockattr_setkind_np(&attr, PTHREAD_RWLOCK_PREFER_WRITER_NONRECURSIVE_NP);
#endif
        pthread_rwlock_init(&m_lock, &attr);
        pthread_rwlockattr_destroy(&attr);
    }
    ~CLifeLock() { pthread_rwlock_destroy(&m_lock); }
    CLifeLock(const CLifeLock&) = delete;
    CLifeLock& operator=(const CLifeLock&) = delete;
    void lock() { Check(pthread_rwlock_wrlock(&m_lock)); }
    void unlock() { pthread_rwlock_unlock(&m_lock); }
    void lock_shared() { Check(pthread_rwlock_rdlock(&m_lock)); }
    void unlock_shared() { pthread_rwlock_unlock(&m_lock); }

private:
    // A lock that could not be taken (too many readers) throws: the call fails, holding nothing.
    static void Check(int nError) {
        if (nError != 0) throw std::system_error(nError, std::generic_category(), "life lock");
    }
    pthread_rwlock_t m_lock;
};

int g_bVTInit = 0;
std::string g_sDefaultDir;
std::string g_sDelimiter;
std::vector<std::shared_ptr<CVintrel>> g_vecVintrelner;  // the registry; the handle is the index
std::mutex g_mutexVT;                                      // guards g_vecVintrelner
CLifeLock g_lifeLock;                                      // see the file comment

// True between a successful VT_Init and the next VT_Init or VT_Exit; while it is true, g_bVTInit is 1
// and the converter stays as it is. Read by gated scans only: it never changes a result.
std::atomic<bool> g_bStarted{false};

// The registry's raw pointers for gated scans: chunk h / SLOT_CHUNK, slot h % SLOT_CHUNK holds the
// instance of handle h, or null (deleted, not yet made, or its chunk could not be made). Handles
// beyond the table take the locked road. Chunks are made under g_mutexVT as handles grow and freed
// by VT_Exit once no gated scan can reach them.
constexpr size_t SLOT_CHUNK = 1024;
constexpr size_t SLOT_CHUNKS = 1024;
std::atomic<std::atomic<CVintrel*>*> g_pSlotChunks[SLOT_CHUNKS];

// SetSlot: stores pWorker as handle h's slot (when the table reaches that far). REQUIRES: g_mutexVT
// held.
void SetSlot(size_t h, CVintrel* pWorker) {
    if (h >= SLOT_CHUNK * SLOT_CHUNKS) return;
    std::atomic<std::atomic<CVintrel*>*>& chunk = g_pSlotChunks[h / SLOT_CHUNK];
    std::atomic<CVintrel*>* pChunk = chunk.load(std::memory_order_relaxed);
    if (pChunk == nullptr) {
        if (pWorker == nullptr) return;
        pChunk = new (std::nothrow) std::atomic<CVintrel*>[SLOT_CHUNK];
        if (pChunk == nullptr) return;  // this handle's scans take the locked road
        for (size_t i = 0; i < SLOT_CHUNK; ++i) pChunk[i].store(nullptr, std::memory_order_relaxed);
        chunk.store(pChunk, std::memory_order_release);
    }
    // seq_cst: emptying a slot is the writer's store of the gate's ordering argument.
    pChunk[h % SLOT_CHUNK].store(pWorker, std::memory_order_seq_cst);
}

// ClearSlots: empties the table and frees its chunks. REQUIRES: g_mutexVT held; g_bStarted is false
// and g_readGate was synchronised since it was cleared.
void ClearSlots() {
    for (std::atomic<std::atomic<CVintrel*>*>& chunk : g_pSlotChunks) {
        delete[] chunk.exchange(nullptr, std::memory_order_relaxed);
    }
}

// GatedWorker: the instance of a handle, or null (the locked road must answer). REQUIRES: inside
// g_readGate, which keeps the instance alive until the caller leaves.
CVintrel* GatedWorker(int handle) {
    const size_t h = static_cast<size_t>(handle);  // a negative handle is beyond the table too
    if (h >= SLOT_CHUNK * SLOT_CHUNKS) return nullptr;
    std::atomic<CVintrel*>* pChunk = g_pSlotChunks[h / SLOT_CHUNK].load(std::memory_order_acquire);
    return pChunk != nullptr ? pChunk[h % SLOT_CHUNK].load(std::memory_order_seq_cst) : nullptr;
}

// StopGatedScans: makes the gated road unreachable and waits for the scans on it. REQUIRES:
// g_lifeLock held exclusively.
void StopGatedScans() {
    g_bStarted.store(false, std::memory_order_seq_cst);
    g_readGate.Synchronize();
}

// GuardCall: runs fnBody and returns its result; any exception becomes failValue, with a last-error text.
template <typename T, typename F>
T GuardCall(T failValue, F&& fnBody) noexcept {
    try {
        return fnBody();
    } catch (const std::bad_alloc&) {
        try {
            ReportError("Out of memory!");
        } catch (...) {
        }
    } catch (...) {
        try {
            ReportError("Internal error!");
        } catch (...) {
        }
    }
    return failValue;
}

// GetWorker: the instance of a handle; null (reported) for a handle out of range or before VT_Init,
// and null without a message for a deleted instance. REQUIRES: g_lifeLock held.
std::shared_ptr<CVintrel> GetWorker(int handle) {
    std::lock_guard<std::mutex> lock(g_mutexVT);
    if (g_bVTInit == 0 || handle < 0 || static_cast<size_t>(handle) >= g_vecVintrelner.size()) {
        ReportErrorF("GetWorker  argument(handle %d) is invalid!", handle);
        return nullptr;
    }
    return g_vecVintrelner[static_cast<size_t>(handle)];
}

// Forward: runs fnCall on the handle's instance, or reports "Vintrelner not init!" and returns
// failValue.
template <typename T, typename F>
T Forward(int handle, T failValue, F&& fnCall) noexcept {
    return GuardCall<T>(failValue, [&]() -> T {
        std::shared_lock<CLifeLock> life(g_lifeLock);
        std::shared_ptr<CVintrel> pWorker = GetWorker(handle);
        if (!pWorker) {
            ReportError("Vintrelner not init!");
            return failValue;
        }
        return fnCall(*pWorker);
    });
}

// NewInstance: appends a new instance. REQUIRES: g_lifeLock held (either way).
int NewInstance() {
    if (g_bVTInit == 0) {
        ReportError("Not Init, no operation!");
        return -1;
    }
    size_t nNumber;
    {
        std::lock_guard<std::mutex> lock(g_mutexVT);
        nNumber = g_vecVintrelner.size();
    }
    // The instance is built outside the lock (it loads its files); the number names its files.
    auto pInstance = std::make_shared<CVintrel>(g_sDefaultDir.c_str(), static_cast<int>(nNumber), g_sDelimiter.c_str());
    std::lock_guard<std::mutex> lock(g_mutexVT);
    g_vecVintrelner.push_back(pInstance);
    SetSlot(g_vecVintrelner.size() - 1, pInstance.get());
    return static_cast<int>(g_vecVintrelner.size()) - 1;
}

// DeleteInstance: empties a registry slot. REQUIRES: g_lifeLock held (either way).
int DeleteInstance(int handle) {
    std::shared_ptr<CVintrel> pOld;  // dropped once no gated scan can hold the instance
    {
        std::lock_guard<std::mutex> lock(g_mutexVT);
        if (handle < 0 || static_cast<size_t>(handle) >= g_vecVintrelner.size()) {
            ReportErrorF("PZ_DeleteInstance  argument(handle %d) is invalid!", handle);
            return 0;
        }
        SetSlot(static_cast<size_t>(handle), nullptr);
        pOld.swap(g_vecVintrelner[static_cast<size_t>(handle)]);
    }
    g_readGate.Synchronize();
    pOld.reset();
    return 1;
}

// ExitLocked: VT_Exit's work. REQUIRES: g_lifeLock held exclusively; StopGatedScans was called.
void ExitLocked() {
    delete g_pVintrelCodeTranslator;
    g_pVintrelCodeTranslator = nullptr;
    std::vector<std::shared_ptr<CVintrel>> vecOld;
    {
        std::lock_guard<std::mutex> lock(g_mutexVT);
        ClearSlots();
        vecOld.swap(g_vecVintrelner);
    }
    vecOld.clear();
    GRAVO_Exit();
    delete g_pXingZiTran;
    g_pXingZiTran = nullptr;
    delete g_pPinyin;
    g_pPinyin = nullptr;
    g_bVTInit = 0;
}

// ScanGated: VT_Scan on the gated road: true with the scan's result in sResult, or false when the
// locked road must answer (not started, a handle without a gated instance, a null text, or the
// thread's first entry into the gate failing for want of memory).
bool ScanGated(const char* sContent, int handle, const char*& sResult) noexcept {
    if (sContent == nullptr) return false;
    try {
        CReadGate::CGuard gate(g_readGate);
        if (!g_bStarted.load(std::memory_order_seq_cst)) return false;
        CVintrel* pWorker = GatedWorker(handle);
        if (pWorker == nullptr) return false;
        const CDictionarySet* pSet = pWorker->GatedDictionaries();
        sResult = GuardCall<const char*>(nullptr, [&] { return pWorker->ScanWith(*pSet, sContent); });
        return true;
    } catch (...) {
        return false;  // only entering can throw, and then the thread is not inside
    }
}

}  // namespace

extern "C" {

int VT_Init(const char* sInitDirPath, int encode, const char* sDelimiter) {
    return GuardCall<int>(0, [&]() -> int {
        std::unique_lock<CLifeLock> life(g_lifeLock);
        StopGatedScans();
        g_bVTInit = 0;
        if (sInitDirPath != nullptr && sInitDirPath[0] != '\0') {
            g_sDefaultDir = sInitDirPath;
        } else {
            char sCwd[1000] = {0};
            g_sDefaultDir = getcwd(sCwd, sizeof(sCwd) - 1) != nullptr ? sCwd : "";
        }
        if (GRAVO_Init(g_sDefaultDir.c_str(), 0) != 1) {
            ReportError("Error Init DORVANE from " + g_sDefaultDir);
            return 0;
        }
        delete g_pVintrelCodeTranslator;
        g_pVintrelCodeTranslator = nullptr;
        if (encode >= 1 && encode <= 5) {
            auto pTran = std::make_unique<CCodeTran>(g_sDefaultDir.c_str(), encode);
            // Deliberate: a converter that cannot be built fails the start-up without a message.
            if (pTran->GetStatus() != 1) return 0;
            g_pVintrelCodeTranslator = pTran.release();
        }
        delete g_pXingZiTran;
        g_pXingZiTran = new CStrTran((g_sDefaultDir + "/").c_str(), "Xing", "Zi", "");
        if (!g_pXingZiTran->Load()) {
            ReportErrorF("Cannot open Xing2Zi file! path=%s", g_sDefaultDir.c_str());
            delete g_pXingZiTran;
            g_pXingZiTran = nullptr;
        }
        delete g_pPinyin;
        g_pPinyin = new CPinyin(g_sDefaultDir.c_str());
        if (g_pPinyin->Load() != 1) {
            ReportError("Cannot open key dictionary file " + g_sDefaultDir + "/");
            delete g_pPinyin;
            g_pPinyin = nullptr;
        }
        g_sDelimiter = sDelimiter != nullptr ? sDelimiter : "";
        g_bVTInit = 1;
        NewInstance();
        g_bStarted.store(true, std::memory_order_seq_cst);
        return 1;
    });
}

void VT_Exit(void) {
    GuardCall<int>(0, [] {
        std::unique_lock<CLifeLock> life(g_lifeLock);
        StopGatedScans();
        ExitLocked();
        return 0;
    });
}

int VT_NewInstance(void) {
    return GuardCall<int>(-1, [] {
        std::shared_lock<CLifeLock> life(g_lifeLock);
        return NewInstance();
    });
}

int VT_DeleteInstance(int handle) {
    return GuardCall<int>(0, [handle] {
        std::shared_lock<CLifeLock> life(g_lifeLock);
        return DeleteInstance(handle);
    });
}

const char* VT_GetLastErrorMsg(void) {
    return GuardCall<const char*>("", [] { return GetLastErrorMessage(); });
}

int VT_ImportUserDict(const char* sFilename, int bOverwrite, int handle) {
    return Forward<int>(handle, 0, [&](CVintrel& v) { return v.ImportUserDict(sFilename, bOverwrite != 0); });
}

int VT_DeleteUserDict(const char* sFilename, int handle) {
    return Forward<int>(handle, 0, [&](CVintrel& v) { return v.DeleteUserDict(sFilename); });
}

const char* VT_Scan(const char* sContent, int handle) {
    const char* sResult = nullptr;
    if (ScanGated(sContent, handle, sResult)) return sResult;
    return Forward<const char*>(handle, nullptr, [&](CVintrel& v) { return v.Scan(sContent); });
}

const char* VT_ScanDetail(const char* sContent, int handle) {
    return Forward<const char*>(handle, nullptr,
                                [&](CVintrel& v) { return v.ScanDetail(sContent, nullptr, nullptr, 0); });
}

int VT_ScanLine(const char* sFilename, const char* sResultFilename, int handle, int bEncript) {
    return Forward<int>(handle, 0, [&](CVintrel& v) { return v.ScanLine(sFilename, sResultFilename, bEncript != 0); });
}

const char* VT_ScanFile(const char* sFilename, int handle) {
    return Forward<const char*>(handle, nullptr, [&](CVintrel& v) { return v.ScanFile(sFilename); });
}

const char* VT_ScanFileDetail(const char* sFilename, int handle) {
    return Forward<const char*>(handle, nullptr, [&](CVintrel& v) { return v.ScanFileDetail(sFilename); });
}

int VT_ScanStat(const char* sResultFile, int handle) {
    return Forward<int>(handle, 0, [&](CVintrel& v) { return v.FreqStat(sResultFile) ? 1 : 0; });
}

int VT_ExportDict(const char* sFilename, int handle) {
    // Deliberate: the export is not reachable through the C interface; callers rely on the constant 0.
    (void)sFilename;
    (void)handle;
    return 0;
}

}  // extern "C"
