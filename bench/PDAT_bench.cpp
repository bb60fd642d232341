// PDAT_bench.cpp: CPDAT building, compiling and scanning speed.
//
// Keywords come from jieba's dictionary (UTF-8 "word freq tag" lines, converted to GBK; words that do not
// convert or have fewer than two characters are left out); the scanned text is the PKU test text of the
// SIGHAN 2005 bakeoff (GBK). Benchmarks whose input is missing are skipped with an error.
#include <benchmark/benchmark.h>
#include <iconv.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdlib>
#include <cstdio>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <unordered_set>
#include <vector>

#include "BenchSupport.h"
#include "Utility/PDAT.h"
#include "Utility/Utility.h"

namespace {

const char JIEBA_DICT[] = "/usr/lib/python3/dist-packages/jieba/dict.txt";

// Number of characters of a UTF-8 text (lead bytes).
size_t Utf8Chars(const std::string& s) {
    size_t n = 0;
    for (unsigned char c : s) n += (c & 0xC0) != 0x80;
    return n;
}

// JiebaWords: the GBK words of two or more characters, in file order (empty when the file is missing).
const std::vector<std::string>& JiebaWords() {
    static const std::vector<std::string> vecWords = [] {
        std::vector<std::string> vec;
        FILE* fp = std::fopen(JIEBA_DICT, "rb");
        if (fp == nullptr) return vec;
        iconv_t cd = iconv_open("GBK", "UTF-8");
        char sLine[4096];
        while (std::fgets(sLine, sizeof(sLine), fp) != nullptr) {
            std::string sWord(sLine, std::strcspn(sLine, " \t\r\n"));
            if (Utf8Chars(sWord) < 2) continue;
            char sOut[4096];
            char* pIn = sWord.data();
            size_t nIn = sWord.size();
            char* pOut = sOut;
            size_t nOut = sizeof(sOut);
            iconv(cd, nullptr, nullptr, nullptr, nullptr);
            if (iconv(cd, &pIn, &nIn, &pOut, &nOut) == static_cast<size_t>(-1)) continue;
            vec.emplace_back(sOut, sizeof(sOut) - nOut);
        }
        iconv_close(cd);
        std::fclose(fp);
        return vec;
    }();
    return vecWords;
}

// PairWords: nCount distinct keywords made of two jieba words (fixed seed).
const std::vector<std::string>& PairWords() {
    static const std::vector<std::string> vecPairs = [] {
        std::vector<std::string> vec;
        const std::vector<std::string>& vecWords = JiebaWords();
        if (vecWords.empty()) return vec;
        const size_t nCount = 1000000;
        std::mt19937 rng(20260101);
        std::unordered_set<std::string> setSeen;
        setSeen.reserve(nCount * 2);
        vec.reserve(nCount);
        while (vec.size() < nCount) {
            std::string s = vecWords[rng() % vecWords.size()] + vecWords[rng() % vecWords.size()];
            if (setSeen.insert(s).second) vec.push_back(std::move(s));
        }
        return vec;
    }();
    return vecPairs;
}

double PeakRssMiB() {
    struct rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024.0;  // ru_maxrss is in KiB on Linux
}

int64_t TotalBytes(const std::vector<std::string>& vec) {
    int64_t n = 0;
    for (const std::string& s : vec) n += static_cast<int64_t>(s.size());
    return n;
}

// Times AddWordComplete alone (the AddWord calls are not timed).
void RunCompile(benchmark::State& state, const std::vector<std::string>& vecWords) {
    if (vecWords.empty()) {
        state.SkipWithError("jieba dictionary not found");
        return;
    }
    for (auto _ : state) {
        state.PauseTiming();
        auto pDict = std::make_unique<CPDAT>(0);
        for (const std::string& s : vecWords) pDict->AddWord(s.c_str());
        state.ResumeTiming();
        pDict->AddWordComplete();
        benchmark::DoNotOptimize(pDict->GetLowerBound());
        state.PauseTiming();
        state.counters["cells"] = pDict->GetLowerBound() + 1;
        state.counters["words"] = static_cast<double>(pDict->GetItemCount());
        pDict.reset();
        state.ResumeTiming();
    }
    state.SetBytesProcessed(state.iterations() * TotalBytes(vecWords));
    state.counters["peak_rss_MiB"] = PeakRssMiB();
}

// Times a whole build: AddWord for every word, then AddWordComplete.
void RunBuild(benchmark::State& state, const std::vector<std::string>& vecWords) {
    if (vecWords.empty()) {
        state.SkipWithError("jieba dictionary not found");
        return;
    }
    for (auto _ : state) {
        CPDAT dict(0);
        for (const std::string& s : vecWords) dict.AddWord(s.c_str());
        dict.AddWordComplete();
        benchmark::DoNotOptimize(dict.GetLowerBound());
    }
    state.SetBytesProcessed(state.iterations() * TotalBytes(vecWords));
    state.counters["peak_rss_MiB"] = PeakRssMiB();
}

void BM_CPDAT_AddWordComplete_Jieba(benchmark::State& state) { RunCompile(state, JiebaWords()); }
void BM_CPDAT_Build_Jieba(benchmark::State& state) { RunBuild(state, JiebaWords()); }
void BM_CPDAT_AddWordComplete_1MPairs(benchmark::State& state) { RunCompile(state, PairWords()); }
void BM_CPDAT_Build_1MPairs(benchmark::State& state) { RunBuild(state, PairWords()); }

BENCHMARK(BM_CPDAT_AddWordComplete_Jieba)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_CPDAT_Build_Jieba)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_CPDAT_AddWordComplete_1MPairs)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_CPDAT_Build_1MPairs)->Unit(benchmark::kMillisecond)->Iterations(1);

