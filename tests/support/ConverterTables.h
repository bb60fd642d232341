// ConverterTables.h: writes small conversion table sets (dictionaries, word lists and id maps in the
// files the encoding converter loads) for the converter tests.
#ifndef VINTREL_TESTS_SUPPORT_CONVERTERTABLES_H_
#define VINTREL_TESTS_SUPPORT_CONVERTERTABLES_H_

#include <string>
#include <utility>
#include <vector>

namespace vt_test {

// The six file names of each encoding code 1..5, by column (GBK dictionary, GBK word list, code
// dictionary, code word list, code-to-GBK map, GBK-to-code map); row 0 is empty.
extern const char* const CONVERTER_FILE_NAMES[6][6];

// Map rows as (source handle, target handle) pairs.
using Pairs = std::vector<std::pair<int, int>>;

// WriteSide: a mode-1 dictionary and a plain word list of the units, a unit's handle being its index
// (units must be distinct). Fails the calling test when a file cannot be written.
void WriteSide(const std::vector<std::string>& vecUnits, const std::string& sDict,
               const std::string& sList);
// WriteMap: an id map of the pairs.
void WriteMap(const Pairs& vecPairs, const std::string& sFile);

}  // namespace vt_test

#endif  // VINTREL_TESTS_SUPPORT_CONVERTERTABLES_H_
