#include "platform/Jpeg.h"

#include <algorithm>

// Markers, segments and tables: ITU-T T.81, annex B.

namespace {

unsigned byteAt(const std::string& file, std::size_t i) {
    return i < file.size() ? static_cast<unsigned char>(file[i]) : 0u;
}

/// The tables from `start` to `end`: each has a byte for its place, the counts of the codes of 1 to 16 bits, and a
/// value for each code.
bool areSoundHuffmanTables(const std::string& file, std::size_t start, std::size_t end) {
    while (start < end) {
        unsigned codes = 0;
        for (std::size_t bits = 1; bits <= 16; ++bits) codes += byteAt(file, start + bits);
        if (codes > 256) return false;
        start += 17 + codes;
    }
    return true;
}

} // namespace

namespace platform {

bool isSoundJpeg(const std::string& file) {
    const std::size_t first = file.find_first_not_of('\xFF'); // any marker may have filling before it
    if (first == 0 || first == std::string::npos || byteAt(file, first) != 0xD8) return true;
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
        if (marker == 0xC4 && !areSoundHuffmanTables(file, i + 4, next)) return false;
        i = next;
    }
    return false;
}

} // namespace platform
