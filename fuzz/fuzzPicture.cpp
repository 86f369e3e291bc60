#include "Fuzz.h"
#include "platform/Files.h"
#include "platform/PictureFile.h"
#include "platform/Pictures.h"
#include "platform/RunTimeError.h"
#include "platform/headless/State.h"

/// Converts any file into a bitmap: it comes out whole, or invalidPicture is raised and the old one stays.
inline void fuzzPicture(const std::uint8_t* data, std::size_t size) {
    headless::reset();
    const std::wstring source = L"C:\\source";
    const std::wstring target = L"C:\\target";
    const auto put = [](const std::wstring& path, const std::string& content) {
        const std::int16_t number = platform::openBinary(path);
        platform::writeFile(number, 1, content);
        platform::closeFile(number);
    };
    put(source, {reinterpret_cast<const char*>(data), size});
    put(target, "old");
    try {
        const Picture picture = platform::loadPicture(source);
        platform::savePicture(picture, target);
        const std::size_t stride = (std::size_t{picture.file->width()} * 3 + 3) / 4 * 4;
        require(platform::readWholeFile(target).size() == 54 + stride * picture.file->height());
    } catch (const RunTimeError& error) {
        require(error.Number == errors::invalidPicture);
        require(platform::readWholeFile(target) == "old");
    }
    require(!platform::fileAttributes(target + L".new"));
}

FUZZ_TARGET(fuzzPicture)
