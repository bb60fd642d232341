// WordStandard_test.cpp: the standardisation of keywords and scanned texts. Its output, in place
// and into another buffer, must equal a plain character-by-character reading of the rules for
// random texts that mix runs of ordinary characters with the characters the rules change or drop,
// at every alignment, up to a lone lead byte at the end. Every character of the rows the rules change is checked on its own too.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "Utility/Utility.h"

namespace {

// Reference: the rules, one character at a time.
std::string ReferenceStandard(const std::string& sIn) {
    std::string sOut;
    for (size_t i = 0; i < sIn.size();) {
        unsigned char c1 = static_cast<unsigned char>(sIn[i]);
        if (c1 < 0x80 || i + 1 == sIn.size()) {
            ++i;
            if (c1 >= 'A' && c1 <= 'Z') {
                sOut += static_cast<char>(c1 + 32);
            } else if ((c1 >= '0' && c1 <= '9') || (c1 >= 'a' && c1 <= 'z') ||
                       std::strchr("+-{};", c1) != nullptr) {
                sOut += static_cast<char>(c1);
            }
            continue;
        }
        unsigned char c2 = static_cast<unsigned char>(sIn[i + 1]);
        i += 2;
        unsigned nCode = c1 * 256u + c2;
        if (c1 == 0xA3 && c2 >= 0xB0 && c2 <= 0xB9) {
            sOut += static_cast<char>('0' + c2 - 0xB0);
        } else if (c1 == 0xA3 && ((c2 >= 0xC1 && c2 <= 0xDA) || (c2 >= 0xE1 && c2 <= 0xFA))) {
            sOut += static_cast<char>('a' + (c2 - 0xC1) % 32);
        } else if (c1 == 0xA3 && c2 >= 0xBB) {
            sOut += ';';
        } else if (nCode == 0xA3AB) {
            sOut += '+';
        } else if (nCode == 0xA1A3 || nCode == 0xA1B0 || nCode == 0xA1B1 || nCode == 0xA1BE ||
                   nCode == 0xA1BF || nCode == 0xA1B6 || nCode == 0xA1B7 || nCode == 0xA3A8 ||
                   nCode == 0xA3A9) {
            // 。“”【】《》（） are dropped
        } else {
            sOut += static_cast<char>(c1);
            sOut += static_cast<char>(c2);
        }
    }
    return sOut;
}

TEST(WordStandard, LongRunsMatchTheCharacterRules) {
    // Ordinary hanzi (also with trail bytes A1 and A3 and ASCII-range trails), and the characters
    // that break a run: rows A1 and A3, ASCII, a lone high byte followed by ASCII.
    const std::vector<std::string> vecRun = {"\xC4\xCF", "\xBE\xA9", "\xB0\xA1", "\xB0\xA3",
                                             "\xB0\x41", "\x81\x40", "\xF7\xFE"};
    const std::vector<std::string> vecOther = {"\xA3\xAC",
                                               "\xA1\xA3",
                                               "\xA3\xC1",
                                               "\xA3\xB5",
                                               "\xA3\xAB",
                                               "\xA1\xB0",
                                               "\xA3\xA8",
                                               "\xA1\xA2",
                                               " ",
                                               "A",
                                               "z",
                                               "+",
                                               ".",
                                               "\xB0"
                                               "a"};
    std::mt19937 rng(1122);
    for (int t = 0; t < 3000; ++t) {
        std::string sIn;
        int n = static_cast<int>(rng() % 60);
        for (int i = 0; i < n; ++i) {
            sIn +=
                rng() % 8 != 0 ? vecRun[rng() % vecRun.size()] : vecOther[rng() % vecOther.size()];
        }
        if (rng() % 4 == 0) sIn += "\xC4";  // a lone lead byte at the end
        const std::string sExpected = ReferenceStandard(sIn);
        // In place.
        std::vector<char> vecBuf(sIn.begin(), sIn.end());
        vecBuf.push_back('\0');
        ASSERT_EQ(std::string(WordStandard(vecBuf.data())), sExpected) << t;
        // Into another buffer, whose bytes beyond the output are left alone.
        std::vector<char> vecOut(sIn.size() + 8, 'x');
        size_t nOut = WordStandard(sIn.c_str(), sIn.size(), vecOut.data());
        ASSERT_EQ(nOut, sExpected.size()) << t;
        ASSERT_EQ(std::string(vecOut.data()), sExpected) << t;
        ASSERT_EQ(vecOut[sIn.size() + 1], 'x') << t;
    }
    EXPECT_EQ(WordStandard(nullptr, 3, nullptr), 0u);
}

// Every one-byte character and every character of rows A1 and A3 (whose characters the rules change
// one by one), between two hanzi.
TEST(WordStandard, EveryCharacterOfTheChangedRowsMatchesTheRules) {
    std::vector<std::string> vecChars;
    for (int c = 1; c < 0x80; ++c) vecChars.push_back(std::string(1, static_cast<char>(c)));
    for (int nLead : {0xA1, 0xA3}) {
        for (int c = 0x40; c <= 0xFE; ++c) {
            vecChars.push_back({static_cast<char>(nLead), static_cast<char>(c)});
        }
    }
    for (const std::string& sChar : vecChars) {
        const std::string sIn = "\xC4\xCF" + sChar + "\xBE\xA9";  // 南 . 京
        std::vector<char> vecOut(sIn.size() + 1);
        size_t nOut = WordStandard(sIn.c_str(), sIn.size(), vecOut.data());
        ASSERT_EQ(std::string(vecOut.data(), nOut), ReferenceStandard(sIn))
            << static_cast<int>(static_cast<unsigned char>(sChar[0])) << " "
            << static_cast<int>(static_cast<unsigned char>(sChar.back()));
    }
}

}  // namespace
