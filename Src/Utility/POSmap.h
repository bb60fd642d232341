// POSmap.h: CPOSmap, the table of class names (tag sets such as "PKU.map") that gives class ids
// names.
#ifndef VINTREL_UTILITY_POSMAP_H_
#define VINTREL_UTILITY_POSMAP_H_

#include <string>
#include <vector>

// CPOSmap gives the class ids 0 .. GetItemCount() - 1 their names, read from a text file with one
// name per line (the line's first blank-delimited token; lines without one give no id). Lines are
// read in pieces of at most 99 bytes, each piece taken as a line. Id 255 means "no class", so at
// most 255 names are kept.
//
// Lifecycle: construct (no names; every id reads as the default name "n"); Load; then look up.
// Threads: read-only after Load; GetID, GetPOS and GetItemCount may run from many threads at once.
// Load needs exclusive use.
class CPOSmap {
public:
    // The size of the line buffer; a name is at most LINE_BUFFER_SIZE - 1 bytes.
    static constexpr int LINE_BUFFER_SIZE = 100;
    // The id of "no class" and the number of names a map can hold.
    static constexpr int NO_CLASS = 255;

    CPOSmap();
    virtual ~CPOSmap();
    CPOSmap(const CPOSmap&) = delete;  // a loaded table is shared by pointer
    CPOSmap& operator=(const CPOSmap&) = delete;

    // Load: replaces the names with those of a file (names after the 255th are ignored). 1; 0 when
    // the file cannot be opened or sFilename is null, leaving the map without names.
    int Load(const char* sFilename);
    // GetID: the id of the first name equal to sName ignoring ASCII case; 255 when there is none or
    // sName is null or empty.
    int GetID(const char* sName) const;
    // GetPOS: the name of nId, or the default name "n" when the id has none. The text belongs to
    // the map and stays valid until the next Load or the map's destruction; never null.
    const char* GetPOS(unsigned char nId) const;
    // GetPOS: copies the name of nId into sOut and returns 1, or copies the default name and
    // returns 0. Returns 0 without copying when sOut is null. REQUIRES: sOut holds LINE_BUFFER_SIZE
    // bytes.
    int GetPOS(unsigned char nId, char* sOut) const;
    // GetItemCount: the number of names.
    int GetItemCount() const { return m_nItemCount; }

private:
    std::vector<std::string> m_pData;            // the names, by id
    char m_pDefaultPos[LINE_BUFFER_SIZE] = "n";  // the name of an id without one
    unsigned char m_nItemCount = 0;              // the number of names
};

#endif  // VINTREL_UTILITY_POSMAP_H_
