#include "core/FileNames.h"

#include <algorithm>

namespace {

constexpr std::size_t longestName = 100;

// The locale must not have a say in what is a letter.
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
char folded(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool isAllowed(char c) { return isLetter(c) || isDigit(c) || c == ' ' || c == '-' || c == '_' || c == '.'; }

/// A device's name stays one with any extension, and with blanks before it.
bool isDevice(std::string_view name) {
    std::string stem = foldedName(name.substr(0, name.find('.')));
    stem.erase(stem.find_last_not_of(' ') + 1);
    if (stem == "con" || stem == "prn" || stem == "aux" || stem == "nul") return true;
    return stem.size() == 4 && (stem.starts_with("com") || stem.starts_with("lpt")) && isDigit(stem[3]);
}

} // namespace

bool isPlainName(std::string_view name) {
    if (name.empty() || name.size() > longestName) return false;
    if (!std::ranges::all_of(name, isAllowed)) return false;
    if (name.front() == ' ' || name.back() == ' ' || name.back() == '.') return false;
    return !isDevice(name);
}

std::string foldedName(std::string_view name) {
    std::string all(name);
    std::ranges::transform(all, all.begin(), folded);
    return all;
}

bool isArchiveName(std::string_view name) {
    return isPlainName(name) && name.ends_with(".zip") && name.find(' ') == name.npos;
}
