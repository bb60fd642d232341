// ScanDetail_bench.cpp: the detailed scan (VT_ScanDetail) of the PKU test text in UTF-8, one call per
// line, with 1k and with 100k keywords, from one and two threads; and the line scan (VT_ScanLine) of
// a 100 MB file, with the memory it takes.
//
// Keywords are jieba's dictionary words of two or more characters, taken evenly across the list (a
// keyword list is no sample of the text), each with one of 20 classes and a weight; 1% have the
// pinyin flag and 1% are compound rules, so the look-alike and pinyin retries run as they would.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
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

// WriteKeywordFile: n keywords spread over the word list, in UTF-8.
std::string WriteKeywordFile(const std::string& sDir, size_t n, CCodeTran& tran) {
    const std::vector<std::string>& vecWords = Words();
    const size_t nStep = vecWords.size() / n > 0 ? vecWords.size() / n : 1;
    std::mt19937 rng(5);
    std::string sGBK;
    for (size_t i = 0; i < n; ++i) {
        const std::string& sWord = vecWords[(i * nStep) % vecWords.size()];
        const int nClass = static_cast<int>(rng() % 20), nWeight = static_cast<int>(rng() % 10) + 1;
        char sLine[512];
        if (i % 100 == 50) {
            std::snprintf(sLine, sizeof(sLine), "%s+%s rule%d %d\n", sWord.c_str(),
                          vecWords[(i * 31) % vecWords.size()].c_str(), nClass, nWeight);
        } else {
            std::snprintf(sLine, sizeof(sLine), "%s class%d %d %d\n", sWord.c_str(), nClass, nWeight, i % 100 == 7);
        }
        sGBK += sLine;
    }
    std::string sUtf8;
    tran.GBKToCode(sGBK.c_str(), sUtf8);
    const std::string sPath = sDir + "/keywords.txt";
    FILE* fp = std::fopen(sPath.c_str(), "wb");
    if (fp != nullptr) {
        std::fwrite(sUtf8.data(), 1, sUtf8.size(), fp);
        std::fclose(fp);
    }
    return sPath;
}

// The started library of the current keyword count and the text in UTF-8.
struct DetailSetup {
    std::unique_ptr<CRoot> pRoot;
    std::vector<std::string> vecLines;
    size_t nKeywords = 0;
    bool bReady = false;
};

DetailSetup& Setup(size_t nKeywords) {
    static DetailSetup setup;
    if (setup.bReady && setup.nKeywords == nKeywords) return setup;
    VT_Exit();
    setup = DetailSetup();
    setup.pRoot.reset(new CRoot());
    CCodeTran tran(BUILT_DATA.c_str(), 1);
    const std::string sFile = WriteKeywordFile(setup.pRoot->Path(), nKeywords, tran);
    for (const std::string& s : Lines()) {
        std::string sLine;
        tran.GBKToCode(s.c_str(), sLine);
        setup.vecLines.push_back(sLine);
    }
    setup.nKeywords = nKeywords;
    setup.bReady = VT_Init(setup.pRoot->Path().c_str(), 1, "\t") == 1 && VT_ImportUserDict(sFile.c_str(), 1, 0) > 0;
    return setup;
}

void RunDetail(benchmark::State& state, size_t nKeywords) {
    static DetailSetup* pSetup = nullptr;
    if (state.thread_index() == 0) {
        pSetup = (Words().empty() || Lines().empty()) ? nullptr : &Setup(nKeywords);
        if (pSetup != nullptr && !pSetup->bReady) pSetup = nullptr;
    }
    // Google Benchmark starts the loop of all threads together, once every thread got to it (so
    // after the setup of thread 0).
    size_t nBytes = 0, nLines = 0, nHits = 0;
    for (auto _ : state) {
        if (pSetup == nullptr) {
            state.SkipWithError("jieba dictionary or PKU text missing, or the library did not start");
            break;
        }
        const std::vector<std::string>& vecLines = pSetup->vecLines;
        // Each thread starts at its own place in the text (callers scan different texts).
        const size_t nStart = vecLines.size() * static_cast<size_t>(state.thread_index()) / 2;
        for (size_t k = 0; k < vecLines.size(); ++k) {
            const std::string& sLine = vecLines[(nStart + k) % vecLines.size()];
            const char* sResult = VT_ScanDetail(sLine.c_str(), 0);
            nHits += sResult != nullptr && sResult[0] != '\0';
            nBytes += sLine.size();
        }
        nLines += vecLines.size();
    }
    state.SetBytesProcessed(static_cast<int64_t>(nBytes));
    state.counters["lines_per_s"] = benchmark::Counter(static_cast<double>(nLines), benchmark::Counter::kIsRate);
    state.counters["hit_lines_pct"] = benchmark::Counter(
        nLines > 0 ? 100.0 * static_cast<double>(nHits) / static_cast<double>(nLines) : 0, benchmark::Counter::kAvgThreads);
}

