#include <gtest/gtest.h>

#include "platform/Hash.h"
#include "platform/RunTimeError.h"
#include "support/RaisedNumber.h"
#include "support/TestDesktop.h"

using namespace platform;

TEST(Hash, Md5OfTextsAndFiles) {
    EXPECT_EQ(md5("abc"), "900150983cd24fb0d6963f7d28e17f72"); // RFC 1321, A.5
    const std::wstring path = testDesktop::scratchFolder() + L"\\update.zip";
    std::string content("a\0b", 3);
    for (std::size_t i = 0; i < 200'000; ++i) content += static_cast<char>(i * i >> 3); // more than one piece
    for (const std::string& bytes : {std::string(), content}) {
        testDesktop::putFile(path, bytes);
        EXPECT_EQ(md5OfFile(path), md5(bytes)) << bytes.size() << " bytes";
    }
    EXPECT_EQ(numberRaisedBy([&] { md5OfFile(path + L".md5"); }), errors::fileNotFound);
}

/// People read these words, and every number has its own: a slip in any of them shows here.
TEST(RunTimeError, HasASentenceForEachOfItsNumbers) {
    std::string all;
    for (std::int32_t number = 0; number < 500; ++number) all += std::string(RunTimeError(number).what()) + '\n';
    EXPECT_EQ(md5(all), "94c8e12e5b16fde1ab2412d6dc8e4685") << all;
    EXPECT_STREQ(RunTimeError(7, L"", L"\xE9t\xE9").what(), "7 ?t?");
}
