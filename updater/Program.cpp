#include "Program.h"

#include <cstddef>
#include <cstdint>

namespace updater {

namespace {

constexpr std::size_t fileHeaderSize = 24; // with the mark before it
constexpr std::size_t sectionHeaderSize = 40;

/// A number of some bytes; 0 beyond the end, which fits no field that is looked at.
std::uint32_t number(std::string_view bytes, std::size_t position, unsigned size) {
    if (position > bytes.size() || size > bytes.size() - position) return 0;
    std::uint32_t value = 0;
    for (unsigned i = 0; i < size; ++i)
        value |= std::uint32_t{static_cast<unsigned char>(bytes[position + i])} << (8 * i);
    return value;
}

} // namespace

bool isProgram(std::string_view bytes) {
    if (!bytes.starts_with("MZ")) return false;
    const std::size_t start = number(bytes, 0x3c, 4);
    if (start < 0x40 || start > bytes.size()) return false;
    if (bytes.substr(start, 4) != std::string_view("PE\0\0", 4)) return false;

    constexpr std::uint32_t intel386 = 0x14c, executable = 2, library = 0x2000;
    const auto sections = number(bytes, start + 6, 2);
    const auto optionalSize = number(bytes, start + 20, 2);
    const auto kind = number(bytes, start + 22, 2);
    if (number(bytes, start + 4, 2) != intel386 || sections == 0 || !(kind & executable) || (kind & library))
        return false;

    const std::size_t optional = start + fileHeaderSize;
    constexpr std::uint32_t pe32 = 0x10b, windows = 2;
    if (number(bytes, optional, 2) != pe32 || number(bytes, optional + 68, 2) != windows) return false;
    const auto entry = number(bytes, optional + 16, 4);

    const std::size_t table = optional + optionalSize;
    if (table + sections * sectionHeaderSize > bytes.size()) return false;
    bool hasEntry = false;
    for (std::uint32_t i = 0; i < sections; ++i) {
        const std::size_t section = table + i * sectionHeaderSize;
        const auto virtualSize = number(bytes, section + 8, 4), virtualPlace = number(bytes, section + 12, 4);
        const auto size = number(bytes, section + 16, 4), place = number(bytes, section + 20, 4);
        if (std::uint64_t{place} + size > bytes.size()) return false;
        hasEntry |= entry >= virtualPlace && entry - virtualPlace < virtualSize && size != 0;
    }
    return hasEntry;
}

} // namespace updater
