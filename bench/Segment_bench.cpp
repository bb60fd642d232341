// Segment_bench.cpp: the segmentation engine's start-up time, memory and speed.
//
// The text is the PKU test text of the SIGHAN 2005 bakeoff (GBK), segmented line by line with tags,
// from one and from two threads (bytes per second over wall time, all threads together). The data is
// the data directory of this build.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <vector>

#include "DORVANE/API/GRAVO.h"

namespace {

const std::string DATA_DIR = VINTREL_BUILD_DIR "/data";
const std::string PKU_TEXT = VINTREL_SHARED_DIR "/benchmarks/sighan2005/pku_test.txt";

// Lines: the non-empty lines of the PKU test text, without line ends.
const std::vector<std::string>& Lines() {
    static const std::vector<std::string> vecLines = [] {
        std::vector<std::string> vec;
        FILE* fp = std::fopen(PKU_TEXT.c_str(), "rb");
        if (fp == nullptr) return vec;
        std::string sLine;
        int c;
        while ((c = std::fgetc(fp)) != EOF) {
            if (c == '\n') {
                if (!sLine.empty() && sLine.back() == '\r') sLine.pop_back();
                if (!sLine.empty()) vec.push_back(sLine);
                sLine.clear();
            } else {
                sLine.push_back(static_cast<char>(c));
            }
        }
        if (!sLine.empty()) vec.push_back(sLine);
        std::fclose(fp);
        return vec;
    }();
    return vecLines;
}

// ResidentKiB: the resident set of this process.
long ResidentKiB() {
    FILE* fp = std::fopen("/proc/self/status", "r");
    if (fp == nullptr) return 0;
    char sLine[256];
    long nKiB = 0;
    while (std::fgets(sLine, sizeof(sLine), fp) != nullptr)
        if (std::sscanf(sLine, "VmRSS: %ld kB", &nKiB) == 1) break;
    std::fclose(fp);
    return nKiB;
}

void BM_Init(benchmark::State& state) {
    GRAVO_Exit();
    long nBefore = ResidentKiB();
    long nLoaded = 0;
    for (auto _ : state) {
        if (GRAVO_Init(DATA_DIR.c_str(), 0) != 1) {
            state.SkipWithError("GRAVO_Init failed: no data directory");
            return;
        }
        state.PauseTiming();
        nLoaded = ResidentKiB() - nBefore;
        GRAVO_Exit();
        state.ResumeTiming();
    }
    state.counters["engine_MiB"] = static_cast<double>(nLoaded) / 1024.0;
}
BENCHMARK(BM_Init)->Unit(benchmark::kMillisecond)->Iterations(5);

// RunSegment: every line segmented with tags through fnSegment, from each thread of the run.
template <class F>
void RunSegment(benchmark::State& state, F fnSegment) {
    if (state.thread_index() == 0 && GRAVO_Init(DATA_DIR.c_str(), 0) != 1) {
        state.SkipWithError("GRAVO_Init failed: no data directory");
    }
    const std::vector<std::string>& vecLines = Lines();
    if (vecLines.empty()) {
        state.SkipWithError("PKU test text missing");
        return;
    }
    size_t nBytes = 0;
    for (auto _ : state) {
        for (const std::string& sLine : vecLines) {
            fnSegment(sLine);
            nBytes += sLine.size();
        }
    }
    state.SetBytesProcessed(static_cast<int64_t>(nBytes));
    if (state.thread_index() == 0) state.counters["RSS_MiB"] = static_cast<double>(ResidentKiB()) / 1024.0;
}

void BM_Segment(benchmark::State& state) {
    RunSegment(state, [](const std::string& s) { benchmark::DoNotOptimize(GRAVO_ParagraphProcess(s.c_str(), 1)); });
}
BENCHMARK(BM_Segment)->Unit(benchmark::kMillisecond)->UseRealTime()->Threads(1)->Threads(2);

// The same through the string form (no buffer manager), as the scanner calls it.
void BM_SegmentWords(benchmark::State& state) {
    const std::vector<std::string> vecNone;
    RunSegment(state, [&vecNone](const std::string& s) {
        benchmark::DoNotOptimize(GRAVO_ParagraphProcessWords(s.c_str(), 1, vecNone));
    });
}
BENCHMARK(BM_SegmentWords)->Unit(benchmark::kMillisecond)->UseRealTime()->Threads(1)->Threads(2);

}  // namespace

BENCHMARK_MAIN();
