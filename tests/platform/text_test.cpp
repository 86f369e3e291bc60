#include <gtest/gtest.h>

#include "platform/Text.h"

using namespace platform;

namespace {

TEST(Text, EveryByteSurvivesTheWayToTextAndBack) {
    std::string all;
    for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
    const std::wstring text = fromAnsi(all);
    EXPECT_EQ(text.size(), 256u);
    EXPECT_EQ(toAnsi(text), all);
    EXPECT_EQ(toAnsi(L""), "");
    EXPECT_EQ(fromAnsi(""), L"");
}

TEST(Text, CodePage1252) {
    EXPECT_EQ(toAnsi(L"\x20AC \x2013 \x0152 caf\xE9"), "\x80 \x96 \x8C caf\xE9");
    EXPECT_EQ(fromAnsi("\x93quoted\x94 \x99"), L"\x201Cquoted\x201D \x2122");
}

TEST(Text, WhatTheCodePageLacksBecomesAQuestionMark) {
    EXPECT_EQ(toAnsi(L"\x6D77 sea"), "? sea");
    EXPECT_EQ(toAnsi(L"\U0001F30A."), "??.") << "one for each half of the pair";
}

} // namespace
