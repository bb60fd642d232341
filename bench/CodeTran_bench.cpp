// CodeTran_bench.cpp: speed of the encoding converter (UTF-8, code 1) on the tables of the build's
// data directory, beside glibc iconv on the same texts in the same run.
//
// Texts: the PKU test text of the SIGHAN 2005 bakeoff, UTF-8 (pku_test.utf8) for the way to GBK and
// its GBK form (pku_test.txt) for the way back, converted whole, and line by line (one call per
// line without its line end, as the scans convert their texts; the ...Lines benchmarks), where
// the cost of each call counts too. Throughput is the input bytes per second. The data
// directory is <build dir>/data (made by the build's vintrel_data step), or the one given with
// --data=DIR. Before timing, each conversion is checked once against iconv line by line (the
// converter drops the blanks that start a line and keeps one line end per line, CR for CR LF); a
// benchmark whose text or tables are missing, or whose result differs, is skipped with an error.
#include <benchmark/benchmark.h>
#include <iconv.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "BenchSupport.h"
#include "Utility/CodeTran.h"

namespace {

std::string g_sDataDir = std::string(VINTREL_BUILD_DIR) + "/data";
const std::string SIGHAN_DIR = std::string(VINTREL_SHARED_DIR) + "/benchmarks/sighan2005";

// CIconv: one iconv direction converting whole texts into a buffer kept between calls.
class CIconv {
public:
    CIconv(const char* sFrom, const char* sTo) : m_cd(iconv_open(sTo, sFrom)) {}
    ~CIconv() {
        if (Ok()) iconv_close(m_cd);
    }
    CIconv(const CIconv&) = delete;  // owns the iconv descriptor
    CIconv& operator=(const CIconv&) = delete;

