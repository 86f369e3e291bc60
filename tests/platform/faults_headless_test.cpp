#include <gtest/gtest.h>

#include "platform/Files.h"
#include "platform/RunTimeError.h"
#include "platform/headless/State.h"
#include "support/RaisedNumber.h"
#include "support/TestDesktop.h"

using namespace platform;

/// Each call of a replacement fails in its turn: the old content stays whole or the new one is, and nothing stays open.
TEST(Replacement, IsAllOrNothingWhicheverFileCallFails) {
    const std::wstring path = testDesktop::scratchFolder() + L"\\file";
    std::size_t n = 0;
    do {
        testDesktop::reset();
        testDesktop::putFile(path, "the old content");
        testDesktop::putFile(path + L".new", "what a power cut has left");
        setFileAttributes(path + L".new", attributes::readOnly);
        headless::failNthFileCall(++n, errors::diskFull);
        const std::int32_t raised = numberRaisedBy([&] {
            Replacement file(path);
            file.write(1, "new");
            file.commit();
        });
        const bool failed = headless::nthFileCallFailed();
        headless::failNthFileCall(0, 0);
        EXPECT_EQ(raised, failed ? errors::diskFull : 0) << n;
        EXPECT_EQ(readWholeFile(path), raised == 0 ? "new" : "the old content") << n;
        EXPECT_EQ(fileAttributes(path + L".new").has_value(), raised != 0 && n <= 2) << n;
        EXPECT_EQ(openBinary(path + L"2"), 1) << n;
        if (!failed) break;
    } while (n < 20);
    EXPECT_EQ(n, 7u) << "attributes, remove, open, write, flush, replace";
}
