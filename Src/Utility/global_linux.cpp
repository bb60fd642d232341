// global_linux.cpp: portability helpers of the Windows C library.
#include "Utility/global_linux.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>

char* itoa(int nValue, char* sBuffer, int nRadix) {
    const char* sFormat = nRadix == 8 ? "%o" : nRadix == 16 ? "%x" : "%d";
    std::snprintf(sBuffer, 12, sFormat, nValue);
    return sBuffer;
}

char* strlwr(char* sStr) {
    if (sStr == nullptr) return nullptr;
    for (char* p = sStr; *p; ++p) *p = static_cast<char>(std::tolower(static_cast<unsigned char>(*p)));
    return sStr;
}

char* strupr(char* sStr) {
    if (sStr == nullptr) return nullptr;
    for (char* p = sStr; *p; ++p) *p = static_cast<char>(std::toupper(static_cast<unsigned char>(*p)));
    return sStr;
}

char* strrev(char* sStr) {
    if (sStr == nullptr) return nullptr;
    std::reverse(sStr, sStr + std::strlen(sStr));
    return sStr;
}

char GetUpperLetter(char c) { return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c; }

char GetLowerLetter(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }
