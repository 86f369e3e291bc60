#include "Zip.h"

#include <zlib.h>

#include "Inflate.h"

namespace {

std::string deflated(const std::string& contents) {
    std::string packed(compressBound(static_cast<uLong>(contents.size())), '\0');
    z_stream stream{};
    deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(contents.data()));
    stream.avail_in = static_cast<uInt>(contents.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    deflate(&stream, Z_FINISH);
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    return packed;
}

std::string little(std::uint32_t value, int bytes) {
    std::string text;
    for (; bytes > 0; --bytes, value >>= 8) text += static_cast<char>(value & 0xff);
    return text;
}

std::string words(const Zip::Header& header) {
    return little(header.version, 2) + little(header.flags, 2) + little(header.method, 2) + little(0, 2) +
           little(header.date, 2) + little(header.crc, 4) + little(header.packedSize, 4) + little(header.fullSize, 4) +
           little(static_cast<std::uint32_t>(header.name.size()), 2) +
           little(static_cast<std::uint32_t>(header.extra.size()), 2);
}

} // namespace

Zip::Entry& Zip::add(const std::string& name, const std::string& contents, bool isDeflated) {
    Entry entry;
    entry.packed = isDeflated ? deflated(contents) : contents;
    entry.local.name = name;
    entry.local.method = isDeflated ? 8 : 0;
    entry.local.crc = updater::crcOf(contents);
    entry.local.packedSize = static_cast<std::uint32_t>(entry.packed.size());
    entry.local.fullSize = static_cast<std::uint32_t>(contents.size());
    entry.central = entry.local;
    return entries.emplace_back(entry);
}

std::string Zip::bytes() const {
    std::string all = before, directory;
    for (const auto& entry : entries) {
        const auto position = entry.position.value_or(static_cast<std::uint32_t>(all.size()));
        all += "PK\3\4" + words(entry.local) + entry.local.name + entry.local.extra + entry.packed;
        directory += "PK\1\2" + little(20, 2) + words(entry.central) + little(0, 2) + little(entry.disk, 2) +
                     little(0, 2) + little(entry.attributes, 4) + little(position, 4) + entry.central.name +
                     entry.central.extra;
    }
    all += gap;
    directory += tail;
    const auto count = static_cast<std::uint32_t>(entries.size());
    const auto size = static_cast<std::uint32_t>(directory.size());
    const auto commentSize = static_cast<std::uint32_t>(comment.size());
    const auto position = static_cast<std::uint32_t>(all.size());
    return all + directory + "PK\5\6" + little(lie.disk, 2) + little(lie.disk, 2) + little(count + lie.countHere, 2) +
           little(count + lie.count, 2) + little(size + lie.size, 4) + little(position, 4) +
           little(commentSize + lie.commentSize, 2) + comment + after;
}
