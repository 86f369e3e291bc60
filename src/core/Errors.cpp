#include "core/Errors.h"

#include <utility>

#include "platform/Messages.h"
#include "platform/Text.h"

namespace {

ErrorDisplay display;

} // namespace

void showErrorsWith(ErrorDisplay show) { display = std::move(show); }

void reportError(const std::wstring& where, const RunTimeError& error) {
    if (!display) throw error;
    display(where, error);
}

void reportEscapedErrors() {
    platform::setEscapeHandler([](std::exception_ptr escaped) {
        try {
            std::rethrow_exception(std::move(escaped));
        } catch (const RunTimeError& error) {
            reportError(error.Source.empty() ? L"Event handler" : error.Source, error);
        } catch (const std::bad_alloc&) {
            reportError(L"Event handler", RunTimeError(errors::outOfMemory));
        } catch (const std::exception& error) {
            reportError(L"Event handler", RunTimeError(errors::invalidCall, {}, platform::fromAnsi(error.what())));
        }
    });
}
