// Vintrel_bench.cpp: the library through its C interface: importing a keyword file of a million lines,
// and the plain scan (VT_Scan) of the PKU test text with 100k and with all dictionary words as
// keywords, in GBK and in UTF-8, from one and two threads.
//
// Keywords are jieba's dictionary words of two or more characters (GBK); the million-line file adds
// pairs of them, each line with a class of 20 and a weight, 1% with the pinyin flag and 1% compound
// rules. The scanned text is pku_test.txt (GBK) of the SIGHAN 2005 bakeoff, one call per line.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "Utility/CodeTran.h"
#include "Vintrel/VintrelAPI.h"

namespace {

using namespace vt_bench;

CScratchWorkingDirectory g_scratch;

// WriteKeywordFile: n keyword lines from the words (and pairs of words beyond them).
std::string WriteKeywordFile(const std::string& sDir, size_t n, bool bExtras) {
    const std::vector<std::string>& vecWords = Words();
    std::string sPath = sDir + "/keywords.txt";
    FILE* fp = std::fopen(sPath.c_str(), "wb");
    std::mt19937 rng(11);
    for (size_t i = 0; i < n && !vecWords.empty(); ++i) {
        std::string sWord = i < vecWords.size() ? vecWords[i]
                                                : vecWords[i % vecWords.size()] + vecWords[(i * 7919) % vecWords.size()];
        int nClass = static_cast<int>(rng() % 20);
        int nWeight = static_cast<int>(rng() % 10) - 2;
        if (bExtras && i % 100 == 50) {
            std::fprintf(fp, "%s+%s-%s rule%d %d\n", sWord.c_str(), vecWords[(i * 31) % vecWords.size()].c_str(),
                         vecWords[(i * 17) % vecWords.size()].c_str(), nClass, nWeight);
        } else {
            std::fprintf(fp, "%s class%d %d %d\n", sWord.c_str(), nClass, nWeight, bExtras && i % 100 == 7 ? 1 : 0);
        }
    }
    std::fclose(fp);
    return sPath;
}

void BM_ImportMillionLines(benchmark::State& state) {
    if (Words().empty()) {
        state.SkipWithError("jieba dictionary missing");
        return;
    }
    CRoot root;
    std::string sFile = WriteKeywordFile(root.Path(), 1000000, true);
    if (VT_Init(root.Path().c_str(), 0, "\t") != 1) {
        state.SkipWithError("VT_Init failed");
        return;
    }
    int nCount = 0;
    for (auto _ : state) nCount = VT_ImportUserDict(sFile.c_str(), 1, 0);
    state.counters["lines"] = nCount;
    state.counters["peak_RSS_MiB"] = static_cast<double>(PeakRSSMiB());
    VT_Exit();
}
BENCHMARK(BM_ImportMillionLines)->Unit(benchmark::kSecond)->Iterations(1);

// Scanning: one started library per keyword count and encoding, shared by the threads of a run.
struct ScanSetup {
    std::unique_ptr<CRoot> pRoot;
    std::vector<std::string> vecLines;  // in the caller's encoding
    bool bReady = false;
};

ScanSetup& Setup(size_t nKeywords, int encode) {
    static ScanSetup setup;
    static size_t nLastKeywords = 0;
    static int nLastEncode = -1;
    if (setup.bReady && nLastKeywords == nKeywords && nLastEncode == encode) return setup;
    VT_Exit();
    setup = ScanSetup();
    setup.pRoot.reset(new CRoot());
    size_t n = nKeywords == 0 ? Words().size() : nKeywords;
    std::string sFile = WriteKeywordFile(setup.pRoot->Path(), n, false);
    if (encode == 1) {
        // The keyword file in the caller's encoding too.
        CCodeTran tran(BUILT_DATA.c_str(), 1);
        std::string sUtf8;
        tran.GBKToCode(ReadBytes(sFile).c_str(), sUtf8);
        FILE* fp = std::fopen(sFile.c_str(), "wb");
        std::fwrite(sUtf8.data(), 1, sUtf8.size(), fp);
        std::fclose(fp);
        for (const std::string& s : Lines()) {
            std::string sLine;
            tran.GBKToCode(s.c_str(), sLine);
            setup.vecLines.push_back(sLine);
        }
    } else {
        setup.vecLines = Lines();
    }
    setup.bReady = VT_Init(setup.pRoot->Path().c_str(), encode, "\t") == 1 &&
                   VT_ImportUserDict(sFile.c_str(), 1, 0) > 0;
    nLastKeywords = nKeywords;
    nLastEncode = encode;
    return setup;
}

void RunScan(benchmark::State& state, size_t nKeywords, int encode) {
    if (state.thread_index() == 0 && (Words().empty() || Lines().empty())) {
        state.SkipWithError("jieba dictionary or PKU text missing");
        return;
    }
    static ScanSetup* pSetup = nullptr;
    if (state.thread_index() == 0) pSetup = &Setup(nKeywords, encode);
    // Google Benchmark starts the timing of all threads together, after every thread got here.
    // Each thread starts at its own place in the text (callers scan different texts).
    size_t nBytes = 0;
    for (auto _ : state) {
        const std::vector<std::string>& vecLines = pSetup->vecLines;
        const size_t nStart = vecLines.size() * static_cast<size_t>(state.thread_index()) / 2;
        for (size_t k = 0; k < vecLines.size(); ++k) {
            const std::string& sLine = vecLines[(nStart + k) % vecLines.size()];
            benchmark::DoNotOptimize(VT_Scan(sLine.c_str(), 0));
            nBytes += sLine.size();
        }
    }
    state.SetBytesProcessed(static_cast<int64_t>(nBytes));
}

// The cost of a call itself: VT_Scan of a two-character text without hits, 100k keywords.
void BM_ScanCallOverhead(benchmark::State& state) {
    if (state.thread_index() == 0 && (Words().empty() || Lines().empty())) {
        state.SkipWithError("jieba dictionary or PKU text missing");
        return;
    }
    if (state.thread_index() == 0) Setup(100000, 0);
    for (auto _ : state) benchmark::DoNotOptimize(VT_Scan("\xA3\xAC\xA1\xA3", 0));  // ，。
    state.SetItemsProcessed(state.iterations());
}

void BM_Scan100k_GBK(benchmark::State& state) { RunScan(state, 100000, 0); }
void BM_ScanAll_GBK(benchmark::State& state) { RunScan(state, 0, 0); }
void BM_Scan100k_UTF8(benchmark::State& state) { RunScan(state, 100000, 1); }
BENCHMARK(BM_ScanCallOverhead)->UseRealTime()->Threads(1)->Threads(2);
BENCHMARK(BM_Scan100k_GBK)->Unit(benchmark::kMillisecond)->UseRealTime()->Threads(1)->Threads(2);
BENCHMARK(BM_ScanAll_GBK)->Unit(benchmark::kMillisecond)->UseRealTime()->Threads(1);
BENCHMARK(BM_Scan100k_UTF8)->Unit(benchmark::kMillisecond)->UseRealTime()->Threads(1);

}  // namespace

BENCHMARK_MAIN();
