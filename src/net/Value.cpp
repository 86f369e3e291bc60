#include "net/Value.h"

#include <array>
#include <cstring>
#include <type_traits>

#include "core/Numbers.h"
#include "platform/Text.h"

namespace {

template <class T> std::string rawBytes(const T& value) {
    static_assert(std::is_trivially_copyable_v<T>);
    std::string bytes(sizeof value, '\0');
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

template <class T> T fromRaw(const std::string& bytes) {
    T value{};
    std::memcpy(&value, bytes.data(), sizeof value);
    return value;
}

template <class... Cases> struct Overloaded : Cases... { using Cases::operator()...; };
template <class... Cases> Overloaded(Cases...) -> Overloaded<Cases...>;

} // namespace

std::int16_t typeOf(const Value& value) {
    constexpr std::array codes{types::empty,    types::int16, types::int32, types::float32, types::float64,
                               types::currency, types::date,  types::text,  types::boolean, types::byte,
                               types::bytes};
    static_assert(codes.size() == std::variant_size_v<Value>);
    return codes[value.index()];
}

std::optional<double> numberOf(const Value& value) {
    return std::visit(Overloaded{[](const Currency& amount) -> std::optional<double> {
                                     return static_cast<double>(amount.tenThousandths) / 10000;
                                 },
                                 [](bool flag) -> std::optional<double> { return flag ? -1 : 0; },
                                 [](const std::wstring& text) {
                                     return isNumeric(text) ? std::optional(toDouble(text)) : std::nullopt;
                                 },
                                 [](const auto& other) -> std::optional<double> {
                                     if constexpr (std::is_arithmetic_v<std::decay_t<decltype(other)>>) return other;
                                     return std::nullopt;
                                 }},
                      value);
}

std::optional<std::string> bytesOf(const Value& value) {
    return std::visit(Overloaded{[](std::monostate) -> std::optional<std::string> { return std::nullopt; },
                                 [](bool flag) -> std::optional<std::string> {
                                     return rawBytes(static_cast<std::int16_t>(flag ? -1 : 0));
                                 },
                                 [](const std::wstring& text) -> std::optional<std::string> {
                                     return platform::toAnsi(text);
                                 },
                                 [](const std::string& bytes) -> std::optional<std::string> { return bytes; },
                                 [](const auto& number) -> std::optional<std::string> { return rawBytes(number); }},
                      value);
}

std::int32_t widthOf(std::int16_t type) {
    switch (type) {
    case types::byte: return 1;
    case types::int16:
    case types::boolean: return 2;
    case types::int32:
    case types::float32: return 4;
    case types::float64:
    case types::currency:
    case types::date: return 8;
    default: return 0;
    }
}

Value valueFrom(std::int16_t type, const std::string& bytes) {
    switch (type) {
    case types::byte: return fromRaw<std::uint8_t>(bytes);
    case types::int16: return fromRaw<std::int16_t>(bytes);
    case types::boolean: return fromRaw<std::int16_t>(bytes) != 0;
    case types::int32: return fromRaw<std::int32_t>(bytes);
    case types::float32: return fromRaw<float>(bytes);
    case types::float64: return fromRaw<double>(bytes);
    case types::currency: return fromRaw<Currency>(bytes);
    case types::date: return fromRaw<Date>(bytes);
    default: return {};
    }
}
