// VintrelAPI.cpp: the exported VT_ functions. Nothing thrown crosses this boundary: each entry runs its body
// through GuardCall, which turns any exception into the function's failure value.
#include "Vintrel/VintrelAPI.h"

#include <exception>
#include <new>

#include "Utility/Utility.h"

namespace {

// GuardCall: runs fnBody and returns its result; any exception becomes failValue, with a last-error text.
template <typename T, typename F>
T GuardCall(T failValue, F&& fnBody) noexcept {
    try {
        return fnBody();
    } catch (const std::bad_alloc&) {
        try {
            ReportError("Out of memory!");
        } catch (...) {
        }
    } catch (...) {
        try {
            ReportError("Internal error!");
        } catch (...) {
        }
    }
    return failValue;
}

}  // namespace

extern "C" {

const char* VT_GetLastErrorMsg(void) {
    return GuardCall<const char*>("", [] { return GetLastErrorMessage(); });
}

int VT_ExportDict(const char* sFilename, int handle) {
    // Deliberate: the export is not reachable through the C interface; callers rely on the constant 0.
    (void)sFilename;
    (void)handle;
    return 0;
}

}  // extern "C"
