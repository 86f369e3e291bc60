#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/TestDesktop.h"

namespace {

class FreshDesktop : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo&) override { testDesktop::reset(); }
    void OnTestProgramEnd(const testing::UnitTest&) override { testDesktop::cleanUp(); }
};

} // namespace

int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    testing::UnitTest::GetInstance()->listeners().Append(new FreshDesktop);
    return RUN_ALL_TESTS();
}
