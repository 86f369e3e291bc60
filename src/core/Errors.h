#pragma once

#include <functional>
#include <new>
#include <string>
#include <type_traits>

#include "platform/RunTimeError.h"

/// Shows an unexpected failure to the user: `where` it was trapped, and what it is.
using ErrorDisplay = std::function<void(const std::wstring& where, const RunTimeError& error)>;

/// Whoever has windows shows what is reported here; set once, at the program's start.
void showErrorsWith(ErrorDisplay show);

/// The one place that every trapped run-time error comes to. Without a display the error goes on to the caller.
void reportError(const std::wstring& where, const RunTimeError& error);

/// Runs the body of a function that traps: a run-time error is reported under `where`, as in "Function APISend,
/// CVHAPI", and the function returns its default result.
template <class Body> auto trapErrors(const std::wstring& where, Body&& body) -> std::invoke_result_t<Body> {
    try {
        return body();
    } catch (const RunTimeError& error) {
        reportError(where, error);
    } catch (const std::bad_alloc&) {
        reportError(where, RunTimeError(errors::outOfMemory));
    }
    return std::invoke_result_t<Body>();
}

/// Sends what escapes from an event handler that has no trap to the same place. Called once, at the program's start.
void reportEscapedErrors();
