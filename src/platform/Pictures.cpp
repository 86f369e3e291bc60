#include "platform/Pictures.h"

#include <algorithm>
#include <new>

#include "platform/Files.h"
#include "platform/Jpeg.h"
#include "platform/PictureDecoder.h"
#include "platform/RunTimeError.h"

namespace {

constexpr std::uint32_t fileHeaderSize = 14;
constexpr std::uint32_t infoHeaderSize = 40;
constexpr std::uint16_t bitsPerPixel = 24;

void put16(std::string& bytes, std::uint16_t value) {
    bytes += static_cast<char>(value & 0xFF);
    bytes += static_cast<char>(value >> 8);
}

void put32(std::string& bytes, std::uint32_t value) {
    put16(bytes, static_cast<std::uint16_t>(value & 0xFFFF));
    put16(bytes, static_cast<std::uint16_t>(value >> 16));
}

/// The picture as it looks on black.
std::shared_ptr<const Pixels> onBlack(const platform::DecodedPicture& decoded) {
    auto pixels = std::make_shared<Pixels>();
    pixels->width = static_cast<std::int32_t>(decoded.width);
    pixels->height = static_cast<std::int32_t>(decoded.height);
    pixels->bgr.reserve(decoded.bgra.size() / 4 * 3);
    for (std::size_t i = 0; i + 3 < decoded.bgra.size(); i += 4) {
        const unsigned opacity = decoded.bgra[i + 3];
        for (std::size_t channel = 0; channel < 3; ++channel)
            pixels->bgr.push_back(static_cast<std::uint8_t>((decoded.bgra[i + channel] * opacity + 127) / 255));
    }
    return pixels;
}

std::string bitmapFile(const Pixels& pixels) {
    const auto width = static_cast<std::size_t>(pixels.width);
    const auto height = static_cast<std::size_t>(pixels.height);
    const std::size_t stride = (width * 3 + 3) / 4 * 4;
    const auto size = static_cast<std::uint32_t>(stride * height);

    std::string file;
    file.reserve(fileHeaderSize + infoHeaderSize + size);
    file += "BM";
    put32(file, fileHeaderSize + infoHeaderSize + size);
    put32(file, 0); // reserved
    put32(file, fileHeaderSize + infoHeaderSize);
    put32(file, infoHeaderSize);
    put32(file, static_cast<std::uint32_t>(pixels.width));
    put32(file, static_cast<std::uint32_t>(pixels.height)); // positive: the rows run from the bottom
    put16(file, 1);                                         // planes
    put16(file, bitsPerPixel);
    put32(file, 0); // BI_RGB
    put32(file, size);
    put32(file, 0); // pixels per metre are not known
    put32(file, 0);
    put32(file, 0); // no palette
    put32(file, 0);
    for (std::size_t row = height; row-- > 0;) {
        const auto start = pixels.bgr.begin() + static_cast<std::ptrdiff_t>(row * width * 3);
        file.append(start, start + static_cast<std::ptrdiff_t>(width * 3));
        file.append(stride - width * 3, '\0');
    }
    return file;
}

} // namespace

namespace platform {

Picture loadPicture(const std::wstring& path) {
    try {
        const std::string file = readWholeFile(path);
        const auto decoded = isSoundJpeg(file) ? decodePicture(file) : std::nullopt;
        if (decoded) return Picture(onBlack(*decoded));
    } catch (const RunTimeError& error) {
        if (error.Number == errors::fileNotFound || error.Number == errors::pathNotFound)
            throw RunTimeError(errors::fileNotFound);
    } catch (const std::bad_alloc&) {
        // A few bytes can promise more pixels than there is memory.
    }
    throw RunTimeError(errors::invalidPicture);
}

void savePicture(const Picture& picture, const std::wstring& path) {
    if (!picture.pixels || picture.pixels->width <= 0 || picture.pixels->height <= 0)
        throw RunTimeError(errors::invalidPicture);
    const std::string file = bitmapFile(*picture.pixels);
    if (fileAttributes(path)) deleteFile(path);
    const std::int16_t number = openBinary(path);
    try {
        writeFile(number, 1, file);
    } catch (const RunTimeError&) {
        closeFile(number);
        throw;
    }
    closeFile(number);
}

} // namespace platform
