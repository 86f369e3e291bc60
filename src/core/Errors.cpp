#include "core/Errors.h"

#include "platform/Messages.h"
#include "platform/Text.h"
#include "ui/frmSlideMessage.h"

void reportError(const std::wstring& where, const RunTimeError& error) {
    frmSlideMessage->slideSysError(where, error.Number, error.Description);
}

void reportEscapedErrors() {
    platform::setEscapeHandler([](std::exception_ptr escaped) {
        try {
            std::rethrow_exception(escaped);
        } catch (const RunTimeError& error) {
            reportError(error.Source.empty() ? L"Event handler" : error.Source, error);
        } catch (const std::bad_alloc&) {
            reportError(L"Event handler", RunTimeError(errors::outOfMemory));
        } catch (const std::exception& error) {
            reportError(L"Event handler", RunTimeError(errors::invalidCall, {}, platform::fromAnsi(error.what())));
        }
    });
}
