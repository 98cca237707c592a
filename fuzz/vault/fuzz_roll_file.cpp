#include <cstdlib>

#include "base/bytes.h"
#include "platform_fake/fake_language.h"
#include "vault/vault_documents.h"

using namespace kelvaris;

namespace {

/// What reads can be written, and what was written once stays the same bytes.
void mustStayTheSame(const VaultRollManifest& manifest) {
    const FakeLanguage language;
    const auto first = encodedRollFile(manifest, language);
    if (!first) std::abort();
    const auto again = decodedRollFile(*first);
    if (!again) std::abort();
    const auto second = encodedRollFile(*again, language);
    if (!second || *second != *first) std::abort();
}

}  // namespace

/// What the strict reading takes, the salvaging one takes without a loss.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto manifest = decodedRollFile(asText(ByteView(data, size)));
    const auto salvage = salvagedRollFile(asText(ByteView(data, size)));
    if (manifest) mustStayTheSame(*manifest);
    if (salvage) mustStayTheSame(salvage->record);
    if (manifest && (!salvage || !salvage->losses.empty())) std::abort();
    return 0;
}
