#include "platform/PictureFile.h"

#include <algorithm>
#include <cstring>
#include <memory>

#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_STATIC
#define STBI_ONLY_JPEG
#define STBI_ONLY_PNG
#define STBI_ONLY_GIF
#define STBI_ONLY_BMP
#define STBI_NO_STDIO
#include <stb_image.h>

#include "platform/RunTimeError.h"

namespace {

/// A file's content for the decoder. It takes a file that ends too early as one that goes on with zeros, so this notes
/// whether it asked for more than there was.
struct Source {
    const std::string& file;
    std::size_t position = 0;
    bool ranOut = false;
};

constexpr stbi_io_callbacks callbacks{
    [](void* user, char* into, int size) {
        auto& source = *static_cast<Source*>(user);
        const std::size_t left = source.file.size() - source.position;
        const std::size_t taken = std::min(left, static_cast<std::size_t>(size));
        std::memcpy(into, source.file.data() + source.position, taken);
        source.position += taken;
        if (left == 0) source.ranOut = true;
        return static_cast<int>(taken);
    },
    [](void* user, int count) {
        auto& source = *static_cast<Source*>(user);
        const auto target = static_cast<std::int64_t>(source.position) + count;
        if (target < 0 || target > static_cast<std::int64_t>(source.file.size())) source.ranOut = true;
        source.position = static_cast<std::size_t>(
            std::clamp<std::int64_t>(target, 0, static_cast<std::int64_t>(source.file.size())));
    },
    [](void* user) {
        const auto& source = *static_cast<const Source*>(user);
        return source.position >= source.file.size() ? 1 : 0;
    },
};

} // namespace

struct PictureFile::Decoder {
    int width = 0;
    int height = 0;
    std::unique_ptr<stbi_uc, void (*)(void*)> rgba{nullptr, stbi_image_free}; // this decoder knows no rows
};

// NOLINTNEXTLINE(performance-unnecessary-value-param): the other desktop keeps it.
PictureFile::PictureFile(std::string content) : decoder(std::make_unique<Decoder>()) {
    Source source{content};
    decoder->rgba.reset(stbi_load_from_callbacks(&callbacks, &source, &decoder->width, &decoder->height, nullptr, 4));
    const bool isEmpty = decoder->width == 0 || decoder->height == 0; // which this decoder takes in a BMP
    if (!decoder->rgba || isEmpty || source.ranOut) throw RunTimeError(errors::invalidPicture);
}

PictureFile::~PictureFile() = default;

std::uint32_t PictureFile::width() const { return static_cast<std::uint32_t>(decoder->width); }

std::uint32_t PictureFile::height() const { return static_cast<std::uint32_t>(decoder->height); }

bool PictureFile::hasOpacity() const { return true; }

void PictureFile::readRows(std::uint32_t first, std::uint32_t count, std::uint32_t stride, std::uint8_t* into) const {
    const std::size_t row = std::size_t{width()} * 4;
    for (std::uint32_t i = 0; i < count; ++i, into += stride) {
        std::memcpy(into, decoder->rgba.get() + (first + i) * row, row);
        for (std::size_t x = 0; x < row; x += 4) std::swap(into[x], into[x + 2]);
    }
}
