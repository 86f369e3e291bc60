#include "core/modMisc.h"

#include <gtest/gtest.h>

#include "core/modMD5.h"

namespace {

TEST(URLEncode, KeepsLettersAndDigitsAlone) {
    const std::pair<const wchar_t*, const wchar_t*> cases[] = {{L"", L""},
                                                               {L"azAZ09 /:@[`{", L"azAZ09+%2F%3A%40%5B%60%7B"},
                                                               {L"\t\n\x0F\x10", L"%9%A%F%10"},
                                                               {L"%", L"%25"},
                                                               {L"\u00FFcaf\u00E9", L"%FFcaf%E9"}};
    for (const auto& [text, encoded] : cases) EXPECT_EQ(URLEncode(text), encoded);
}

TEST(Arrays, ShiftLeavesAnArrayOfOneAlone) {
    Strings array;
    EXPECT_EQ(array_shift(array), L"");
    array_push(array, L"first");
    EXPECT_EQ(array_shift(array), L"");
    EXPECT_EQ(array, Strings{L"first"});
    array_push(array, L"second");
    EXPECT_EQ(array_shift(array), L"first");
    EXPECT_EQ(array, Strings{L"second"});
}

TEST(ValidateHTMLHeader, LooksForTheServicesMarkAndLeavesTheBody) {
    const std::wstring mark = L"HTTP/1.0 200 OK\r\nResponse-From: VHAPI\r\nX: y";
    const std::pair<std::wstring, std::wstring> genuine[] = {{mark + L"\r\n\r\none\r\n\r\ntwo", L"one\r\n\r\ntwo"},
                                                             {mark + L"\r\n\r\n", L""}};
    for (const auto& [answer, body] : genuine) {
        std::wstring text = answer;
        EXPECT_TRUE(validateHTMLHeader(text));
        EXPECT_EQ(text, body);
    }
    for (const wchar_t* header : {L"HTTP/1.0 200 OK", L"response-from: VHAPI", L"Response-From: vhapi",
                                  L"Response-From:VHAPI", L"Response-From: VHAPI: really"}) {
        std::wstring text = header + std::wstring(L"\r\n\r\nbody");
        EXPECT_FALSE(validateHTMLHeader(text));
        EXPECT_EQ(text, L"body");
    }
    for (const std::wstring& whole : {mark, std::wstring(), L"HTTP/1.0 200 OK\n\n" + mark}) {
        std::wstring text = whole;
        EXPECT_FALSE(validateHTMLHeader(text));
        EXPECT_EQ(text, whole) << "without an empty line there is no header";
    }
}

TEST(IsValidUsername, LetsTheBackslashPass) {
    for (const wchar_t* name : {L"", L".", L"a_b-c.d", L"azAZ09", L"a\\b"}) EXPECT_TRUE(isValidUsername(name)) << name;
    for (const wchar_t* name : {L"a b", L"a@b", L"\u00E9", L"a/b", L"\u0416", L"a:", L"[", L"`", L"{"})
        EXPECT_FALSE(isValidUsername(name)) << name;
}

TEST(Md5, IsLowerCaseOfTheAnsiBytes) {
    EXPECT_EQ(md5String(L""), L"d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(md5String(L"velvet"), L"3ab8d589b5e2c77ade96614f29ef4cc6");
    EXPECT_EQ(md5String(L"\u00E9"), L"3406877694691ddd1dfb0aca54681407") << "one byte, not the two of UTF-8";
}

} // namespace
