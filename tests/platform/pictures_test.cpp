#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <functional>

#include "platform/Files.h"
#include "platform/Jpeg.h"
#include "platform/Pictures.h"
#include "platform/RunTimeError.h"
#include "support/RaisedNumber.h"
#include "support/TestDesktop.h"

using namespace platform;

namespace {

std::string bytesOf(const std::string& hex) {
    std::string bytes;
    for (std::size_t i = 0; i < hex.size(); i += 2)
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    return bytes;
}

// The left half red, the right half blue, 16 by 8.
const std::string jpeg = bytesOf(
    "ffd8ffe000104a46494600010100000100010000ffdb004300140e0f120f0d14121012171514181e32211e1c1c1e3d2c2e243249404c4b47"
    "404645505a736250556d5645466488656d777b8182814e608d978c7d96737e817cffdb0043011517171e1a1e3b21213b7c5346537c7c7c7c"
    "7c7c7c7c7c7c7c7c7c7c7c7c7c7c7c7c7c7c7c7c7c7c7c7c7c7c7c7c7c7c7c7c7c7c7c7c7c7c7c7c7c7c7c7c7c7cffc0001108000800100301"
    "1100021101031101ffc40014000100000000000000000000000000000005ffc40014100100000000000000000000000000000000ffc40016"
    "0101010100000000000000000000000000060507ffc40014110100000000000000000000000000000000ffda000c03010002110311003f00"
    "293cc06340077fffd9");
// Red, half-transparent green; blue, fully transparent white.
const std::string png =
    bytesOf("89504e470d0a1a0a0000000d494844520000000200000002080600000072b60d240000001749444154789c05c1010100000082"
            "20a6f7dc402443550e43d308792e42a5360000000049454e44ae426082");
// Red, green; blue, transparent.
const std::string gif =
    bytesOf("47494638396102000200810000ff000000ff000000ffffffff21f90401000003002c00000000020002000008"
            "0700010410302020003b");
// Red, green; blue, white; bottom-up, rows padded to 8 bytes.
const std::string bmp =
    bytesOf("424d460000000000000036000000280000000200000002000000010018000000000010000000000000000000"
            "00000000000000000000"
            "ff0000ffffff0000"
            "0000ff00ff000000");

using Bgr = std::array<int, 3>;

/// A bitmap as it was written.
struct Bitmap {
    std::string file;
    std::size_t number(std::size_t offset) const { return static_cast<unsigned char>(file.at(offset)); }
    std::size_t width() const { return number(18); }
    std::size_t height() const { return number(22); }
    Bgr at(std::size_t x, std::size_t y) const {
        const std::size_t start = 54 + (height() - 1 - y) * ((width() * 3 + 3) / 4 * 4) + x * 3;
        const auto channel = [&](std::size_t i) { return static_cast<int>(number(start + i)); };
        return {channel(0), channel(1), channel(2)};
    }
};

class PicturesTest : public testing::Test {
protected:
    const std::wstring source = testDesktop::scratchFolder() + L"\\vh_wall_active"; // no extension tells the format
    const std::wstring target = testDesktop::scratchFolder() + L"\\Quillory.bmp";

