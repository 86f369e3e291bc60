#pragma once

#include <cstddef>
#include <cstdint>

/// Feeds the API client an answer of the service in pieces of any size, with the whole program behind it. Whatever comes,
/// nothing may escape from a handler, no object may stay behind, and a genuine answer on a new connection of a new client
/// must be understood.
///
/// The input: pieces, each a length byte and so many bytes. Whatever lacks at the end is left out.
void fuzzAnswer(const std::uint8_t* data, std::size_t size);
