#include "Signature.h"

#include <memory>
#include <stdexcept>

#include <openssl/core_names.h>
#include <openssl/ecdsa.h>
#include <openssl/evp.h>

namespace updater {

namespace {

template <auto Free> struct Freer {
    void operator()(auto* object) const { Free(object); }
};
using Key = std::unique_ptr<EVP_PKEY, Freer<EVP_PKEY_free>>;
using KeyContext = std::unique_ptr<EVP_PKEY_CTX, Freer<EVP_PKEY_CTX_free>>;
using DigestContext = std::unique_ptr<EVP_MD_CTX, Freer<EVP_MD_CTX_free>>;
using Pair = std::unique_ptr<ECDSA_SIG, Freer<ECDSA_SIG_free>>;

const unsigned char* bytesOf(std::string_view text) { return reinterpret_cast<const unsigned char*>(text.data()); }

/// Empty for a point that is not on the curve.
Key publicKey(std::string_view point) {
    std::string uncompressed = '\4' + std::string(point);
    std::string group = "prime256v1";
    const OSSL_PARAM parameters[] = {
        OSSL_PARAM_construct_utf8_string(OSSL_PKEY_PARAM_GROUP_NAME, group.data(), 0),
        OSSL_PARAM_construct_octet_string(OSSL_PKEY_PARAM_PUB_KEY, uncompressed.data(), uncompressed.size()),
        OSSL_PARAM_construct_end(),
    };
    const KeyContext context(EVP_PKEY_CTX_new_from_name(nullptr, "EC", nullptr));
    EVP_PKEY* key = nullptr;
    if (!context || EVP_PKEY_fromdata_init(context.get()) != 1)
        throw std::runtime_error("Signatures cannot be checked here.");
    EVP_PKEY_fromdata(context.get(), &key, EVP_PKEY_PUBLIC_KEY, const_cast<OSSL_PARAM*>(parameters));
    return Key(key);
}

/// As the library takes a signature: two numbers in DER.
std::string encoded(std::string_view signature) {
    const Pair pair(ECDSA_SIG_new());
    BIGNUM* const r = BN_bin2bn(bytesOf(signature), 32, nullptr);
    BIGNUM* const s = BN_bin2bn(bytesOf(signature) + 32, 32, nullptr);
    if (!pair || !ECDSA_SIG_set0(pair.get(), r, s)) throw std::bad_alloc();
    unsigned char* der = nullptr;
    const int size = i2d_ECDSA_SIG(pair.get(), &der);
    std::string bytes(reinterpret_cast<const char*>(der), static_cast<std::size_t>(size));
    OPENSSL_free(der);
    return bytes;
}

} // namespace

std::string sha256(std::string_view bytes) {
    unsigned char digest[32];
    if (EVP_Digest(bytes.data(), bytes.size(), digest, nullptr, EVP_sha256(), nullptr) != 1) throw std::bad_alloc();
    std::string text;
    for (const auto byte : digest) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

bool isSignedBy(std::string_view key, std::string_view text, std::string_view signature) {
    if (key.size() != 64 || signature.size() != 64) return false;
    const Key opened = publicKey(key);
    const DigestContext context(EVP_MD_CTX_new());
    if (!opened || EVP_DigestVerifyInit(context.get(), nullptr, EVP_sha256(), nullptr, opened.get()) != 1) return false;
    const std::string der = encoded(signature);
    return EVP_DigestVerify(context.get(), bytesOf(der), der.size(), bytesOf(text), text.size()) == 1;
}

} // namespace updater
