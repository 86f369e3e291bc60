#include "core/Numbers.h"

#include <gtest/gtest.h>

#include "platform/RunTimeError.h"
#include "support/RaisedNumber.h"

namespace {

TEST(Numbers, ConversionRoundsHalvesToTheEvenNeighbour) {
    const std::pair<double, std::int32_t> cases[] = {{2.5, 2},  {3.5, 4}, {-2.5, -2}, {-3.5, -4},
                                                     {-0.4, 0}, {1.4, 1}, {4.6, 5},   {1e9, 1000000000}};
    for (const auto& [value, whole] : cases) EXPECT_EQ(toLong(value), whole) << value;
    EXPECT_EQ(toInteger(L"-32768"), -32768);
    EXPECT_EQ(toLong(L"2147483647.4"), 2147483647);
    EXPECT_DOUBLE_EQ(toDouble(L"1D2"), 100);
    void (*const failing[])() = {[] { (void)toInteger(L"32768"); }, [] { (void)toLong(L"2147483647.5"); },
                                 [] { (void)toInteger(-32768.6); }, [] { (void)toDouble(L"1e999"); }};
    for (const auto fails : failing) EXPECT_EQ(numberRaisedBy(fails), errors::overflow);
}

TEST(Numbers, TextsAreNumericOnlyAsAWhole) {
    for (const wchar_t* text : {L"0", L" 12 ", L"\t+5\t", L"-99", L".5", L"5.", L"1e2", L"1d2", L"-1.5E-3", L"1e+10"})
        EXPECT_TRUE(isNumeric(text)) << text;
    for (const wchar_t* text :
         {L"", L" ", L"x", L"3x", L"1 2", L"--1", L".", L"+", L"1e", L"1e+", L"e5", L"0x10", L"nan", L"inf", L".e5"}) {
        EXPECT_FALSE(isNumeric(text)) << text;
        EXPECT_EQ(numberRaisedBy([&] { (void)toLong(text); }), errors::typeMismatch) << text;
    }
    EXPECT_FALSE(isNumeric(L"1e999"));
}

TEST(Numbers, ValTakesTheLeadingNumber) {
    const std::pair<const wchar_t*, double> cases[] = {{L"12abc", 12},    {L" \t7", 7}, {L"", 0},       {L"abc", 0},
                                                       {L"-3.5 x", -3.5}, {L"1e", 1},   {L"1e2z", 100}, {L"1e+2", 100}};
    for (const auto& [text, value] : cases) EXPECT_DOUBLE_EQ(Val(text), value) << text;
}

TEST(Numbers, SinglesHaveSevenDigitsAtTheMost) {
    EXPECT_EQ(singleText(1.2345678f), L"1.234568");
    EXPECT_EQ(singleText(1920.0f), L"1920");
}

} // namespace
