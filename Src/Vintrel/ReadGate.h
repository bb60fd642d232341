// ReadGate.h: CReadGate, the library's epoch gate: hot read paths use shared objects without locks
// or reference counts, and writers wait for those readers before freeing what they replaced.
#ifndef VINTREL_VINTREL_READGATE_H_
#define VINTREL_VINTREL_READGATE_H_

#include <atomic>
#include <cstdint>
#include <mutex>

// CReadGate lets readers use objects without taking locks: a reader enters the gate, loads the
// pointers it needs from atomics, uses the objects and leaves. A writer that replaces such an
// object first stores the new pointer (or null), then calls Synchronize, which returns once every
// reader that was inside the gate when it started has left; after that no reader can still hold
// the old object, and the writer frees it.
//
// Each thread has a record of its own, on a cache line of its own, holding a sequence number that
// is odd while the thread is inside. Entering and leaving write only the thread's own record, so
// readers on different cores never write a shared cache line. Records are made on a thread's first
// Enter, linked into a list that only grows, and handed back for another thread to reuse when the
// thread ends; they are never freed.
//
// Why a writer cannot miss a reader that holds the old pointer: the reader stores its odd number
// and then loads the pointer; the writer stores the pointer and then, in Synchronize, loads the
// number; all four are seq_cst, so they occur in one total order that keeps each thread's program
// order. If the writer's load of the number came before the reader's store, then the writer's
// pointer store came before the reader's pointer load, which therefore sees the new pointer; so a
// reader that loaded the old pointer is seen inside and waited for. The reader's leaving store
// (release) is read by the writer's load (acquire), so all the reader did with the object happens
// before the writer frees it. Only atomics are used, no standalone fences, so ThreadSanitizer
// follows the argument.
//
// A gate must outlive every thread that used it (the library's gate lives as long as the process).
//
// Threads: Enter and Leave are per thread and may nest (only the outermost pair counts); any number
// of threads may call Synchronize at once, also while others enter and leave.
class CReadGate {
    struct CRecord;  // one thread's record (below)

public:
    constexpr CReadGate() = default;
    CReadGate(const CReadGate&) = delete;  // threads keep pointers to their records in it
    CReadGate& operator=(const CReadGate&) = delete;

    // Enter: the calling thread is inside until the matching Leave. Throws std::bad_alloc only on a
    // thread's first Enter, when its record cannot be made (the thread is then not inside).
    void Enter() { EnterRecord(ThreadRecord()); }
    // Leave: ends the matching Enter. REQUIRES: the thread is inside.
    void Leave() { LeaveRecord(ThreadRecord()); }
    // Synchronize: waits until every thread that was inside when the call started has left. It
    // waits for each thread at most until that thread's next outermost Leave, so readers that keep
    // coming back, or enter later, cannot hold it up for long. Yields, then sleeps briefly, while
    // it waits. REQUIRES: the calling thread is not inside (it would wait for itself forever).
    void Synchronize();

    // CGuard: inside the gate for the guard's lifetime (Enter and Leave, the record looked up
    // once).
    class CGuard {
    public:
        explicit CGuard(CReadGate& gate) : m_pRecord(gate.ThreadRecord()) {
            EnterRecord(m_pRecord);
        }
        ~CGuard() { LeaveRecord(m_pRecord); }
        CGuard(const CGuard&) = delete;  // would leave twice
        CGuard& operator=(const CGuard&) = delete;

    private:
        CRecord* m_pRecord;  // the thread's record of the gate
    };

private:
    struct alignas(64) CRecord {
        std::atomic<uint64_t> nSeq{0};   // odd while the owner is inside; written by the owner only
        int nDepth = 0;                  // the owner's nesting depth; touched by the owner only
        std::atomic<bool> bTaken{true};  // a thread owns the record
        CRecord* pNext = nullptr;        // the next record of the list; set before it is published
        CReadGate* pGate = nullptr;      // the gate it belongs to
    };
    // CRecordOwner: a thread's handle on its records, handing them back when the thread ends.
    class CRecordOwner;

    // The calls below are inline: a gated call pays for a thread-local load, a compare and one
    // store to its own cache line on each side.

    // CachedRecord: the calling thread's record of the gate it used last (null at first).
    static CRecord*& CachedRecord() {
        thread_local CRecord* pRecord = nullptr;
        return pRecord;
    }
    // ThreadRecord: the calling thread's record of this gate, taken or made on first use.
    CRecord* ThreadRecord() {
        CRecord* p = CachedRecord();
        return p != nullptr && p->pGate == this ? p : FindThreadRecord();
    }
    // EnterRecord, LeaveRecord: Enter and Leave on the thread's record. The entering store is
    // seq_cst (see the class comment); the leaving one a release.
    static void EnterRecord(CRecord* p) {
        if (p->nDepth++ == 0) {
            p->nSeq.store(p->nSeq.load(std::memory_order_relaxed) + 1, std::memory_order_seq_cst);
        }
    }
    static void LeaveRecord(CRecord* p) {
        if (--p->nDepth == 0) {
            p->nSeq.store(p->nSeq.load(std::memory_order_relaxed) + 1, std::memory_order_release);
        }
    }
    // FindThreadRecord: ThreadRecord when the cached record is not this gate's.
    CRecord* FindThreadRecord();
    // TakeRecord: a record nobody owns, or a new one linked into the list.
    CRecord* TakeRecord();

    std::mutex m_mutexRecords;               // serialises the making of records
    std::atomic<CRecord*> m_pHead{nullptr};  // the newest record; the list only grows
};

// g_readGate: the library's gate. Gated readers: the plain scan of VT_Scan. Writers that wait for
// it: VT_Init, VT_Exit, VT_DeleteInstance and the dictionary swap of an instance.
extern CReadGate g_readGate;

#endif  // VINTREL_VINTREL_READGATE_H_
