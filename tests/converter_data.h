// The reference data behind the compiled tables, read at test time, so the
// converters are checked against something other than the arrays they use.
#ifndef VYNULIB_TESTS_CONVERTER_DATA_H
#define VYNULIB_TESTS_CONVERTER_DATA_H

#include <array>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

struct MapRecord {
    unsigned code;
    unsigned unicode;
};

inline std::string dataPath(std::string const& rel) {
    return std::string(VYN_SOURCE_DIR "/src/vynulib/tables/data/") + rel;
}

// "code<TAB>unicode" lines in hexadecimal; '#' lines are comments. Empty when
// the file is missing.
inline std::vector<MapRecord> readMapData(std::string const& rel) {
    std::vector<MapRecord> out;
    std::ifstream in(dataPath(rel));
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream f(line);
        MapRecord r{};
        f >> std::hex >> r.code >> r.unicode;
        if (f) out.push_back(r);
    }
    return out;
}

// The lead-byte type table `name` from its ranges; all zero when unknown.
inline std::array<unsigned char, 256> readTypeTable(std::string const& name) {
    std::array<unsigned char, 256> t{};
    std::ifstream in(dataPath("leadbyte_types.tsv"));
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream f(line);
        std::string table;
        unsigned first = 0, last = 0, type = 0;
        f >> table >> std::hex >> first >> last >> type;
        if (!f || table != name) continue;
        for (unsigned b = first; b <= last && b < 256; ++b) t[b] = static_cast<unsigned char>(type);
    }
    return t;
}

// "U+%04X" of each unit, as the converters escape it.
inline std::string escapeOf(std::initializer_list<unsigned> units) {
    std::string s;
    char buf[16];
    for (unsigned u : units) {
        std::snprintf(buf, sizeof buf, "U+%04X", u);
        s += buf;
    }
    return s;
}

#endif
