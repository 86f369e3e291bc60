#include "net/LocalMachine.h"

#include "net/SocketErrors.h"
#include "platform/Network.h"
#include "platform/Text.h"

std::string GetLocalHostName() {
    char name[256] = {};
    if (platform::gethostname(name, sizeof name) == -1) raiseLastError(L"CSocketMaster.GetLocalHostName");
    name[sizeof name - 1] = '\0'; // a longer name may come without its end
    return name;
}

std::wstring GetLocalIP() {
    const auto address = platform::gethostbyname(GetLocalHostName());
    if (!address) raiseLastError(L"CSocketMaster.GetLocalIP");
    return addressText(*address);
}

BlockingAddress GetAddressBlocking(const std::wstring& host) {
    if (host.empty()) return {platform::wsa::addressFamilyNotSupported, {}, 1};
    const std::string name = platform::toAnsi(host);
    if (const std::uint32_t address = platform::inet_addr(name); address != platform::noAddress)
        return {0, host, address};
    if (const auto address = platform::gethostbyname(name)) return {0, addressText(*address), *address};
    return {platform::lastNetworkError(), {}, 1};
}

std::wstring addressText(std::uint32_t address) { return platform::fromAnsi(platform::inet_ntoa(address)); }
