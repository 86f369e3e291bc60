#include "core/Numbers.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <optional>

#include "platform/RunTimeError.h"

namespace {

bool isDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }
bool isBlank(wchar_t c) { return c == L' ' || c == L'\t'; }

struct Parsed {
    double value;
    std::size_t end; // behind the number
};

/// The longest number at `start`, if there is one.
std::optional<Parsed> parseNumber(const std::wstring& text, std::size_t start) {
    std::string plain; // in the one form that strtod reads in every locale that has "." as its point
    std::size_t i = start;
    const auto at = [&](std::size_t k) { return k < text.size() ? text[k] : L'\0'; };
    const auto takeDigits = [&] {
        std::size_t count = 0;
        for (; isDigit(at(i)); ++i, ++count) plain += static_cast<char>(at(i));
        return count;
    };
    if (at(i) == L'+' || at(i) == L'-') plain += static_cast<char>(at(i++));
    std::size_t digits = takeDigits();
    if (at(i) == L'.' && (digits > 0 || isDigit(at(i + 1)))) {
        plain += '.';
        ++i;
        digits += takeDigits();
    }
    if (digits == 0) return std::nullopt;
    const wchar_t e = at(i);
    if (e == L'E' || e == L'e' || e == L'D' || e == L'd') {
        const bool isSigned = at(i + 1) == L'+' || at(i + 1) == L'-';
        if (isDigit(at(i + (isSigned ? 2 : 1)))) {
            plain += 'e';
            ++i;
            if (isSigned) plain += static_cast<char>(at(i++));
            takeDigits();
        }
    }
    return Parsed{std::strtod(plain.c_str(), nullptr), i};
}

std::optional<double> parseWhole(const std::wstring& text) {
    std::size_t start = 0;
    while (start < text.size() && isBlank(text[start])) ++start;
    const auto parsed = parseNumber(text, start);
    if (!parsed) return std::nullopt;
    for (std::size_t i = parsed->end; i < text.size(); ++i)
        if (!isBlank(text[i])) return std::nullopt;
    return parsed->value;
}

template <class Int> Int rounded(double value) {
    const double whole = roundHalfEven(value);
    if (!(whole >= std::numeric_limits<Int>::min() && whole <= std::numeric_limits<Int>::max()))
        throw RunTimeError(errors::overflow);
    return static_cast<Int>(whole);
}

} // namespace

double roundHalfEven(double value) {
    const double floor = std::floor(value);
    const double fraction = value - floor;
    if (fraction < 0.5) return floor;
    if (fraction > 0.5) return floor + 1;
    return std::fmod(floor, 2) == 0 ? floor : floor + 1;
}

std::int16_t toInteger(double value) { return rounded<std::int16_t>(value); }
std::int32_t toLong(double value) { return rounded<std::int32_t>(value); }
std::int16_t toInteger(const std::wstring& text) { return toInteger(toDouble(text)); }
std::int32_t toLong(const std::wstring& text) { return toLong(toDouble(text)); }

double toDouble(const std::wstring& text) {
    const auto value = parseWhole(text);
    if (!value) throw RunTimeError(errors::typeMismatch);
    if (!std::isfinite(*value)) throw RunTimeError(errors::overflow);
    return *value;
}

bool isNumeric(const std::wstring& text) {
    const auto value = parseWhole(text);
    return value && std::isfinite(*value);
}

double Val(const std::wstring& text) {
    std::size_t start = 0;
    while (start < text.size() && isBlank(text[start])) ++start;
    const auto parsed = parseNumber(text, start);
    return parsed ? parsed->value : 0;
}

std::wstring singleText(float value) {
    char text[32];
    const int length = std::snprintf(text, sizeof text, "%.7g", static_cast<double>(value));
    return {text, text + length};
}
