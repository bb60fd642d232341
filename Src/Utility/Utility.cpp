// Utility.cpp: (being written) text utilities and logging.
#include "Utility/Utility.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace {
std::mutex g_mutexLastError;
std::string g_sLastErrorMessage;  // guarded by g_mutexLastError
}  // namespace

void ReportError(const std::string& sMessage) {
    {
        std::lock_guard<std::mutex> lock(g_mutexLastError);
        g_sLastErrorMessage = sMessage;
    }
}

const char* GetLastErrorMessage() {
    thread_local std::string sCopy;
    std::lock_guard<std::mutex> lock(g_mutexLastError);
    sCopy = g_sLastErrorMessage;
    return sCopy.c_str();
}
