#include "core/Errors.h"
#include "platform/Messages.h"
#include "program/ProgramTest.h"

namespace {

TEST_F(ProgramTest, WhatEscapesFromAHandlerIsShown) {
    reportEscapedErrors();
    platform::guarded([] { throw RunTimeError(errors::fileNotFound, L"CSomething.DoIt"); });
    ASSERT_TRUE(frmSlideMessage.isLoaded());
    EXPECT_THAT(frmSlideMessage->lblStatusMsg.Caption(),
                testing::StartsWith(L"In CSomething.DoIt\r\n[53] File not found\r\n"));
}

} // namespace
