#pragma once

#include <objbase.h>

namespace platform::win32 {

/// Initialises COM for the thread of the message loop, on the first call; it stays so until the process ends.
inline void useCom() {
    static const HRESULT initialised = CoInitialize(nullptr);
    (void)initialised;
}

} // namespace platform::win32
