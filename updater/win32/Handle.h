#pragma once

#include <memory>

#include <windows.h>

namespace updater {

struct HandleCloser {
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};

/// A kernel object's handle. Calls that answer INVALID_HANDLE_VALUE for none need a look at their answer before.
using Handle = std::unique_ptr<void, HandleCloser>;

} // namespace updater
