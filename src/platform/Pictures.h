#pragma once

#include <memory>
#include <string>

class PictureFile;

/// What a picture control holds: one of the program's own pictures by its name, a file's picture, or nothing. A cheap
/// value: copies share the file.
struct Picture {
    std::string art;                         // name of a file in src/art without ".svg"; empty for none
    std::shared_ptr<const PictureFile> file; // on its way from one file into another, and never shown; null for none

    Picture() = default;
    Picture(const char* artName) : art(artName) {} // NOLINT: a picture is written as its name
    explicit Picture(std::shared_ptr<const PictureFile> loaded) : file(std::move(loaded)) {}
    friend bool operator==(const Picture&, const Picture&) = default;
};

namespace platform {

/// Takes a JPEG, PNG, GIF or BMP file, told by its content, into memory. Raises fileNotFound (53), or invalidPicture
/// (481) for anything that is seen not to decode whole. What only its pixels can tell comes out when it is saved.
Picture loadPicture(const std::wstring& path);

/// Writes a loaded picture as a 24-bit Windows bitmap (BITMAPINFOHEADER, BI_RGB, bottom-up) that takes the place of the
/// file in one step: whatever happens, `path` names the old file or the new one, whole. Transparency is laid on black.
/// Raises invalidPicture (481) for a picture of no file, or one that does not decode whole, and what Files.h tells for
/// the file.
void savePicture(const Picture& picture, const std::wstring& path);

} // namespace platform
