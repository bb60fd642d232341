// ScanHits.h: the hits of CPDAT::MMScanPosition as comparable values, for the dictionary tests.
#ifndef VINTREL_TESTS_SUPPORT_SCANHITS_H_
#define VINTREL_TESTS_SUPPORT_SCANHITS_H_

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "Utility/PDAT.h"

namespace vt_test {

struct Hit {
    int nHandle, nStart, nLen;
    bool operator==(const Hit& o) const { return nHandle == o.nHandle && nStart == o.nStart && nLen == o.nLen; }
};
inline std::ostream& operator<<(std::ostream& os, const Hit& h) {
    return os << "{" << h.nHandle << "," << h.nStart << "," << h.nLen << "}";
}
using Hits = std::vector<Hit>;

// Scan: the hits of one scan of sText (which always returns 0).
inline Hits Scan(const CPDAT& dict, const std::string& sText, int nScanMode) {
    std::vector<_stTermPosition> vecHits;
    EXPECT_EQ(dict.MMScanPosition(sText.c_str(), vecHits, nScanMode), 0);
    Hits vec;
    for (const _stTermPosition& t : vecHits) vec.push_back({t.nHandle, t.iStartPos, t.nWordLen});
    return vec;
}

}  // namespace vt_test

#endif  // VINTREL_TESTS_SUPPORT_SCANHITS_H_
