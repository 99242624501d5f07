#include "host/sha256.h"

#include <openssl/evp.h>

#include <array>
#include <stdexcept>
#include <vector>

namespace kymora {

namespace {

constexpr size_t bytesAtOnce = size_t{1} << 20;

}  // namespace

struct Sha256::State {
    EVP_MD_CTX* context = EVP_MD_CTX_new();
    ~State() { EVP_MD_CTX_free(context); }
};

Sha256::Sha256() : state_(std::make_unique<State>()) {
    if (!state_->context || EVP_DigestInit_ex(state_->context, EVP_sha256(), nullptr) != 1)
        throw std::runtime_error("Check sums cannot be made on this machine.");
}

Sha256::~Sha256() = default;

void Sha256::Add(std::span<const std::byte> bytes) {
    EVP_DigestUpdate(state_->context, bytes.data(), bytes.size());
}

std::string Sha256::Hex() {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int length = 0;
    EVP_DigestFinal_ex(state_->context, digest.data(), &length);
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (unsigned int i = 0; i < length; ++i) {
        text += digits[digest[i] >> 4];
        text += digits[digest[i] & 15];
    }
    return text;
}

std::string Sha256Of(const DataFile& file) {
    Sha256 sum;
    std::vector<std::byte> buffer(bytesAtOnce);
    uint64_t at = 0;
    while (const size_t count = file.ReadAt(at, buffer)) {
        sum.Add(std::span(buffer).first(count));
        at += count;
    }
    return sum.Hex();
}

}  // namespace kymora
