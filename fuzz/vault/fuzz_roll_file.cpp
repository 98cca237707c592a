#include <cstdlib>

#include "base/bytes.h"
#include "platform_fake/fake_language.h"
#include "vault/vault_documents.h"

using namespace kelvaris;

/// What reads can be written, and what was written once stays the same bytes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const FakeLanguage language;
    const auto manifest = decodedRollFile(asText(ByteView(data, size)));
    if (!manifest) return 0;
    const auto first = encodedRollFile(*manifest, language);
    if (!first) std::abort();
    const auto again = decodedRollFile(*first);
    if (!again) std::abort();
    const auto second = encodedRollFile(*again, language);
    if (!second || *second != *first) std::abort();
    return 0;
}
