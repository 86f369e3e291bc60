#include "core/modShell.h"

#include "platform/Shell.h"

bool shellOpen(const std::wstring& target, const std::wstring& operation, const std::wstring& parameters,
               const std::wstring& directory, std::int32_t showCommand) {
    return platform::shellExecute(0, operation, target, parameters, directory, showCommand) >= 33;
}

void openLink(const std::wstring& url) { shellOpen(url, L"Open", {}, {}, 0); }
