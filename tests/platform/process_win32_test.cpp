#include <gtest/gtest.h>

#include <windows.h>

#include "platform/Files.h"
#include "platform/Process.h"
#include "support/TestDesktop.h"

using namespace platform;

namespace {

/// Writes a file as it is destroyed, if the environment names one.
struct Witness {
    ~Witness() {
        wchar_t path[MAX_PATH];
        if (GetEnvironmentVariableW(L"QUILLORY_TEST_WITNESS", path, MAX_PATH) == 0) return;
        CloseHandle(CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    }
} witness;

DWORD exitCodeOfTest(const std::wstring& name) {
    wchar_t program[MAX_PATH];
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    std::wstring line = L"\"" + std::wstring(program) + L"\" --gtest_also_run_disabled_tests --gtest_filter=" + name;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process))
        return MAXDWORD;
    WaitForSingleObject(process.hProcess, 30000);
    DWORD code = MAXDWORD;
    GetExitCodeProcess(process.hProcess, &code);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return code;
}

TEST(SecondInstance, DISABLED_EndsAtOnceIfItSeesTheFirst) { // run by the test below, in a process of its own
    testDesktop::cleanUp();                                 // nobody else will
    if (previousInstance()) endProcess();
    ADD_FAILURE() << "no other instance was seen";
}

TEST(Process, ASecondInstanceSeesTheFirstAndEndsWithoutAnyDestructor) {
    const std::wstring mark = testDesktop::scratchFolder() + L"\\destroyed";
    const bool mine = previousInstance();
    EXPECT_EQ(mine, previousInstance()) << "what is told first holds";
    SetEnvironmentVariableW(L"QUILLORY_TEST_WITNESS", mark.c_str());
    EXPECT_EQ(exitCodeOfTest(L"SecondInstance.*"), 0u);
    EXPECT_EQ(fileAttributes(mark), std::nullopt);
    EXPECT_EQ(exitCodeOfTest(L"None.*"), 0u);
    EXPECT_NE(fileAttributes(mark), std::nullopt) << "the witness of an ordinary end says nothing";
    SetEnvironmentVariableW(L"QUILLORY_TEST_WITNESS", nullptr);
}

} // namespace
