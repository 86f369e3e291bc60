#include "core/modMisc.h"

#include <gtest/gtest.h>

#include "core/modMD5.h"

namespace {

TEST(URLEncode, KeepsLettersAndDigitsAlone) {
    const std::pair<const wchar_t*, const wchar_t*> cases[] = {{L"", L""},
                                                               {L"a b", L"a+b"},
                                                               {L"a.b", L"a%2Eb"},
                                                               {L"\t", L"%9"},
                                                               {L"\n", L"%A"},
                                                               {L"az AZ 09", L"az+AZ+09"},
                                                               {L"QY_Version", L"QY%5FVersion"},
                                                               {L"dog*, b-ball~", L"dog%2A%2C+b%2Dball%7E"},
                                                               {L"Ah! My Goddess", L"Ah%21+My+Goddess"},
                                                               {L"caf\u00E9", L"caf%E9"},
                                                               {L"%", L"%25"},
                                                               {L"\u00FF+", L"%FF%2B"}};
    for (const auto& [text, encoded] : cases) EXPECT_EQ(URLEncode(text), encoded);
}

TEST(Arrays, ShiftLeavesAnArrayOfOneAlone) {
    Strings array;
    EXPECT_EQ(array_shift(array), L"");
    array_push(array, L"first");
    EXPECT_EQ(array, Strings{L"first"});
    EXPECT_EQ(array_shift(array), L"");
    EXPECT_EQ(array, Strings{L"first"});
    array_push(array, L"second");
    EXPECT_EQ(array_shift(array), L"first");
    EXPECT_EQ(array, Strings{L"second"});
}

TEST(ValidateHTMLHeader, LooksForTheServicesMarkAndLeavesTheBody) {
    struct Case {
        std::wstring text;
        bool genuine;
        std::wstring left;
    };
    const std::wstring mark = L"HTTP/1.0 200 OK\r\nResponse-From: VHAPI\r\nX: y";
    const Case cases[] = {
        {mark + L"\r\n\r\nbody", true, L"body"},
        {mark + L"\r\n\r\none\r\n\r\ntwo", true, L"one\r\n\r\ntwo"},
        {mark + L"\r\n\r\n", true, L""},
        {mark, false, mark},
        {L"", false, L""},
        {L"HTTP/1.0 200 OK\r\n\r\nbody", false, L"body"},
        {L"response-from: VHAPI\r\n\r\nbody", false, L"body"},
        {L"Response-From: vhapi\r\n\r\nbody", false, L"body"},
        {L"Response-From:VHAPI\r\n\r\nbody", false, L"body"},
        {L"Response-From: VHAPI: really\r\n\r\nbody", false, L"body"},
        {L"HTTP/1.0 200 OK\n\nResponse-From: VHAPI", false, L"HTTP/1.0 200 OK\n\nResponse-From: VHAPI"},
    };
    for (const Case& c : cases) {
        std::wstring text = c.text;
        EXPECT_EQ(validateHTMLHeader(text), c.genuine) << std::string(c.text.begin(), c.text.end());
        EXPECT_EQ(text, c.left);
    }
}

TEST(IsValidUsername, LetsTheBackslashPass) {
    for (const wchar_t* name : {L"", L".", L"a_b-c.d", L"Alice99", L"a\\b"}) EXPECT_TRUE(isValidUsername(name)) << name;
    for (const wchar_t* name : {L"a b", L"a@b", L"\u00E9", L"a/b", L"\u0416"})
        EXPECT_FALSE(isValidUsername(name)) << name;
}

TEST(Md5, IsLowerCaseOfTheAnsiBytes) {
    EXPECT_EQ(md5String(L""), L"d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(md5String(L"velvet"), L"3ab8d589b5e2c77ade96614f29ef4cc6");
    EXPECT_EQ(md5String(L"\u00E9"), L"3406877694691ddd1dfb0aca54681407") << "one byte, not the two of UTF-8";
}

} // namespace
