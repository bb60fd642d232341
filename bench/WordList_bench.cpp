// WordList_bench.cpp: building, saving, loading and reading a CWordList and a CPOS for a dictionary
// of about 337k words.
//
// The words come from jieba's dictionary (UTF-8 "word freq tag" lines) converted to GBK; words that
// do not convert are left out. The CPDAT that gives the handles is compiled once, outside every
// timed loop. The class table gets one record per word: its jieba tag (ids in order of first
// appearance) and frequency. Benchmarks are skipped with an error when the dictionary file is
// missing.
#include <benchmark/benchmark.h>
#include <iconv.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "Utility/PDAT.h"
#include "Utility/POS.h"
#include "Utility/WordList.h"

namespace {

const char JIEBA_DICT[] = "/usr/lib/python3/dist-packages/jieba/dict.txt";

struct JiebaEntry {
    std::string sWord;  // GBK
    std::string sTag;
    int nFreq;
};

// The fixture shared by all benchmarks: the words, the compiled dictionary and the class rows.
struct Corpus {
    std::vector<JiebaEntry> vecEntries;
    CPDAT dict;
    std::vector<int> vecHandles;     // handle of each entry
    std::vector<POS_elem> vecRows;   // one class row per entry
    std::vector<WORD_INFO> vecInfo;  // word and tag per entry
    std::string sDir;                // scratch directory for the files
    size_t nTextBytes = 0;           // bytes of all words

    bool Ready() const { return !vecEntries.empty(); }
    std::string File(const char* sName) const { return sDir + "/" + sName; }
};

const Corpus& GetCorpus() {
    static Corpus* pCorpus = [] {
        Corpus* p = new Corpus();
        FILE* fp = std::fopen(JIEBA_DICT, "rb");
        if (fp == nullptr) return p;
        iconv_t cd = iconv_open("GBK", "UTF-8");
        char sLine[4096];
        std::map<std::string, int> mapTags;
        while (std::fgets(sLine, sizeof(sLine), fp) != nullptr) {
            char sWord[4096], sTag[64];
            int nFreq = 0;
            if (std::sscanf(sLine, "%4095s %d %63s", sWord, &nFreq, sTag) != 3) continue;
            char sOut[4096];
            char* pIn = sWord;
            size_t nIn = std::strlen(sWord);
            char* pOut = sOut;
            size_t nOut = sizeof(sOut);
            iconv(cd, nullptr, nullptr, nullptr, nullptr);
            if (iconv(cd, &pIn, &nIn, &pOut, &nOut) == static_cast<size_t>(-1)) continue;
            p->vecEntries.push_back({std::string(sOut, sizeof(sOut) - nOut), sTag, nFreq});
        }
        iconv_close(cd);
        std::fclose(fp);

        for (const JiebaEntry& entry : p->vecEntries) p->dict.AddWord(entry.sWord.c_str());
        p->dict.AddWordComplete();
        for (const JiebaEntry& entry : p->vecEntries) {
            const int nHandle = p->dict.Find(entry.sWord.c_str());
            p->vecHandles.push_back(nHandle);
            auto it = mapTags.emplace(entry.sTag, static_cast<int>(mapTags.size())).first;
            POS_elem row;
            row.handle = nHandle;
            row.POS_id = static_cast<unsigned char>(it->second);
            row.freq = entry.nFreq;
            p->vecRows.push_back(row);
            WORD_INFO info;
            info.word = entry.sWord;
            info.store_info = entry.sTag;
            p->vecInfo.push_back(info);
            p->nTextBytes += entry.sWord.size() + 1;
        }
        char sTemplate[] = "/tmp/vintrel_wordlist_bench_XXXXXX";
        if (mkdtemp(sTemplate) != nullptr) p->sDir = sTemplate;
        return p;
    }();
    return *pCorpus;
}

// Ready: the corpus, or a skip message for the benchmark.
const Corpus* Ready(benchmark::State& state) {
    const Corpus& corpus = GetCorpus();
    if (!corpus.Ready()) {
        state.SkipWithError("jieba dictionary not found");
        return nullptr;
    }
    if (corpus.sDir.empty()) {
        state.SkipWithError("no scratch directory");
        return nullptr;
    }
    return &corpus;
}

// A completed list of every word under its handle.
void FillList(const Corpus& corpus, CWordList& list) {
    for (size_t i = 0; i < corpus.vecEntries.size(); ++i) {
        list.AddWord(corpus.vecEntries[i].sWord.c_str(), corpus.vecHandles[i]);
    }
    list.AddWordComplete();
}

void BM_CWordList_AddWord(benchmark::State& state) {
    const Corpus* p = Ready(state);
    if (p == nullptr) return;
    for (auto _ : state) {
        CWordList list(false, const_cast<CPDAT*>(&p->dict));
        FillList(*p, list);
        benchmark::DoNotOptimize(list.GetWord(0));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(p->vecEntries.size()));
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(p->nTextBytes));
}
BENCHMARK(BM_CWordList_AddWord)->Unit(benchmark::kMillisecond);

