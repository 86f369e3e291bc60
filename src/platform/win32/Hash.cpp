#include "platform/Hash.h"

#include <new>

#include <windows.h>

#include <wincrypt.h>

#include "platform/win32/FileReader.h"

namespace {

class Md5 {
public:
    Md5() {
        if (!CryptAcquireContextW(&provider, nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT))
            throw std::bad_alloc();
        if (!CryptCreateHash(provider, CALG_MD5, 0, 0, &hash)) {
            CryptReleaseContext(provider, 0);
            throw std::bad_alloc();
        }
    }
    Md5(const Md5&) = delete;
    Md5& operator=(const Md5&) = delete;
    ~Md5() {
        CryptDestroyHash(hash);
        CryptReleaseContext(provider, 0);
    }

    void add(const char* bytes, std::size_t size) {
        if (!CryptHashData(hash, reinterpret_cast<const BYTE*>(bytes), static_cast<DWORD>(size), 0))
            throw std::bad_alloc();
    }

    std::string digits() const {
        BYTE digest[16];
        DWORD size = sizeof digest;
        if (!CryptGetHashParam(hash, HP_HASHVAL, digest, &size, 0)) throw std::bad_alloc();
        std::string text;
        for (const BYTE byte : digest) {
            text += "0123456789abcdef"[byte >> 4];
            text += "0123456789abcdef"[byte & 15];
        }
        return text;
    }

private:
    HCRYPTPROV provider = 0;
    HCRYPTHASH hash = 0;
};

} // namespace

namespace platform {

std::string md5(const std::string& bytes) {
    Md5 sum;
    sum.add(bytes.data(), bytes.size());
    return sum.digits();
}

std::string md5OfFile(const std::wstring& path) {
    win32::FileReader file(path);
    Md5 sum;
    char piece[65536];
    while (const std::size_t taken = file.read(piece, sizeof piece)) sum.add(piece, taken);
    return sum.digits();
}

} // namespace platform
