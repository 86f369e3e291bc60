#pragma once

#include <cstdint>
#include <memory>
#include <string>

/// A picture file with the platform's decoder on it. Its pixels are made when their rows are asked for, so that a
/// large picture need not lie in memory as a whole.
class PictureFile {
public:
    /// Takes the content of a JPEG, PNG, GIF or BMP file, of which the first picture counts. Raises invalidPicture
    /// (481) if it is anything else, or is seen to be damaged or cut short.
    explicit PictureFile(std::string content);
    PictureFile(const PictureFile&) = delete;
    PictureFile& operator=(const PictureFile&) = delete;
    ~PictureFile();

    /// In pixels, neither of them 0, and together below 2^29.
    std::uint32_t width() const;
    std::uint32_t height() const;

    /// Whether each pixel has its opacity behind blue, green and red. A JPEG's have none.
    bool hasOpacity() const;

    /// Rows from the top, 3 or 4 bytes for each pixel, each row `stride` bytes behind the one before. What lies between
    /// a row's end and the next is left alone. Asking for the rows in their order is the fast way. Raises
    /// invalidPicture (481) where the file turns out to be damaged.
    void readRows(std::uint32_t first, std::uint32_t count, std::uint32_t stride, std::uint8_t* into) const;

private:
    struct Decoder; // the platform's
    std::unique_ptr<Decoder> decoder;
};
