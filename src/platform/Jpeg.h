#pragma once

#include <string>

namespace platform {

/// False for a JPEG file (told by its first marker) that was cut short, has a Huffman table with more codes than there
/// are bytes, or a scan that names a table which is not there; true for anything else. Decoders are kinder than that:
/// they show what there is of a picture, grey below, and some trust the tables.
bool isSoundJpeg(const std::string& file);

} // namespace platform
