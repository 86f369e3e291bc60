#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// The platform's decoder, below Pictures.h.
namespace platform {

/// Rows from the top, each pixel blue, green, red, opacity, without padding.
struct DecodedPicture {
    std::uint32_t width;
    std::uint32_t height;
    std::vector<std::uint8_t> bgra;
};

/// Decodes the first picture of a JPEG, PNG, GIF or BMP file's content; nothing if it is anything else, damaged or cut
/// short.
std::optional<DecodedPicture> decodePicture(const std::string& file);

} // namespace platform
