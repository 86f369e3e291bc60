#pragma once

#include <filesystem>

inline std::wstring scratchFile() { return (std::filesystem::temp_directory_path() / L"quillory fetched").wstring(); }
