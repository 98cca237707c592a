#include <cstdlib>
#include <memory>

#include "analysis/clip_tokenizer.h"
#include "platform_linux/icu_characters.h"
#include "platform_linux/icu_language.h"

using namespace kelvaris;

namespace {

const IcuLanguage language;
const IcuCharacters characters;

void check(const CLIPTokenizer& tokenizer, std::string_view text) {
    const auto tokens = tokenizer.tokenize(text);
    if (tokens.front() != CLIPTokenizer::startOfText) std::abort();
    if (tokens != tokenizer.tokenize(text)) std::abort();  // the second time from the cache
}

}  // namespace

/// The first bytes are a vocabulary, and what follows a zero byte is a text; without one, all is a text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const auto plain = CLIPTokenizer::make(
        asBytes(R"({"encoder": {"a": 1, "ab</w>": 2, "!!": 3}, "merges": ["a b</w>", "! !", "a a"]})"),
        language, characters);
    const std::string_view input = asText({data, size});
    const std::size_t zero = input.find('\0');
    if (zero == std::string_view::npos) {
        check(*plain, input);
    } else if (const auto own = CLIPTokenizer::make(asBytes(input.substr(0, zero)), language, characters)) {
        check(*own, input.substr(zero + 1));
    }
    return 0;
}
