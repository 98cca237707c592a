#include <cstdlib>

#include "base/bytes.h"
#include "platform_fake/fake_clock.h"
#include "platform_fake/fake_language.h"
#include "vault/vault_documents.h"

using namespace kelvaris;

namespace {

/// What reads can be written, and what was written once stays the same bytes.
void mustStayTheSame(const VaultPreferences& preferences) {
    const FakeLanguage language;
    const FakeClock clock;
    const auto first = encodedPreferencesFile(preferences, language, clock.wall());
    if (!first) std::abort();
    const auto again = decodedPreferencesFile(*first);
    if (!again) std::abort();
    const auto second = encodedPreferencesFile(*again, language, clock.wall());
    if (!second || *second != *first) std::abort();
}

}  // namespace

/// What the strict reading takes, the salvaging one takes without a loss.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto preferences = decodedPreferencesFile(asText(ByteView(data, size)));
    const auto salvage = salvagedPreferencesFile(asText(ByteView(data, size)));
    if (preferences) mustStayTheSame(*preferences);
    if (salvage) mustStayTheSame(salvage->record);
    if (preferences && (!salvage || !salvage->losses.empty())) std::abort();
    return 0;
}
