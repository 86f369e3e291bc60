#pragma once

#include <cstdint>
#include <functional>

#include "platform/RunTimeError.h"

/// The number of the run-time error that the action raises; 0 if it raises none.
inline std::int32_t numberRaisedBy(const std::function<void()>& action) {
    try {
        action();
    } catch (const RunTimeError& error) {
        return error.Number;
    }
    return 0;
}
