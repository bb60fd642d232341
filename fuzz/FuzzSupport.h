// FuzzSupport.h: helpers shared by the fuzz targets: a check that aborts (so libFuzzer and the corpus
// replay both report it) and a scratch directory private to the process.
#ifndef VINTREL_FUZZ_FUZZSUPPORT_H_
#define VINTREL_FUZZ_FUZZSUPPORT_H_

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include "Utility/Utility.h"

// FUZZ_CHECK: aborts with the failed condition when it does not hold.
#define FUZZ_CHECK(cond)                                           \
    do {                                                           \
        if (!(cond)) {                                             \
            std::fprintf(stderr, "check failed: %s\n", #cond);     \
            std::abort();                                          \
        }                                                          \
    } while (0)

// CFuzzScratch: a directory named after the target and the process id under the system's temporary
// directory, created on construction and removed with its contents on destruction. Log files of the
// library go there too, so refused inputs leave nothing in the working directory.
class CFuzzScratch {
public:
    explicit CFuzzScratch(const char* sTarget) {
        m_sDir = (std::filesystem::temp_directory_path() /
                  (std::string("vintrel-fuzz-") + sTarget + "-" + std::to_string(getpid())))
                     .string();
        std::filesystem::create_directories(m_sDir);
        g_sLogPath = m_sDir;
    }
    ~CFuzzScratch() {
        std::error_code ec;
        std::filesystem::remove_all(m_sDir, ec);
    }
    CFuzzScratch(const CFuzzScratch&) = delete;  // owns the directory on disk
    CFuzzScratch& operator=(const CFuzzScratch&) = delete;

    const std::string& Dir() const { return m_sDir; }

private:
    std::string m_sDir;
};

#endif  // VINTREL_FUZZ_FUZZSUPPORT_H_
