#include <nlohmann/json.hpp>
#include <random>
#include <string>

#include "analysis/clip_tokenizer.h"
#include "platform_linux/icu_characters.h"
#include "platform_linux/icu_language.h"
#include "stopwatch.h"

/// Short texts through the tokenizer, with a vocabulary that is made here and as large as the real one.
namespace kelvaris::benchmarks {
namespace {

std::string word(std::minstd_rand& random) {
    constexpr std::string_view syllables[] = {"ka", "to",   "ri", "nen", "mo",  "sul",
                                              "ve", "drin", "pa", "lo",  "shi", "gra"};
    std::string text;
    for (unsigned part = 0; part < 2 + random() % 2; ++part)
        text += syllables[random() % std::size(syllables)];
    return text;
}

const CLIPTokenizer& tokenizer() {
    static const IcuLanguage language;
    static const IcuCharacters characters;
    static const auto instance = [] {
        std::minstd_rand random(7);
        nlohmann::json encoder = nlohmann::json::object(), merges = nlohmann::json::array();
        int id = 0;
        for (char c = 'a'; c <= 'z'; ++c) {
            encoder[std::string(1, c)] = id++;
            encoder[std::string(1, c) + "</w>"] = id++;
        }
        while (merges.size() < 48'000) {
            const std::string each = word(random) + std::to_string(random() % 3).substr(1);
            for (std::size_t length = 2; length <= each.size(); ++length) {
                const bool isWhole = length == each.size();
                const std::string first = each.substr(0, length - 1);
                const std::string second = each.substr(length - 1, 1) + (isWhole ? "</w>" : "");
                merges.push_back(first + " " + second);
                encoder[first + second] = id++;
            }
        }
        const std::string text = nlohmann::json{{"encoder", encoder}, {"merges", merges}}.dump();
        return CLIPTokenizer::make(asBytes(text), language, characters);
    }();
    return *instance;
}

/// @param words how many different words the texts are made of: few stay in the cache, many never do.
void shortTexts(benchmark::State& state) {
    std::minstd_rand random(11);
    std::vector<std::string> texts;
    const auto words = static_cast<std::size_t>(state.range(0));
    for (std::size_t index = 0; index < words; index += 4) {
        std::string text = word(random);
        for (int part = 0; part < 3; ++part) {
            text += " " + word(random);
            // A number alone would be cut into digits; letters make a word of its own.
            for (std::size_t rest = index * 4 + static_cast<std::size_t>(part); words > 1000 && rest > 0;
                 rest /= 26) {
                text += static_cast<char>('a' + rest % 26);
            }
        }
        texts.push_back(std::move(text));
    }
    const auto& instance = tokenizer();
    std::size_t next = 0;
    for (auto _ : state) benchmark::DoNotOptimize(instance.tokenize(texts[next++ % texts.size()]));
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(shortTexts)->ArgName("words")->Arg(400)->Arg(400'000);

}  // namespace
}  // namespace kelvaris::benchmarks
