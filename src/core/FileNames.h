#pragma once

#include <string>
#include <string_view>

/// True if a name means one new file in the folder that it is put into, and the same file on every Windows: letters,
/// digits, blanks, "-", "_" and "." alone, no dot or blank at its end, no name that Windows keeps for a device. What is
/// left out has a meaning somewhere: "~" makes short names, ":" streams, "\" and "/" folders. (Naming Files, Paths, and
/// Namespaces: https://learn.microsoft.com/windows/win32/fileio/naming-a-file)
bool isPlainName(std::string_view name);

/// The name with small letters: Windows takes names that differ only in case for the same.
std::string foldedName(std::string_view name);

/// True for what an update's archive may be called: a plain name that ends in ".zip" and has no blank, since it goes to
/// the updater as the one word of its command line. Quillory and the updater both ask this.
bool isArchiveName(std::string_view name);
