#include "platform_linux/openssl_digests.h"

#include <fmt/format.h>
#include <openssl/evp.h>

namespace kelvaris {

namespace {

class EvpDigest final : public Digest {
public:
    EvpDigest() : context_(EVP_MD_CTX_new(), EVP_MD_CTX_free) {
        isGood_ = context_ && EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr) == 1;
    }
    void update(ByteView bytes) override {
        isGood_ = isGood_ && EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size()) == 1;
    }
    /// Without a working library the hash is empty, and so equal to no other.
    std::string finish() override {
        std::uint8_t bytes[EVP_MAX_MD_SIZE];
        unsigned length = 0;
        if (!isGood_ || EVP_DigestFinal_ex(context_.get(), bytes, &length) != 1) return {};
        std::string text;
        for (unsigned i = 0; i < length; ++i) text += fmt::format("{:02x}", bytes[i]);
        return text;
    }

private:
    std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> context_;
    bool isGood_ = false;
};

}  // namespace

std::unique_ptr<Digest> OpensslDigests::makeSha256() const { return std::make_unique<EvpDigest>(); }

}  // namespace kelvaris
