#include <gtest/gtest.h>

#include "platform/Registry.h"

using namespace platform;

namespace {

const std::wstring path = L"Software\\Quillory\\Velvet Harbor";

TEST(Registry, StoresExactlyTheBytesAndTheTypeGiven) {
    std::uint32_t type = regSz;
    for (const std::string& data : {std::string("alice"), std::string(), std::string("al\0ice\0", 7),
                                    std::string(5000, 'x'), std::string("caf\xe9 ")}) {
        setRegistryValue(hkeyCurrentUser, path, L"Name", type, data);
        const auto value = queryRegistryValue(hkeyCurrentUser, path, L"Name");
        ASSERT_TRUE(value);
        EXPECT_EQ(value->type, type);
        EXPECT_EQ(value->data, data);
        type = 3; // REG_BINARY
    }
}

TEST(Registry, NamesHaveNoCaseAndNoTrailingBackslashAndWhatIsMissingIsNotMade) {
    for (int asked = 0; asked < 2; ++asked) EXPECT_FALSE(queryRegistryValue(hkeyCurrentUser, path, L"Name")) << asked;
    setRegistryValue(hkeyCurrentUser, path + L"\\", L"TagName", regSz, "sea");
    EXPECT_FALSE(queryRegistryValue(hkeyCurrentUser, path, L"Name")) << "no value";
    EXPECT_FALSE(queryRegistryValue(hkeyCurrentUser, L"Software\\Quillory", L"TagName")) << "another level";
    for (const auto& same : {path, path + L"\\", std::wstring(L"SOFTWARE\\quillory\\velvet harbor")})
        EXPECT_EQ(queryRegistryValue(hkeyCurrentUser, same, L"tagNAME").value().data, "sea");
}

} // namespace
