#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace updater {

/// Inflates a raw deflate stream (RFC 1951) that has to make up all of `packed` and give exactly `size` bytes;
/// ArchiveError for any other.
std::string inflated(std::string_view packed, std::size_t size);

/// The checksum of the zip format.
std::uint32_t crcOf(std::string_view bytes);

} // namespace updater
