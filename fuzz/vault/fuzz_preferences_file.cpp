#include <cstdlib>

#include "base/bytes.h"
#include "platform_fake/fake_clock.h"
#include "platform_fake/fake_language.h"
#include "vault/vault_documents.h"

using namespace kelvaris;

/// What reads can be written, and what was written once stays the same bytes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const FakeLanguage language;
    const FakeClock clock;
    const auto preferences = decodedPreferencesFile(asText(ByteView(data, size)));
    if (!preferences) return 0;
    const auto first = encodedPreferencesFile(*preferences, language, clock.wall());
    if (!first) std::abort();
    const auto again = decodedPreferencesFile(*first);
    if (!again) std::abort();
    const auto second = encodedPreferencesFile(*again, language, clock.wall());
    if (!second || *second != *first) std::abort();
    return 0;
}
