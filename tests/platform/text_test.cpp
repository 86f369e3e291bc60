#include <gtest/gtest.h>

#include "platform/Text.h"

using namespace platform;

TEST(Text, IsThatOfCodePage1252AndEveryByteSurvivesTheWayThereAndBack) {
    std::string all;
    for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
    EXPECT_EQ(fromAnsi(all).size(), 256u);
    EXPECT_EQ(toAnsi(fromAnsi(all)), all);
    EXPECT_EQ(toAnsi(fromAnsi("")), "");
    EXPECT_EQ(toAnsi(L"\x20AC \x2013 \x0152 caf\xE9"), "\x80 \x96 \x8C caf\xE9");
    EXPECT_EQ(toAnsi(L"\x6D77 \U0001F30A."), "? ??.") << "what it lacks, one for each half of a pair";
}
