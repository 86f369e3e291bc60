#pragma once

#include <cstdint>
#include <string>

/// Names and addresses as the socket objects use them: the machine's own, and those looked up on the spot. These are
/// the only calls of the network layer that wait, for as long as the platform's resolver takes.

/// The machine's own name; raises the library's error with source "CSocketMaster.GetLocalHostName".
std::string GetLocalHostName();

/// The first address of that name as text; raises the library's error with source "CSocketMaster.GetLocalIP".
std::wstring GetLocalIP();

struct BlockingAddress {
    std::int32_t code; // why there is no address: 10047 for an empty host, else the library's error
    std::wstring text; // dotted
    std::uint32_t address;
};
BlockingAddress GetAddressBlocking(const std::wstring& host);

/// Dotted text of an address.
std::wstring addressText(std::uint32_t address);
