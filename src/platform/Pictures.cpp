#include "platform/Pictures.h"

#include <algorithm>
#include <new>
#include <vector>

#include "platform/Files.h"
#include "platform/Jpeg.h"
#include "platform/Messages.h"
#include "platform/PictureFile.h"
#include "platform/RunTimeError.h"

namespace {

constexpr std::uint32_t headerSize = 14 + 40; // BITMAPFILEHEADER and BITMAPINFOHEADER
constexpr std::uint16_t bitsPerPixel = 24;
constexpr std::uint32_t bandSize = 512 * 1024; // bytes written at once

void put16(std::string& bytes, std::uint16_t value) {
    bytes += static_cast<char>(value & 0xFF);
    bytes += static_cast<char>(value >> 8);
}

void put32(std::string& bytes, std::uint32_t value) {
    put16(bytes, static_cast<std::uint16_t>(value & 0xFFFF));
    put16(bytes, static_cast<std::uint16_t>(value >> 16));
}

std::string bitmapHeader(std::uint32_t width, std::uint32_t height, std::uint32_t size) {
    std::string bytes = "BM";
    put32(bytes, headerSize + size);
    put32(bytes, 0); // reserved
    put32(bytes, headerSize);
    put32(bytes, 40); // of which the second header
    put32(bytes, width);
    put32(bytes, height); // positive: the rows run from the bottom
    put16(bytes, 1);      // planes
    put16(bytes, bitsPerPixel);
    put32(bytes, 0); // BI_RGB
    put32(bytes, size);
    put32(bytes, 0); // pixels per metre are not known
    put32(bytes, 0);
    put32(bytes, 0); // no palette
    put32(bytes, 0);
    return bytes;
}

/// The rows as they look on black.
void readOnBlack(const PictureFile& picture, std::uint32_t first, std::uint32_t count, std::uint32_t stride,
                 std::uint8_t* into) {
    if (!picture.hasOpacity()) return picture.readRows(first, count, stride, into);
    std::vector<std::uint8_t> row(std::size_t{picture.width()} * 4);
    for (const std::uint32_t end = first + count; first < end; ++first, into += stride) {
        picture.readRows(first, 1, picture.width() * 4, row.data());
        std::uint8_t* bgr = into;
        for (std::size_t i = 0; i < row.size(); i += 4) {
            const unsigned opacity = row[i + 3];
            for (std::size_t channel = 0; channel < 3; ++channel)
                *bgr++ = static_cast<std::uint8_t>((row[i + channel] * opacity + 127) / 255);
        }
    }
}

/// The first row of a bitmap is the last of its file. Decoders go from the top, so the file is written from its end,
/// which also shows at once whether the disk has room for it.
void writeBitmap(const PictureFile& picture, platform::Replacement& file) {
    const std::uint32_t height = picture.height();
    const std::uint32_t stride = (picture.width() * 3 + 3) / 4 * 4;
    const std::uint32_t rows = std::clamp(bandSize / stride, 1u, height);
    std::string band;
    for (std::uint32_t row = 0; row < height;) {
        const std::uint32_t count = std::min(rows, height - row);
        band.resize(std::size_t{count} * stride); // rows are padded with the zeros of its first turn
        readOnBlack(picture, row, count, stride, reinterpret_cast<std::uint8_t*>(band.data()));
        for (std::size_t above = 0, below = count - 1; above < below; ++above, --below)
            std::swap_ranges(&band[above * stride], &band[above * stride] + stride, &band[below * stride]);
        row += count;
        file.write(headerSize + std::int64_t{height - row} * stride + 1, band);
    }
    file.write(1, bitmapHeader(picture.width(), height, stride * height));
}

} // namespace

namespace platform {

Picture loadPicture(const std::wstring& path) {
    std::shared_ptr<const PictureFile> file;
    try {
        workAside([&] {
            std::string content = readWholeFile(path);
            if (isSoundJpeg(content)) file = std::make_shared<const PictureFile>(std::move(content));
        });
        if (file) return Picture(std::move(file));
    } catch (const RunTimeError& error) {
        if (error.Number == errors::fileNotFound || error.Number == errors::pathNotFound)
            throw RunTimeError(errors::fileNotFound);
    } catch (const std::bad_alloc&) {
        // A few bytes can promise more pixels than there is memory.
    }
    throw RunTimeError(errors::invalidPicture);
}

void savePicture(const Picture& picture, const std::wstring& path) {
    if (!picture.file) throw RunTimeError(errors::invalidPicture);
    workAside([&] {
        Replacement file(path);
        writeBitmap(*picture.file, file);
        file.commit();
    });
}

} // namespace platform
