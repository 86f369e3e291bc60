#include "platform/PictureDecoder.h"

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

namespace platform {

std::optional<DecodedPicture> decodePicture(const std::string& file) {
    Source source{file};
    int width = 0;
    int height = 0;
    const std::unique_ptr<stbi_uc, void (*)(void*)> rgba(
        stbi_load_from_callbacks(&callbacks, &source, &width, &height, nullptr, 4), stbi_image_free);
    if (!rgba || source.ranOut) return std::nullopt;
    const std::size_t size = static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4;
    DecodedPicture decoded{
        static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height), {rgba.get(), rgba.get() + size}};
    for (std::size_t i = 0; i < size; i += 4) std::swap(decoded.bgra[i], decoded.bgra[i + 2]);
    return decoded;
}

} // namespace platform
