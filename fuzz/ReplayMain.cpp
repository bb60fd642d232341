// ReplayMain.cpp: runs a fuzz target over every file of its corpus directories, so the corpora replay
// inside ctest without libFuzzer. Exits 0 when every input ran, 1 when a directory cannot be read.
#include <dirent.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize);

int main(int argc, char** argv) {
    int nRun = 0;
    for (int i = 1; i < argc; ++i) {
        DIR* dir = opendir(argv[i]);
        if (dir == nullptr) {
            std::fprintf(stderr, "cannot open corpus %s\n", argv[i]);
            return 1;
        }
        std::vector<std::string> vecFiles;
        while (dirent* entry = readdir(dir)) {
            if (entry->d_name[0] != '.') vecFiles.push_back(std::string(argv[i]) + "/" + entry->d_name);
        }
        closedir(dir);
        for (const std::string& sFile : vecFiles) {
            std::ifstream in(sFile, std::ios::binary);
            std::ostringstream bytes;
            bytes << in.rdbuf();
            std::string sData = bytes.str();
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(sData.data()), sData.size());
            ++nRun;
        }
    }
    std::printf("%d passed, 0 failed\n", nRun);
    return 0;
}
