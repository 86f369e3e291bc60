#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

/// An amount in ten-thousandths.
struct Currency {
    std::int64_t tenThousandths = 0;
    friend bool operator==(const Currency&, const Currency&) = default;
};

/// Days since the end of 1899-12-29, with the time of day as a fraction.
struct Date {
    double days = 0;
    friend bool operator==(const Date&, const Date&) = default;
};

/// A variable of any kind that a socket can carry, or an empty one. Text is converted by the ANSI code page; a
/// std::string is an array of bytes.
using Value = std::variant<std::monostate, std::int16_t, std::int32_t, float, double, Currency, Date, std::wstring,
                           bool, std::uint8_t, std::string>;

/// The type codes of the kinds.
namespace types {
inline constexpr std::int16_t empty = 0;
inline constexpr std::int16_t int16 = 2;
inline constexpr std::int16_t int32 = 3;
inline constexpr std::int16_t float32 = 4;
inline constexpr std::int16_t float64 = 5;
inline constexpr std::int16_t currency = 6;
inline constexpr std::int16_t date = 7;
inline constexpr std::int16_t text = 8;
inline constexpr std::int16_t boolean = 11;
inline constexpr std::int16_t byte = 17;
inline constexpr std::int16_t bytes = 8209;
} // namespace types

std::int16_t typeOf(const Value& value);

/// The number that a value stands for: any numeric kind, or a text that is a decimal number. Nothing for other values.
std::optional<double> numberOf(const Value& value);

/// The bytes of a value as they lie in memory, text converted; nothing for a kind that cannot be sent.
std::optional<std::string> bytesOf(const Value& value);

/// Bytes that a kind of fixed width takes; 0 for any other type.
std::int32_t widthOf(std::int16_t type);

/// The value of a kind of fixed width from its bytes.
Value valueFrom(std::int16_t type, const std::string& bytes);
