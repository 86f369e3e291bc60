#include "Inflate.h"

#define ZLIB_CONST
#include <zlib.h>

#include "Archive.h"

namespace updater {

namespace {

const Bytef* bytesOf(std::string_view text) { return reinterpret_cast<const Bytef*>(text.data()); }

} // namespace

std::string inflated(std::string_view packed, std::size_t size) {
    // One byte more than promised, so that a stream that gives more is found out.
    std::string contents(size + 1, '\0');
    z_stream stream{};
    if (inflateInit2(&stream, -MAX_WBITS) != Z_OK) throw std::bad_alloc();
    stream.next_in = bytesOf(packed);
    stream.avail_in = static_cast<uInt>(packed.size());
    stream.next_out = reinterpret_cast<Bytef*>(contents.data());
    stream.avail_out = static_cast<uInt>(contents.size());
    const int result = inflate(&stream, Z_FINISH);
    inflateEnd(&stream);
    if (result != Z_STREAM_END || stream.avail_in != 0 || stream.avail_out != 1)
        throw ArchiveError("a file in it is damaged");
    contents.pop_back();
    return contents;
}

std::uint32_t crcOf(std::string_view bytes) {
    return static_cast<std::uint32_t>(crc32(0, bytesOf(bytes), static_cast<uInt>(bytes.size())));
}

} // namespace updater
