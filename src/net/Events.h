#pragma once

#include <utility>

/// Raises an event: calls the owner's handler, if there is one. The handler may replace or drop itself meanwhile, so
/// what is called is a copy.
template <class Handler, class... Arguments> void raiseEvent(const Handler& handler, Arguments&&... arguments) {
    const Handler called = handler;
    if (called) called(std::forward<Arguments>(arguments)...);
}
