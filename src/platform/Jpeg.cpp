#include "platform/Jpeg.h"

#include <algorithm>
#include <bitset>

// Markers, segments and tables: ITU-T T.81, annex B.

namespace {

unsigned byteAt(const std::string& file, std::size_t i) {
    return i < file.size() ? static_cast<unsigned char>(file[i]) : 0u;
}

/// What the scans of a file decode with.
class HuffmanTables {
public:
    /// Of the tables from `start` to `end` each has a byte for its class and place, the counts of the codes of 1 to 16
    /// bits, and a value for each code. False if there are more codes than values of a byte.
    bool define(const std::string& file, std::size_t start, std::size_t end) {
        while (start < end) {
            unsigned codes = 0;
            for (std::size_t bits = 1; bits <= 16; ++bits) codes += byteAt(file, start + bits);
            if (codes > 256) return false;
            defined.set(byteAt(file, start));
            start += 17 + codes;
        }
        return true;
    }

    /// The header of a scan, from its count of components on, names a table of class 0 and one of class 1 for each. A
    /// sequential scan needs both, a progressive one that of its coefficients, but none where it refines the first one.
    bool has(const std::string& file, std::size_t scan, bool isProgressive) const {
        const std::size_t components = byteAt(file, scan);
        const std::size_t range = scan + 1 + 2 * components;
        const bool startsAtFirst = byteAt(file, range) == 0;
        const bool refines = byteAt(file, range + 2) >> 4 != 0;
        for (std::size_t i = 0; i < components; ++i) {
            const unsigned tables = byteAt(file, scan + 2 + 2 * i);
            if (startsAtFirst && !(isProgressive && refines) && !defined[tables >> 4]) return false;
            if (!(isProgressive && startsAtFirst) && !defined[0x10 | (tables & 0x0F)]) return false;
        }
        return true;
    }

private:
    std::bitset<256> defined; // by the byte for class and place
};

} // namespace

namespace platform {

bool isSoundJpeg(const std::string& file) {
    const std::size_t first = file.find_first_not_of('\xFF'); // any marker may have filling before it
    if (first == 0 || first == std::string::npos || byteAt(file, first) != 0xD8) return true;
    HuffmanTables tables;
    bool usesHuffman = false;
    bool isProgressive = false;
    std::size_t i = first + 1;
    while ((i = file.find('\xFF', i)) < file.size()) {
        const unsigned marker = byteAt(file, i + 1);
        const bool isRestart = marker >= 0xD0 && marker <= 0xD7;
        if (marker == 0x00 || marker == 0xFF || isRestart) {
            ++i; // in the picture's data, or filling
            continue;
        }
        if (marker == 0xD9) return true; // the end
        const std::size_t next = i + 2 + std::max(byteAt(file, i + 2) * 256 + byteAt(file, i + 3), 2u);
        if (marker == 0xC4 && !tables.define(file, i + 4, next)) return false;
        if (marker >= 0xC0 && marker <= 0xC2) { // the frames that are not coded arithmetically
            usesHuffman = true;
            isProgressive = marker == 0xC2;
        }
        if (marker == 0xDA && usesHuffman && !tables.has(file, i + 4, isProgressive)) return false;
        i = next;
    }
    return false;
}

} // namespace platform
