#include "../Signature.h"

#include <stdexcept>

#include "SystemLibrary.h"

#include <bcrypt.h>

namespace updater {

namespace {

/// The system's CNG, as far as it is needed here.
struct Cng {
    SystemLibrary library{L"bcrypt.dll"};
    decltype(BCryptOpenAlgorithmProvider)* open =
        find<decltype(BCryptOpenAlgorithmProvider)>("BCryptOpenAlgorithmProvider");
    decltype(BCryptCloseAlgorithmProvider)* close =
        find<decltype(BCryptCloseAlgorithmProvider)>("BCryptCloseAlgorithmProvider");
    decltype(BCryptCreateHash)* createHash = find<decltype(BCryptCreateHash)>("BCryptCreateHash");
    decltype(BCryptHashData)* hashData = find<decltype(BCryptHashData)>("BCryptHashData");
    decltype(BCryptFinishHash)* finishHash = find<decltype(BCryptFinishHash)>("BCryptFinishHash");
    decltype(BCryptDestroyHash)* destroyHash = find<decltype(BCryptDestroyHash)>("BCryptDestroyHash");
    decltype(BCryptImportKeyPair)* importKey = find<decltype(BCryptImportKeyPair)>("BCryptImportKeyPair");
    decltype(BCryptDestroyKey)* destroyKey = find<decltype(BCryptDestroyKey)>("BCryptDestroyKey");
    decltype(BCryptVerifySignature)* verify = find<decltype(BCryptVerifySignature)>("BCryptVerifySignature");

private:
    template <typename Function> Function* find(const char* name) const {
        Function* const found = library.find<Function>(name);
        if (!found) throw std::runtime_error("Signatures cannot be checked here.");
        return found;
    }
};

const Cng& cng() {
    static const Cng calls;
    return calls;
}

void require(NTSTATUS status) {
    if (status < 0) throw std::runtime_error("Signatures cannot be checked here.");
}

UCHAR* bytesOf(std::string_view text) { return reinterpret_cast<UCHAR*>(const_cast<char*>(text.data())); }

class Provider {
public:
    explicit Provider(const wchar_t* algorithm) { require(cng().open(&handle, algorithm, nullptr, 0)); }
    Provider(const Provider&) = delete;
    Provider& operator=(const Provider&) = delete;
    ~Provider() { cng().close(handle, 0); }

    BCRYPT_ALG_HANDLE handle = nullptr;
};

struct Hash {
    explicit Hash(const Provider& provider) {
        require(cng().createHash(provider.handle, &handle, nullptr, 0, nullptr, 0, 0));
    }
    Hash(const Hash&) = delete;
    Hash& operator=(const Hash&) = delete;
    ~Hash() { cng().destroyHash(handle); }

    BCRYPT_HASH_HANDLE handle = nullptr;
};

std::string digestOf(std::string_view bytes) {
    const Provider provider(BCRYPT_SHA256_ALGORITHM);
    const Hash hash(provider);
    std::string digest(32, '\0');
    require(cng().hashData(hash.handle, bytesOf(bytes), static_cast<ULONG>(bytes.size()), 0));
    require(cng().finishHash(hash.handle, bytesOf(digest), static_cast<ULONG>(digest.size()), 0));
    return digest;
}

} // namespace

std::string sha256(std::string_view bytes) {
    std::string text;
    for (const char c : digestOf(bytes)) {
        const auto byte = static_cast<unsigned char>(c);
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

bool isSignedBy(std::string_view key, std::string_view text, std::string_view signature) {
    if (key.size() != 64 || signature.size() != 64) return false;
    const BCRYPT_ECCKEY_BLOB head{BCRYPT_ECDSA_PUBLIC_P256_MAGIC, 32};
    const std::string blob = std::string(reinterpret_cast<const char*>(&head), sizeof head) + std::string(key);
    const std::string digest = digestOf(text);
    const Provider provider(BCRYPT_ECDSA_P256_ALGORITHM);
    BCRYPT_KEY_HANDLE opened = nullptr;
    if (cng().importKey(provider.handle, nullptr, BCRYPT_ECCPUBLIC_BLOB, &opened, bytesOf(blob),
                        static_cast<ULONG>(blob.size()), 0) < 0)
        return false;
    const auto status = cng().verify(opened, nullptr, bytesOf(digest), static_cast<ULONG>(digest.size()),
                                     bytesOf(signature), static_cast<ULONG>(signature.size()), 0);
    cng().destroyKey(opened);
    return status >= 0;
}

} // namespace updater
