#include "program/ProgramTest.h"

#include "platform/Registry.h"
#include "support/RaisedNumber.h"

namespace {

class LiveOptions : public ProgramTest {
protected:
    void SetUp() override {
        ProgramTest::SetUp();
        gAPI->apiUsername = L"alice";
    }
};

TEST_F(LiveOptions, AFreshAccountGetsTheDefaults) {
    secondsSinceChange = 99;
    frmOptions->loadOptions();
    EXPECT_EQ(frmOptions->txtFrequency.Text(), L"3");
    EXPECT_EQ(frmOptions->cboFrequencyType.Text(), L"Hours");
    EXPECT_EQ(frmOptions->chkFreeze.Value, 0);
    EXPECT_EQ(frmOptions->chkAutoUpdate.Value, 1);
    EXPECT_EQ(frmOptions->txtRating.Text(), L"0");
    EXPECT_TRUE(frmOptions->optRandomize.Value);
    EXPECT_FALSE(frmOptions->optSequential.Value);
    EXPECT_EQ(changeInterval, 10800);
    EXPECT_EQ(secondsSinceChange, 0);
}

TEST_F(LiveOptions, TheIntervalFollowsFromFrequencyAndType) {
    struct Case {
        const wchar_t *frequency, *type, *shown;
        std::int32_t interval;
    };
    const Case cases[] = {
        {L"5", L"Minutes", L"10", 600},      {L"5", L"Hours", L"5", 18000},   {L"2", L"Days", L"2", 172800},
        {L"9.99", L"Minutes", L"10", 600},   {L"10", L"Minutes", L"10", 600}, {L"0.5", L"Hours", L"0.5", 1800},
        {L"500", L"Days", L"500", 43200000}, {L"7", L"minutes", L"7", -1},    {L"7", L"", L"7", -1},
    };
    for (const Case& c : cases) {
        changeInterval = -1;
        saveAccountSetting(L"Frequency", c.frequency);
        saveAccountSetting(L"FrequencyType", c.type);
        frmOptions->loadOptions();
        EXPECT_EQ(frmOptions->txtFrequency.Text(), c.shown);
        EXPECT_EQ(changeInterval, c.interval) << c.frequency << c.type;
        EXPECT_EQ(setting(L"Frequency"), c.frequency) << "the store is not touched";
    }
}

TEST_F(LiveOptions, NonsenseInTheStoreIsAnErrorOfTheReader) {
    struct Case {
        const wchar_t *key, *value;
        std::int32_t error;
    };
    const Case cases[] = {{L"Frequency", L"often", 13}, {L"Frequency", L"", 13},  {L"Freeze", L"x", 13},
                          {L"Freeze", L"7", 380},       {L"Freeze", L"99999", 6}, {L"AutoUpdate", L"yes", 13},
                          {L"Frequency", L"1e99", 6}};
    for (const Case& c : cases) {
        const std::wstring before = getAccountSetting(c.key, L"1");
        saveAccountSetting(c.key, c.value);
        EXPECT_EQ(numberRaisedBy([] { frmOptions->loadOptions(); }), c.error) << c.key << c.value;
        saveAccountSetting(c.key, before);
    }
    saveAccountSetting(L"Method", L"randomize");
    frmOptions->loadOptions();
    EXPECT_TRUE(frmOptions->optSequential.Value) << "anything but exactly Randomize";
    EXPECT_FALSE(frmOptions->optRandomize.Value);
}

TEST_F(LiveOptions, SettingsAreTextsOfTheirOwnLengthInTheAccountsKey) {
    saveAccountSetting(L"TagName", L"dog*");
    const std::wstring path = L"Software\\Quillory\\Quillory - alice\\";
    auto value = platform::queryRegistryValue(platform::hkeyCurrentUser, path, L"TagName");
    ASSERT_TRUE(value);
    EXPECT_EQ(value->type, 1u);
    EXPECT_EQ(value->data, "dog*") << "no NUL is stored";

    gAPI->apiUsername = L"bob";
    EXPECT_EQ(setting(L"TagName"), L"(none)") << "accounts keep their settings apart";
    gAPI->apiUsername = L"alice";

    saveAccountSetting(L"TagName", L"");
    EXPECT_EQ(setting(L"TagName"), L"") << "empty is a value, not the default";
    const auto store = [&](std::uint32_t type, const std::string& data) {
        platform::setRegistryValue(platform::hkeyCurrentUser, path, L"TagName", type, data);
    };
    store(4, std::string("\1\0\0\0", 4));
    EXPECT_EQ(setting(L"TagName"), L"(none)") << "a value of another type reads as the default";
    store(1, std::string("cat\0dog", 7));
    EXPECT_EQ(setting(L"TagName"), L"cat") << "up to the first NUL";
}

} // namespace