// AddWord(word): the handle comes from the dictionary (one trie lookup per word).
void BM_CWordList_AddWordLookup(benchmark::State& state) {
    const Corpus* p = Ready(state);
    if (p == nullptr) return;
    for (auto _ : state) {
        CWordList list(false, const_cast<CPDAT*>(&p->dict));
        for (const JiebaEntry& entry : p->vecEntries) list.AddWord(entry.sWord.c_str());
        list.AddWordComplete();
        benchmark::DoNotOptimize(list.GetWord(0));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(p->vecEntries.size()));
}
BENCHMARK(BM_CWordList_AddWordLookup)->Unit(benchmark::kMillisecond);

void BM_CWordList_ImportRecords(benchmark::State& state) {
    const Corpus* p = Ready(state);
    if (p == nullptr) return;
    std::vector<WORD_INFO> vecInfo = p->vecInfo;
    for (auto _ : state) {
        CWordList list(false, nullptr);
        list.Import(vecInfo, const_cast<CPDAT*>(&p->dict), true);
        benchmark::DoNotOptimize(list.GetWord(0));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(p->vecEntries.size()));
}
BENCHMARK(BM_CWordList_ImportRecords)->Unit(benchmark::kMillisecond);

// Arg: 0 plain, 1 scrambled text part.
void BM_CWordList_Save(benchmark::State& state) {
    const Corpus* p = Ready(state);
    if (p == nullptr) return;
    CWordList list(state.range(0) != 0, nullptr);
    FillList(*p, list);
    const std::string sFile = p->File("save.wordlist");
    for (auto _ : state) benchmark::DoNotOptimize(list.Save(sFile.c_str()));
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(p->nTextBytes));
    unlink(sFile.c_str());
}
BENCHMARK(BM_CWordList_Save)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_CWordList_Load(benchmark::State& state) {
    const Corpus* p = Ready(state);
    if (p == nullptr) return;
    const bool bEncript = state.range(0) != 0;
    const std::string sFile = p->File("load.wordlist");
    {
        CWordList list(bEncript, nullptr);
        FillList(*p, list);
        if (list.Save(sFile.c_str()) != 1) {
            state.SkipWithError("cannot save the word list");
            return;
        }
    }
    for (auto _ : state) {
        CWordList list(bEncript, nullptr);
        if (list.Load(sFile.c_str()) != 1) state.SkipWithError("load failed");
        benchmark::DoNotOptimize(list.GetWord(1));
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(p->nTextBytes));
    unlink(sFile.c_str());
}
BENCHMARK(BM_CWordList_Load)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// Every handle looked up once per iteration, from 1 to 2 threads sharing one list.
void BM_CWordList_GetWord(benchmark::State& state) {
    static CWordList* pList = nullptr;
    const Corpus* p = Ready(state);
    if (p == nullptr) return;
    if (state.thread_index() == 0) {
        pList = new CWordList(false, nullptr);
        FillList(*p, *pList);
    }
    const int nBound = static_cast<int>(p->dict.GetItemCount());
    for (auto _ : state) {
        size_t nSum = 0;
        for (int h = 0; h < nBound; ++h) nSum += static_cast<unsigned char>(pList->GetWord(h)[0]);
        benchmark::DoNotOptimize(nSum);
    }
    state.SetItemsProcessed(state.iterations() * nBound);
    if (state.thread_index() == 0) {
        delete pList;
        pList = nullptr;
    }
}
BENCHMARK(BM_CWordList_GetWord)->ThreadRange(1, 2)->Unit(benchmark::kMicrosecond);

