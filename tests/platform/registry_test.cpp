#include <gtest/gtest.h>

#include "platform/Registry.h"

using namespace platform;

namespace {

const std::wstring path = L"Software\\Quillory\\Velvet Harbor";

TEST(Registry, StoresExactlyTheBytesGiven) {
    const std::string texts[] = {"alice", "", std::string("al\0ice\0", 7), std::string(5000, 'x'), "caf\xe9 "};
    for (const std::string& text : texts) {
        setRegistryValue(hkeyCurrentUser, path, L"Name", regSz, text);
        const auto value = queryRegistryValue(hkeyCurrentUser, path, L"Name");
        ASSERT_TRUE(value);
        EXPECT_EQ(value->type, regSz);
        EXPECT_EQ(value->data, text);
    }
}

TEST(Registry, KeysAndValuesAreNamedWithoutRegardToCaseOrATrailingBackslash) {
    setRegistryValue(hkeyCurrentUser, path + L"\\", L"TagName", regSz, "sea");
    for (const auto& same : {path, path + L"\\", std::wstring(L"SOFTWARE\\quillory\\velvet harbor")})
        EXPECT_EQ(queryRegistryValue(hkeyCurrentUser, same, L"tagNAME").value().data, "sea");
    setRegistryValue(hkeyCurrentUser, path, L"TAGNAME", regSz, "shore");
    EXPECT_EQ(queryRegistryValue(hkeyCurrentUser, path, L"TagName").value().data, "shore");
}

TEST(Registry, WhatIsMissingIsToldApartFromWhatIsEmpty) {
    EXPECT_FALSE(queryRegistryValue(hkeyCurrentUser, path, L"Name")) << "no key";
    EXPECT_FALSE(queryRegistryValue(hkeyCurrentUser, path, L"Name")) << "asking has made a key";
    setRegistryValue(hkeyCurrentUser, path, L"Other", regSz, "");
    EXPECT_FALSE(queryRegistryValue(hkeyCurrentUser, path, L"Name")) << "no value";
    EXPECT_FALSE(queryRegistryValue(hkeyCurrentUser, L"Software\\Quillory", L"Other")) << "another level";
    EXPECT_TRUE(queryRegistryValue(hkeyCurrentUser, path, L"Other"));
}

TEST(Registry, TellsTheTypeOfAValueThatIsNoString) {
    constexpr std::uint32_t dword = 4; // REG_DWORD
    setRegistryValue(hkeyCurrentUser, path, L"Frequency", dword, std::string("\3\0\0\0", 4));
    const auto value = queryRegistryValue(hkeyCurrentUser, path, L"Frequency");
    ASSERT_TRUE(value);
    EXPECT_EQ(value->type, dword);
    EXPECT_EQ(value->data, std::string("\3\0\0\0", 4));
}

} // namespace
