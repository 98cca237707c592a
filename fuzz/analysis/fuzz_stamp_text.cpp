#include <cstdlib>

#include "analysis/stamp_grammar.h"
#include "base/bytes.h"

using namespace kelvaris;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr int latestYear = 2027;
    const std::string text = withDigitsPutRight(asText(ByteView(data, size)));
    if (text.size() != size) std::abort();
    const auto date = parseStampDate(text, latestYear);
    if (date && (!date->isValid() || date->year < earliestStampYear || date->year > latestYear)) std::abort();
    return 0;
}