void BM_CPOS_Import(benchmark::State& state) {
    const Corpus* p = Ready(state);
    if (p == nullptr) return;
    const int nBound = p->dict.GetLowerBound();
    for (auto _ : state) {
        state.PauseTiming();
        std::vector<POS_elem> vecRows = p->vecRows;  // Import sorts its argument
        CPOS pos;
        state.ResumeTiming();
        pos.Import(vecRows, nBound);
        benchmark::DoNotOptimize(pos.GetPOS(0));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(p->vecRows.size()));
}
BENCHMARK(BM_CPOS_Import)->Unit(benchmark::kMillisecond);

void BM_CPOS_Save(benchmark::State& state) {
    const Corpus* p = Ready(state);
    if (p == nullptr) return;
    std::vector<POS_elem> vecRows = p->vecRows;
    CPOS pos;
    pos.Import(vecRows, p->dict.GetLowerBound());
    const std::string sFile = p->File("save.pos");
    for (auto _ : state) benchmark::DoNotOptimize(pos.Save(sFile.c_str()));
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(p->vecRows.size()));
    unlink(sFile.c_str());
}
BENCHMARK(BM_CPOS_Save)->Unit(benchmark::kMillisecond);

void BM_CPOS_Load(benchmark::State& state) {
    const Corpus* p = Ready(state);
    if (p == nullptr) return;
    const std::string sFile = p->File("load.pos");
    {
        std::vector<POS_elem> vecRows = p->vecRows;
        CPOS pos;
        pos.Import(vecRows, p->dict.GetLowerBound());
        if (pos.Save(sFile.c_str()) != 1) {
            state.SkipWithError("cannot save the class table");
            return;
        }
    }
    for (auto _ : state) {
        CPOS pos;
        if (pos.Load(sFile.c_str()) != 1) state.SkipWithError("load failed");
        benchmark::DoNotOptimize(pos.GetPOS(0));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(p->vecRows.size()));
    unlink(sFile.c_str());
}
BENCHMARK(BM_CPOS_Load)->Unit(benchmark::kMillisecond);

// GetMaxPOS and GetPOSFreq for every handle, from 1 to 2 threads sharing one table.
void BM_CPOS_GetMaxPOS(benchmark::State& state) {
    static CPOS* pPos = nullptr;
    const Corpus* p = Ready(state);
    if (p == nullptr) return;
    if (state.thread_index() == 0) {
        std::vector<POS_elem> vecRows = p->vecRows;
        pPos = new CPOS();
        pPos->Import(vecRows, p->dict.GetLowerBound());
    }
    const int nBound = static_cast<int>(p->dict.GetItemCount());
    for (auto _ : state) {
        long long nSum = 0;
        for (int h = 0; h < nBound; ++h) {
            const POS_info* pMax = pPos->GetMaxPOS(h);
            if (pMax != nullptr) nSum += pPos->GetPOSFreq(h, pMax->POS_id);
        }
        benchmark::DoNotOptimize(nSum);
    }
    state.SetItemsProcessed(state.iterations() * nBound);
    if (state.thread_index() == 0) {
        delete pPos;
        pPos = nullptr;
    }
}
BENCHMARK(BM_CPOS_GetMaxPOS)->ThreadRange(1, 2)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    const Corpus& corpus = GetCorpus();
    if (corpus.Ready()) {
        std::printf("words: %zu, dictionary items: %zu, lower bound: %d\n",
                    corpus.vecEntries.size(), corpus.dict.GetItemCount(),
                    corpus.dict.GetLowerBound());
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    if (!corpus.sDir.empty()) rmdir(corpus.sDir.c_str());
    return 0;
}
