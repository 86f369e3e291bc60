#include <gtest/gtest.h>

#include "platform/Hash.h"
#include "platform/RunTimeError.h"
#include "support/TestDesktop.h"

using namespace platform;

namespace {

TEST(Hash, Md5OfTexts) { // RFC 1321, A.5
    EXPECT_EQ(md5(""), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(md5("abc"), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(md5("12345678901234567890123456789012345678901234567890123456789012345678901234567890"),
              "57edf4a22be3c955ac49da2e2107b67a");
    EXPECT_NE(md5(std::string("a\0b", 3)), md5("a")) << "a NUL ends nothing";
}

TEST(Hash, Md5OfFiles) {
    const std::wstring path = testDesktop::scratchFolder() + L"\\update.zip";
    std::string content;
    for (std::size_t i = 0; i < 200000; ++i) content += static_cast<char>(i * i >> 3); // more than one piece
    for (const std::string& bytes : {std::string(), std::string("abc"), content}) {
        testDesktop::putFile(path, bytes);
        EXPECT_EQ(md5OfFile(path), md5(bytes)) << bytes.size() << " bytes";
    }
    try {
        md5OfFile(path + L".md5");
        ADD_FAILURE() << "a missing file has no sum";
    } catch (const RunTimeError& error) {
        EXPECT_EQ(error.Number, errors::fileNotFound);
    }
}

} // namespace
