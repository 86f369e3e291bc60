#include "platform/Hash.h"

#include <array>
#include <memory>
#include <new>

#include <openssl/evp.h>

#include "platform/Files.h"

namespace platform {

std::string md5(const std::string& bytes) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned length = 0;
    if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), &length, EVP_md5(), nullptr) != 1) throw std::bad_alloc();
    std::string text;
    for (unsigned i = 0; i < length; ++i) {
        text += "0123456789abcdef"[digest[i] >> 4];
        text += "0123456789abcdef"[digest[i] & 15];
    }
    return text;
}

std::string md5OfFile(const std::wstring& path) { return md5(readWholeFile(path)); }

} // namespace platform
