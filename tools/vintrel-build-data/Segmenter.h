// Segmenter.h: the segmentation engine's part of the data directory (OUTPUT_DIR/Data/), built by
// vintrel-build-data from data/segmenter/.
#ifndef VINTREL_TOOLS_VINTREL_BUILD_DATA_SEGMENTER_H_
#define VINTREL_TOOLS_VINTREL_BUILD_DATA_SEGMENTER_H_

#include <cstdint>
#include <map>
#include <string>
#include <vector>

// BuildSegmenterData: writes sOutputDir + "/Data/" (created when missing) from sSourceDir +
// "/segmenter/" and the character classes already written to sOutputDir + "/charset.type".
// mapCodeToGbk (code point -> GBK text) converts the UTF-8 name list. Returns the names of the
// files written, relative to sOutputDir ("Data/CoreDict.pdat", ...), in a fixed order. Throws
// CBuildError (BuildCommon.h) with the reason when a source is missing or bad or a file cannot be written.
std::vector<std::string> BuildSegmenterData(const std::string& sSourceDir,
                                            const std::string& sOutputDir,
                                            const std::map<uint32_t, std::string>& mapCodeToGbk);

#endif  // VINTREL_TOOLS_VINTREL_BUILD_DATA_SEGMENTER_H_
