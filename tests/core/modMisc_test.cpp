#include "core/modMisc.h"

#include <gtest/gtest.h>

#include "core/modMD5.h"

namespace {

TEST(URLEncode, KeepsLettersAndDigitsAlone) {
    EXPECT_EQ(URLEncode(L"azAZ09 /:@[`{ \t\n\x0F\x10 \u00FFcaf\u00E9"),
              L"azAZ09+%2F%3A%40%5B%60%7B+%9%A%F%10+%FFcaf%E9");
}

TEST(Arrays, ShiftLeavesAnArrayOfOneAlone) {
    Strings array{L"first"};
    EXPECT_EQ(array_shift(array), L"");
    EXPECT_EQ(array, Strings{L"first"});
    array_push(array, L"second");
    EXPECT_EQ(array_shift(array), L"first");
    EXPECT_EQ(array, Strings{L"second"});
}

TEST(ValidateHTMLHeader, LooksForTheServicesMarkAndLeavesTheBody) {
    const std::wstring mark = L"HTTP/1.0 200 OK\r\nResponse-From: VHAPI\r\nX: y";
    std::wstring genuine = mark + L"\r\n\r\none\r\n\r\ntwo";
    EXPECT_TRUE(validateHTMLHeader(genuine));
    EXPECT_EQ(genuine, L"one\r\n\r\ntwo");
    for (const wchar_t* header : {L"HTTP/1.0 200 OK", L"response-from: VHAPI", L"Response-From: vhapi",
                                  L"Response-From:VHAPI", L"Response-From: VHAPI: really"}) {
        std::wstring text = header + std::wstring(L"\r\n\r\nbody");
        EXPECT_FALSE(validateHTMLHeader(text));
        EXPECT_EQ(text, L"body");
    }
    std::wstring whole = L"HTTP/1.0 200 OK\n\n" + mark;
    EXPECT_FALSE(validateHTMLHeader(whole));
    EXPECT_EQ(whole, L"HTTP/1.0 200 OK\n\n" + mark) << "without an empty line there is no header";
}

TEST(IsValidUsername, LetsTheBackslashPass) {
    for (const wchar_t* name : {L"", L".", L"a_b-c.d", L"azAZ09", L"a\\b"}) EXPECT_TRUE(isValidUsername(name)) << name;
    for (const wchar_t* name : {L"a b", L"a@b", L"\u00E9", L"a/b", L"\u0416", L"a:", L"[", L"`", L"{"})
        EXPECT_FALSE(isValidUsername(name)) << name;
}

TEST(Md5, IsLowerCaseOfTheAnsiBytes) {
    EXPECT_EQ(md5String(L""), L"d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(md5String(L"\u00E9"), L"3406877694691ddd1dfb0aca54681407") << "one byte, not the two of UTF-8";
}

} // namespace