    Bitmap convert(const std::string& bytes) const {
        testDesktop::putFile(source, bytes);
        savePicture(loadPicture(source), target);
        return {readWholeFile(target)};
    }
};

TEST_F(PicturesTest, EachFormatGivesItsPixelsWithTransparencyOnBlack) {
    constexpr Bgr red{0, 0, 255}, green{0, 255, 0}, blue{255, 0, 0}, white{255, 255, 255}, black{0, 0, 0};
    const std::tuple<const std::string&, Bgr, Bgr> cases[] = {// what stands at the right
                                                              {png, {0, 128, 0}, black},
                                                              {gif, green, black},
                                                              {bmp, green, white}};
    for (const auto& [bytes, topRight, bottomRight] : cases) {
        const Bitmap bitmap = convert(bytes);
        ASSERT_EQ(bitmap.file.size(), bmp.size());
        EXPECT_EQ((std::array{bitmap.at(0, 0), bitmap.at(1, 0), bitmap.at(0, 1), bitmap.at(1, 1)}),
                  (std::array{red, topRight, blue, bottomRight}));
    }
    const Bitmap bitmap = convert(jpeg);
    ASSERT_EQ(std::pair(bitmap.width(), bitmap.height()), std::pair(std::size_t{16}, std::size_t{8}));
    for (std::size_t channel = 0; channel < 3; ++channel) { // it is not so exact
        EXPECT_NEAR(bitmap.at(0, 0)[channel], red[channel], 30);
        EXPECT_NEAR(bitmap.at(15, 7)[channel], blue[channel], 30);
    }
}

TEST_F(PicturesTest, WhatDoesNotDecodeWholeIsNoPicture) {
    testDesktop::putFile(target, "the picture before");
    const std::string page = "<html><body>404 Not Found</body></html>";
    const std::string tiff = bytesOf("49492a000800000000000000");
    const std::string noWidth = std::string(bmp).replace(18, 4, 4, '\0');
    for (const std::string& bytes :
         {std::string(), page, tiff, std::string(5000, '\0'), jpeg.substr(0, 2) + page, noWidth})
        EXPECT_EQ(numberRaisedBy([&] { convert(bytes); }), errors::invalidPicture) << bytes.substr(0, 20);
    for (const std::string& bytes : {jpeg, png, gif, bmp}) {
        for (const std::size_t percent : {3u, 25u, 50u, 75u}) {
            const std::size_t size = bytes.size() * percent / 100;
            EXPECT_EQ(numberRaisedBy([&] { convert(bytes.substr(0, size)); }), errors::invalidPicture)
                << percent << " % of a file of " << bytes.size() << " bytes";
        }
    }
    EXPECT_EQ(numberRaisedBy([&] { convert(jpeg.substr(0, jpeg.size() - 2)); }), errors::invalidPicture)
        << "the end marker is missing";

    std::string tooManyCodes = jpeg;
    const std::size_t table = tooManyCodes.find("\xFF\xC4");
    tooManyCodes.replace(table + 10, 2, "\xFF\xFF");
    EXPECT_EQ(numberRaisedBy([&] { convert(tooManyCodes); }), errors::invalidPicture);
    EXPECT_TRUE(isSoundJpeg("\xFF\xD8\xFF\xD0\xFF\xD7\xFF\xD9")) << "marks of a restart have no length";

    // Of one component, whose scan names table 0 of the first coefficient and table 1 of the others.
    const auto tables = [](char frame, const std::string& defined, const std::string& range) {
        std::string file = std::string("\xFF\xD8\xFF") + frame + std::string("\0\x08\x08\0\x01\0\x01\0", 8);
        for (const char place : defined) file += std::string("\xFF\xC4\0\x13", 4) + place + std::string(16, '\0');
        return isSoundJpeg(file + std::string("\xFF\xDA\0\x08\x01\x01\x01", 7) + range + "\xFF\xD9");
    };
    const std::string all("\0\x3F\0", 3);
    const std::string first(3, '\0');
    const std::string refined("\0\0\x10", 3);
    const std::string others("\x01\x3F\0", 3);
    const std::string zero(1, '\0');
    const std::string both = zero + '\x11';
    const auto sound = [&](char frame, const std::string& range) {
        return std::array{tables(frame, both, range), tables(frame, zero, range), tables(frame, "\x11", range),
                          tables(frame, "", range)};
    };
    EXPECT_EQ(sound('\xC0', all), (std::array{true, false, false, false}));
    EXPECT_EQ(sound('\xC2', first), (std::array{true, true, false, false}));
    EXPECT_EQ(sound('\xC2', refined), (std::array{true, true, true, true}));
    EXPECT_EQ(sound('\xC2', others), (std::array{true, false, true, false}));
    EXPECT_TRUE(tables('\xC9', "", all)) << "arithmetic coding has no such tables";
    EXPECT_EQ(readWholeFile(target), "the picture before");
    EXPECT_FALSE(fileAttributes(target + L".new"));
    EXPECT_EQ(convert(jpeg + "trailing").width(), 16u) << "what follows the end is nobody's business";
}

TEST_F(PicturesTest, TheBitmapIsWrittenByteForByte) {
    testDesktop::putFile(target, std::string(5000, 'x'));           // longer than what replaces it
    testDesktop::putFile(target + L".new", std::string(6000, 'x')); // and what a power cut has left of another
    EXPECT_EQ(convert(bmp).file, bmp);
    EXPECT_FALSE(fileAttributes(target + L".new"));

    // Rows of nine bytes are padded to twelve, and there are more of them than are written at once.
    constexpr unsigned rows = 60'000;
    std::string tall = bytesOf("424db6fc0a000000000036000000280000000300000060ea0000010018000000000080fc0a00"
                               "00000000000000000000000000000000");
    for (unsigned row = 0; row < rows; ++row)
        for (unsigned i = 0; i < 12; ++i) tall += static_cast<char>(i < 9 ? row * 7 + i : 0);
    EXPECT_EQ(convert(tall).file, tall);
}

TEST_F(PicturesTest, WhatCannotBeLoadedOrSavedIsAnError) {
    EXPECT_EQ(numberRaisedBy([&] { loadPicture(source); }), errors::fileNotFound);
    EXPECT_EQ(numberRaisedBy([&] { loadPicture(source + L"\\below"); }), errors::fileNotFound);
    EXPECT_EQ(numberRaisedBy([&] { loadPicture(testDesktop::scratchFolder()); }), errors::invalidPicture);
    for (const Picture& none : {Picture(), Picture("logo")})
        EXPECT_EQ(numberRaisedBy([&] { savePicture(none, target); }), errors::invalidPicture);
    EXPECT_EQ(fileAttributes(target), std::nullopt);
    testDesktop::putFile(source, bmp);
    const Picture picture = loadPicture(source);
    EXPECT_EQ(numberRaisedBy([&] { savePicture(picture, source + L"\\below\\x"); }), errors::pathNotFound);
    setFileAttributes(source, attributes::readOnly);
    EXPECT_EQ(numberRaisedBy([&] { savePicture(picture, source); }), errors::permissionDenied);
    setFileAttributes(source, 0);
    EXPECT_EQ(readWholeFile(source), bmp);
    savePicture(picture, source);
    EXPECT_EQ(readWholeFile(source), bmp) << "a picture can be saved again, and over its own file";
}

} // namespace