// Times SetScanFilter(true) on a compiled dictionary: the one pass over the cells that AddWordComplete
// and Load make for a large array (the compile itself is not timed).
void RunScanFilter(benchmark::State& state, const std::vector<std::string>& vecWords) {
    if (vecWords.empty()) {
        state.SkipWithError("jieba dictionary not found");
        return;
    }
    CPDAT dict(0);
    for (const std::string& s : vecWords) dict.AddWord(s.c_str());
    dict.AddWordComplete();
    for (auto _ : state) {
        dict.SetScanFilter(true);
        benchmark::DoNotOptimize(dict.GetLowerBound());
    }
    state.counters["cells"] = dict.GetLowerBound() + 1;
    // The filter's size as the library chooses it: the (first, second) rank pairs of the array, 16 bits
    // each rounded up to a power of two (4096 bits to 1 MiB), plus the 8 KiB first-character bitset.
    const CPDAT::state* pCells = dict.GetStates();
    int64_t nCells = dict.GetLowerBound() + 1, nPairs = 0;
    for (int64_t q = 0; pCells != nullptr && q < nCells; ++q) {
        int c = pCells[q].check;
        if (c < 0 || c >= nCells || c >= 65536 || pCells[c].check != -2) continue;
        int64_t r = q - std::abs(static_cast<int64_t>(pCells[c].base));
        nPairs += r >= 0 && r < 65536;
    }
    int64_t nBits = 4096;
    while (nBits < (int64_t{1} << 23) && nBits < nPairs * 16) nBits *= 2;
    state.counters["pairs"] = static_cast<double>(nPairs);
    state.counters["filter_KiB"] = static_cast<double>(nBits / 8 + 8192) / 1024.0;
}
void BM_CPDAT_ScanFilter_Jieba(benchmark::State& state) { RunScanFilter(state, JiebaWords()); }
void BM_CPDAT_ScanFilter_1MPairs(benchmark::State& state) { RunScanFilter(state, PairWords()); }
BENCHMARK(BM_CPDAT_ScanFilter_Jieba)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CPDAT_ScanFilter_1MPairs)->Unit(benchmark::kMillisecond);

// MMScanPosition in scan mode 1 over the news text with the first n keywords of a fixed shuffle of the
// jieba words (all of them when n is 0).
void BM_CPDAT_MMScanPosition(benchmark::State& state) {
    static const std::string sText =
        vt_bench::ReadBytes(vt_bench::PKU_TEXT);
    const std::vector<std::string>& vecWords = JiebaWords();
    if (sText.empty() || vecWords.empty()) {
        state.SkipWithError("news text or jieba dictionary not found");
        return;
    }
    std::vector<std::string> vecKeys = vecWords;
    std::shuffle(vecKeys.begin(), vecKeys.end(), std::mt19937(7));
    size_t nKeys = state.range(0) == 0 ? vecKeys.size()
                                       : std::min(vecKeys.size(), static_cast<size_t>(state.range(0)));
    CPDAT dict(0);
    for (size_t i = 0; i < nKeys; ++i) dict.AddWord(vecKeys[i].c_str());
    dict.AddWordComplete();
    std::vector<_stTermPosition> vecHits;
    for (auto _ : state) {
        vecHits.clear();
        dict.MMScanPosition(sText.c_str(), vecHits, 1);
        benchmark::DoNotOptimize(vecHits.data());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(sText.size()));
    state.counters["keywords"] = static_cast<double>(nKeys);
    state.counters["hits"] = static_cast<double>(vecHits.size());
}
BENCHMARK(BM_CPDAT_MMScanPosition)->Arg(1000)->Arg(100000)->Arg(0)->Unit(benchmark::kMillisecond);

// MMScanPosition in scan mode 1 as the plain scan of the library calls it: one call per line of the
// news text, each line standardised as the library does, with the first n jieba words (all when n is
// 0), also standardised. Bytes are counted before standardisation, as the library's benchmark counts
// them, so the figures compare with the scan part of VT_Scan.
void BM_CPDAT_MMScanPosition_Lines(benchmark::State& state) {
    const std::vector<std::string>& vecLines = vt_bench::Lines();
    const std::vector<std::string>& vecWords = JiebaWords();
    if (vecLines.empty() || vecWords.empty()) {
        state.SkipWithError("news text or jieba dictionary not found");
        return;
    }
    auto standard = [](const std::string& s) {
        std::vector<char> vec(s.size() + 1);
        size_t n = WordStandard(s.c_str(), s.size(), vec.data());
        return std::string(vec.data(), n);
    };
    size_t nKeys = state.range(0) == 0 ? vecWords.size()
                                       : std::min(vecWords.size(), static_cast<size_t>(state.range(0)));
    CPDAT dict(0);
    for (size_t i = 0; i < nKeys; ++i) dict.AddWord(standard(vecWords[i]).c_str());
    dict.AddWordComplete();
    std::vector<std::string> vecStandard;
    size_t nBytes = 0;
    for (const std::string& s : vecLines) {
        vecStandard.push_back(standard(s));
        nBytes += s.size();
    }
    std::vector<_stTermPosition> vecHits;
    size_t nHits = 0;
    for (auto _ : state) {
        nHits = 0;
        for (const std::string& s : vecStandard) {
            vecHits.clear();
            dict.MMScanPosition(s.c_str(), s.size(), vecHits, 1);
            nHits += vecHits.size();
        }
        benchmark::DoNotOptimize(vecHits.data());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(nBytes));
    state.counters["keywords"] = static_cast<double>(nKeys);
    state.counters["hits"] = static_cast<double>(nHits);
}
BENCHMARK(BM_CPDAT_MMScanPosition_Lines)->Arg(100000)->Arg(0)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