void BM_ScanDetail1k_UTF8(benchmark::State& state) { RunDetail(state, 1000); }
void BM_ScanDetail100k_UTF8(benchmark::State& state) { RunDetail(state, 100000); }
BENCHMARK(BM_ScanDetail1k_UTF8)->Unit(benchmark::kMillisecond)->UseRealTime()->Threads(1)->Threads(2);
BENCHMARK(BM_ScanDetail100k_UTF8)->Unit(benchmark::kMillisecond)->UseRealTime()->Threads(1)->Threads(2);

// One call on 1 MB of the text as a single line, with 100k keywords: tens of thousands of hits whose
// confirmation, lists and sentences must cost the text's length, not its square.
void BM_ScanDetailOneMegabyteLine(benchmark::State& state) {
    DetailSetup* pSetup = (Words().empty() || Lines().empty()) ? nullptr : &Setup(100000);
    if (pSetup == nullptr || !pSetup->bReady) {
        state.SkipWithError("jieba dictionary or PKU text missing, or the library did not start");
        return;
    }
    std::string sLine;
    for (size_t i = 0; sLine.size() < (size_t{1} << 20); ++i) sLine += pSetup->vecLines[i % pSetup->vecLines.size()];
    size_t nResult = 0;
    for (auto _ : state) {
        const char* sResult = VT_ScanDetail(sLine.c_str(), 0);
        nResult = sResult != nullptr ? std::strlen(sResult) : 0;
    }
    state.SetBytesProcessed(static_cast<int64_t>(sLine.size()) * state.iterations());
    state.counters["result_bytes"] = static_cast<double>(nResult);
}
BENCHMARK(BM_ScanDetailOneMegabyteLine)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

// VT_ScanLine of a 100 MB file made of the PKU lines: speed, and the memory the process holds before
// and after (the scan reads line by line and keeps a bounded number of results).
void BM_ScanLine100MB(benchmark::State& state) {
    if (Words().empty() || Lines().empty()) {
        state.SkipWithError("jieba dictionary or PKU text missing");
        return;
    }
    DetailSetup& setup = Setup(1000);
    const std::string sInput = setup.pRoot->Path() + "/input.txt", sResult = setup.pRoot->Path() + "/result.txt";
    size_t nSize = 0;
    {
        FILE* fp = std::fopen(sInput.c_str(), "wb");
        for (size_t i = 0; fp != nullptr && nSize < (size_t{100} << 20); ++i) {
            const std::string& sLine = setup.vecLines[i % setup.vecLines.size()];
            std::fwrite(sLine.data(), 1, sLine.size(), fp);
            std::fputc('\n', fp);
            nSize += sLine.size() + 1;
        }
        if (fp != nullptr) std::fclose(fp);
    }
    const long nBefore = CurrentRSSMiB();
    int nLines = 0;
    for (auto _ : state) {
        // The progress lines go to /dev/null, the report afterwards to the real output again.
        std::fflush(stdout);
        const int nSaved = dup(STDOUT_FILENO), nNull = open("/dev/null", O_WRONLY);
        if (nNull >= 0) dup2(nNull, STDOUT_FILENO);
        nLines = VT_ScanLine(sInput.c_str(), sResult.c_str(), 0, 0);
        std::fflush(stdout);
        if (nSaved >= 0) dup2(nSaved, STDOUT_FILENO);
        if (nSaved >= 0) close(nSaved);
        if (nNull >= 0) close(nNull);
    }
    state.SetBytesProcessed(static_cast<int64_t>(nSize) * state.iterations());
    state.counters["lines"] = nLines;
    state.counters["RSS_before_MiB"] = static_cast<double>(nBefore);
    state.counters["RSS_after_MiB"] = static_cast<double>(CurrentRSSMiB());
    std::remove(sInput.c_str());
}
BENCHMARK(BM_ScanLine100MB)->Unit(benchmark::kSecond)->UseRealTime()->Iterations(1);

}  // namespace

BENCHMARK_MAIN();
