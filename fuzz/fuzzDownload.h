#pragma once

#include <cstddef>
#include <cstdint>

/// Feeds CDownload an answer in pieces of any size, and compares what it does with what the bytes as a whole ask for.
/// Aborts on a difference.
///
/// The input: a first byte whose lowest bit says whether redirects are followed, then pieces, each a length byte and so
/// many bytes. Whatever lacks at the end is left out.
void fuzzDownload(const std::uint8_t* data, std::size_t size);
