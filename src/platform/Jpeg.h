#pragma once

#include <string>

namespace platform {

/// False for a JPEG file (told by its first marker) that was cut short or has a Huffman table with more codes than
/// there are bytes; true for anything else. Decoders are kinder than that: they show what there is of a picture, grey
/// below, and trust a table's length.
bool isSoundJpeg(const std::string& file);

} // namespace platform