    bool Ok() const { return m_cd != reinterpret_cast<iconv_t>(-1); }
    // Convert: sIn converted into sOut; false on invalid or unmappable input.
    bool Convert(const std::string& sIn, std::string& sOut) {
        iconv(m_cd, nullptr, nullptr, nullptr, nullptr);
        if (sOut.size() < sIn.size() * 2 + 16) sOut.resize(sIn.size() * 2 + 16);
        char* pIn = const_cast<char*>(sIn.data());
        size_t nIn = sIn.size();
        char* pOut = &sOut[0];
        size_t nOut = sOut.size();
        if (iconv(m_cd, &pIn, &nIn, &pOut, &nOut) == static_cast<size_t>(-1)) return false;
        m_nLen = sOut.size() - nOut;
        return true;
    }
    size_t Length() const { return m_nLen; }

private:
    iconv_t m_cd;
    size_t m_nLen = 0;
};

// The texts and the converter, made once; sError says why a benchmark cannot run.
struct CInput {
    std::string sUtf8;
    std::string sGbk;
    std::vector<std::string> vecUtf8Lines, vecGbkLines;  // the non-empty lines, without line ends
    std::unique_ptr<CCodeTran> pTran;
    std::string sError;
};

// LinesOf: the text's lines without their leading blanks, empty lines left out, each ended by LF:
// what the converter keeps of the lines (it drops the blanks and empty lines at the start of each
// line and keeps one line end, CR for CR LF).
std::string LinesOf(const std::string& s) {
    std::string sLines;
    size_t nPos = 0;
    while (nPos < s.size()) {
        nPos = s.find_first_not_of(" \t\r\n", nPos);
        if (nPos == std::string::npos) break;
        size_t nEnd = s.find_first_of("\r\n", nPos);
        if (nEnd == std::string::npos) nEnd = s.size();
        sLines.append(s, nPos, nEnd - nPos).push_back('\n');
        nPos = nEnd;
    }
    return sLines;
}

// SplitLines: the non-empty lines of s without their line ends (LF or CR LF).
std::vector<std::string> SplitLines(const std::string& s) {
    std::vector<std::string> vec;
    size_t nPos = 0;
    while (nPos < s.size()) {
        size_t nEnd = s.find('\n', nPos);
        if (nEnd == std::string::npos) nEnd = s.size();
        std::string sLine = s.substr(nPos, nEnd - nPos);
        if (!sLine.empty() && sLine.back() == '\r') sLine.pop_back();
        if (!sLine.empty()) vec.push_back(std::move(sLine));
        nPos = nEnd + 1;
    }
    return vec;
}

const CInput& GetInput() {
    static CInput* pInput = [] {
        CInput* p = new CInput();
        p->sUtf8 = vt_bench::ReadBytes(SIGHAN_DIR + "/pku_test.utf8");
        p->sGbk = vt_bench::ReadBytes(SIGHAN_DIR + "/pku_test.txt");
        if (p->sUtf8.empty() || p->sGbk.empty()) {
            p->sError = "no pku_test.utf8 / pku_test.txt under " + SIGHAN_DIR;
            return p;
        }
        p->vecUtf8Lines = SplitLines(p->sUtf8);
        p->vecGbkLines = SplitLines(p->sGbk);
        p->pTran = std::make_unique<CCodeTran>(g_sDataDir.c_str(), 1);
        if (p->pTran->GetStatus() != 1) {
            p->sError = "cannot load the UTF-8 tables from " + g_sDataDir;
            return p;
        }
        std::string sOurs, sRef;
        CIconv toGbk("UTF-8", "GBK"), toUtf8("GBK", "UTF-8");
        if (!toGbk.Ok() || !toUtf8.Ok() || !toGbk.Convert(p->sUtf8, sRef)) {
            p->sError = "iconv cannot convert the text";
            return p;
        }
        sRef.resize(toGbk.Length());
        p->pTran->CodeToGBK(p->sUtf8.c_str(), sOurs);
        if (LinesOf(sOurs) != LinesOf(sRef)) {
            p->sError = "CodeToGBK differs from iconv";
        } else if (!toUtf8.Convert(p->sGbk, sRef)) {
            p->sError = "iconv cannot convert the GBK text";
        } else {
            sRef.resize(toUtf8.Length());
            p->pTran->GBKToCode(p->sGbk.c_str(), sOurs);
            if (LinesOf(sOurs) != LinesOf(sRef)) {
                p->sError = "GBKToCode differs from iconv";
            }
        }
        return p;
    }();
    return *pInput;
}

void BM_CCodeTran_CodeToGBK(benchmark::State& state) {
    const CInput& input = GetInput();
    if (!input.sError.empty()) {
        state.SkipWithError(input.sError.c_str());
        return;
    }
    std::string sResult;
    for (auto _ : state) {
        benchmark::DoNotOptimize(input.pTran->CodeToGBK(input.sUtf8.c_str(), sResult));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(input.sUtf8.size()));
}

void BM_CCodeTran_GBKToCode(benchmark::State& state) {
    const CInput& input = GetInput();
    if (!input.sError.empty()) {
        state.SkipWithError(input.sError.c_str());
        return;
    }
    std::string sResult;
    for (auto _ : state) {
        benchmark::DoNotOptimize(input.pTran->GBKToCode(input.sGbk.c_str(), sResult));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(input.sGbk.size()));
}

// RunLines: fnConvert(line, result) on every line in turn; the bytes are the lines' bytes.
template <class FnConvert>
void RunLines(benchmark::State& state, const std::vector<std::string>& vecLines,
              FnConvert fnConvert) {
    const CInput& input = GetInput();
    if (!input.sError.empty()) {
        state.SkipWithError(input.sError.c_str());
        return;
    }
    std::string sResult;
    size_t nBytes = 0;
    for (auto _ : state) {
        for (const std::string& sLine : vecLines) {
            benchmark::DoNotOptimize(fnConvert(sLine.c_str(), sResult));
            nBytes += sLine.size();
        }
    }
    state.SetBytesProcessed(static_cast<int64_t>(nBytes));
}

void BM_CCodeTran_CodeToGBKLines(benchmark::State& state) {
    const CInput& input = GetInput();
    RunLines(state, input.vecUtf8Lines,
             [&](const char* s, std::string& r) { return input.pTran->CodeToGBK(s, r); });
}

void BM_CCodeTran_GBKToCodeLines(benchmark::State& state) {
    const CInput& input = GetInput();
    RunLines(state, input.vecGbkLines,
             [&](const char* s, std::string& r) { return input.pTran->GBKToCode(s, r); });
}

void RunIconv(benchmark::State& state, const std::string& sText, const char* sFrom,
              const char* sTo) {
    const CInput& input = GetInput();
    if (!input.sError.empty()) {
        state.SkipWithError(input.sError.c_str());
        return;
    }
    CIconv conv(sFrom, sTo);
    std::string sResult;
    for (auto _ : state) {
        if (!conv.Convert(sText, sResult)) {
            state.SkipWithError("iconv failed");
            break;
        }
        benchmark::DoNotOptimize(sResult.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(sText.size()));
}

void BM_Iconv_UTF8ToGBK(benchmark::State& state) {
    RunIconv(state, GetInput().sUtf8, "UTF-8", "GBK");
}

void BM_Iconv_GBKToUTF8(benchmark::State& state) {
    RunIconv(state, GetInput().sGbk, "GBK", "UTF-8");
}

BENCHMARK(BM_CCodeTran_CodeToGBK)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CCodeTran_CodeToGBKLines)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Iconv_UTF8ToGBK)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CCodeTran_GBKToCode)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CCodeTran_GBKToCodeLines)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Iconv_GBKToUTF8)->Unit(benchmark::kMillisecond);

}  // namespace

// main: takes --data=DIR (the data directory) off the arguments, then runs the benchmarks.
int main(int argc, char** argv) {
    std::vector<char*> vecArgs;
    for (int i = 0; i < argc; ++i) {
        if (i > 0 && std::strncmp(argv[i], "--data=", 7) == 0) {
            g_sDataDir = argv[i] + 7;
        } else {
            vecArgs.push_back(argv[i]);
        }
    }
    int nArgs = static_cast<int>(vecArgs.size());
    benchmark::Initialize(&nArgs, vecArgs.data());
    if (benchmark::ReportUnrecognizedArguments(nArgs, vecArgs.data())) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
