#include <cmath>

#include "Fuzz.h"
#include "core/Numbers.h"
#include "core/modMisc.h"
#include "platform/RunTimeError.h"
#include "platform/Text.h"

/// The functions that take apart what comes from the network, the registry and the person: addresses, headers, numbers.
inline void fuzzText(const std::uint8_t* data, std::size_t size) {
    const std::wstring text = platform::fromAnsi({reinterpret_cast<const char*>(data), size});
    for (const wchar_t c : URLEncode(text))
        require((c >= L'0' && c <= L'9') || (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z') || c == L'+' ||
                c == L'%');

    std::wstring answer = text;
    const bool marked = validateHTMLHeader(answer);
    require(text.ends_with(answer) && (!marked || answer.size() + 4 <= text.size()));

    require(!std::isnan(Val(text)));
    void (*const conversions[])(const std::wstring&) = {[](const std::wstring& t) { toDouble(t); },
                                                        [](const std::wstring& t) { toLong(t); },
                                                        [](const std::wstring& t) { toInteger(t); }};
    for (const auto convert : conversions) {
        try {
            convert(text);
            require(isNumeric(text));
        } catch (const RunTimeError& error) {
            // A number too large for any kind is no number to isNumeric.
            require(error.Number == errors::overflow || (error.Number == errors::typeMismatch && !isNumeric(text)));
        }
    }
    isValidUsername(text);
}

FUZZ_TARGET(fuzzText)
