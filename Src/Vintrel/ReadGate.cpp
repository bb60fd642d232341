// ReadGate.cpp: CReadGate. A thread finds its record through a thread-local pointer (the record of
// the gate it used last); a thread-local owner remembers all of the thread's records and hands them
// back when the thread ends.
#include "Vintrel/ReadGate.h"

#include <chrono>
#include <new>
#include <thread>
#include <vector>

CReadGate g_readGate;

// The records a thread took, one per gate it used; handed back (release) when the thread ends, so
// that the next owner (taking it with acquire) continues from the last sequence number.
class CReadGate::CRecordOwner {
public:
    CRecordOwner() = default;
    ~CRecordOwner() {
        for (CRecord* p : m_vecRecords) p->bTaken.store(false, std::memory_order_release);
        CachedRecord() = nullptr;
    }
    CRecordOwner(const CRecordOwner&) = delete;  // hands its records back once
    CRecordOwner& operator=(const CRecordOwner&) = delete;

    std::vector<CRecord*> m_vecRecords;
};

CReadGate::CRecord* CReadGate::TakeRecord() {
    for (CRecord* p = m_pHead.load(std::memory_order_acquire); p != nullptr; p = p->pNext) {
        bool bTaken = false;
        if (!p->bTaken.load(std::memory_order_relaxed) &&
            p->bTaken.compare_exchange_strong(bTaken, true, std::memory_order_acquire)) {
            return p;
        }
    }
    std::lock_guard<std::mutex> lock(m_mutexRecords);
    CRecord* p = new CRecord();
    p->pGate = this;
    p->pNext = m_pHead.load(std::memory_order_relaxed);
    // seq_cst: a Synchronize whose load of the head misses this record comes before the owner's
    // first Enter in the total order, so that reader sees every pointer stored before it.
    m_pHead.store(p, std::memory_order_seq_cst);
    return p;
}

CReadGate::CRecord* CReadGate::FindThreadRecord() {
    CRecord*& pCached = CachedRecord();
    thread_local CRecordOwner owner;
    for (CRecord* p : owner.m_vecRecords) {
        if (p->pGate == this) return pCached = p;
    }
    // Room first: this may throw, and must before a record is taken.
    owner.m_vecRecords.reserve(owner.m_vecRecords.size() + 1);
    CRecord* p = TakeRecord();
    owner.m_vecRecords.push_back(p);
    return pCached = p;
}

void CReadGate::Synchronize() {
    for (CRecord* p = m_pHead.load(std::memory_order_seq_cst); p != nullptr; p = p->pNext) {
        const uint64_t nSeq = p->nSeq.load(std::memory_order_seq_cst);
        if ((nSeq & 1) == 0) continue;
        // Inside: wait until that thread leaves (any change means it left at least once). Gated
        // calls are short, so a few yields usually suffice; past those, short sleeps.
        for (int nTries = 0; p->nSeq.load(std::memory_order_acquire) == nSeq; ++nTries) {
            if (nTries < 100) {
                std::this_thread::yield();
            } else {
                std::this_thread::sleep_for(std::chrono::microseconds(50));
            }
        }
    }
}
