#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// Pixels: rows from the top, each pixel blue, green, red, without padding.
struct Pixels {
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::vector<std::uint8_t> bgr;
};

/// What a picture control shows: one of the program's own pictures by its name, decoded pixels, or nothing. A cheap
/// value: copies share the pixels.
struct Picture {
    std::string art;                      // name of a file in src/art without ".svg"; empty for none
    std::shared_ptr<const Pixels> pixels; // decoded from a file; null for none

    Picture() = default;
    Picture(const char* artName) : art(artName) {} // NOLINT: a picture is written as its name
    explicit Picture(std::shared_ptr<const Pixels> decoded) : pixels(std::move(decoded)) {}
    friend bool operator==(const Picture&, const Picture&) = default;
};

namespace platform {

/// Decodes a JPEG, PNG, GIF or BMP file, told by its content. Raises fileNotFound (53), or invalidPicture (481) for
/// anything that does not decode whole. Transparency is laid on black.
Picture loadPicture(const std::wstring& path);

/// Writes decoded pixels as a 24-bit Windows bitmap (BITMAPINFOHEADER, BI_RGB, bottom-up), replacing the file. Raises
/// invalidPicture (481) for a picture without pixels and what Files.h tells for the file.
void savePicture(const Picture& picture, const std::wstring& path);

} // namespace platform
