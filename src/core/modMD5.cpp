#include "core/modMD5.h"

#include "platform/Hash.h"
#include "platform/Text.h"

std::wstring md5String(const std::wstring& text) { return platform::fromAnsi(platform::md5(platform::toAnsi(text))); }

std::wstring md5File(const std::wstring& path) { return platform::fromAnsi(platform::md5OfFile(path)); }
