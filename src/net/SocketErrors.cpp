#include "net/SocketErrors.h"

#include <string>

#include "net/modSocketMaster.h"
#include "platform/Network.h"
#include "platform/RunTimeError.h"

namespace {

std::wstring textOf(std::int32_t number) {
    switch (number) {
    case socketErrors::wrongProtocolOrState:
        return L"Wrong protocol or connection state for the requested transaction or request";
    case socketErrors::invalidArgument:
        return L"The argument passed to a function was not in the correct format or in the specified range.";
    case socketErrors::unsupportedType: return L"Unsupported variant type.";
    case socketErrors::invalidState: return L"Invalid operation at current state";
    default: return GetErrorDescription(number);
    }
}

} // namespace

void raiseSocketError(std::int32_t number, const wchar_t* source) {
    throw RunTimeError(number, source, textOf(number));
}

void raiseLastError(const wchar_t* source) { raiseSocketError(platform::lastNetworkError(), source); }
