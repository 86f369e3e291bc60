#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

/// What the targets share. Each is a function of some bytes that ends the process where a promise is broken.

inline void require(bool condition) {
    if (!condition) std::abort();
}

/// The input as pieces, each a length byte and so many bytes. Whatever lacks at the end is left out.
inline std::vector<std::string> piecesOf(const std::uint8_t* data, std::size_t size) {
    std::vector<std::string> pieces;
    for (std::size_t at = 0; at < size;) {
        const std::size_t length = std::min<std::size_t>(data[at], size - at - 1);
        pieces.emplace_back(reinterpret_cast<const char*>(data) + at + 1, length);
        at += 1 + length;
    }
    return pieces;
}

#ifdef FUZZER
#define FUZZ_TARGET(target)                                                                                            \
    extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {                                \
        target(data, size);                                                                                            \
        return 0;                                                                                                      \
    }
#else
#define FUZZ_TARGET(target)
#endif
