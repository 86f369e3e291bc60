#pragma once

#include "platform/headless/State.h"

inline std::wstring scratchFile() {
    headless::reset();
    return L"C:\\fetched";
}
