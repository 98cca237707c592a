#include "analysis/clip_tokenizer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <thread>

#include "platform_linux/icu_characters.h"
#include "platform_linux/icu_language.h"

namespace kelvaris {
namespace {

using ::testing::ElementsAre;

/// A small vocabulary: every single byte within and at the end of a word (ids 1000 and 2000 on), and the
/// named merges from 3000 on.
std::string vocabulary(const std::vector<std::pair<std::string, std::string>>& merges) {
    nlohmann::json encoder, list = nlohmann::json::array();
    for (int byte = 0; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        const std::string text = CLIPTokenizer::encodeBytes(std::string_view(&c, 1));
        encoder[text] = 1000 + byte;
        encoder[text + "</w>"] = 2000 + byte;
    }
    int id = 3000;
    for (const auto& [first, second] : merges) {
        encoder[first + second] = id++;
        list.push_back(first + " " + second);
    }
    encoder["<|startoftext|>"] = 49406;
    encoder["<|endoftext|>"] = 49407;
    return nlohmann::json{{"encoder", encoder}, {"merges", list}}.dump();
}

class ClipTokenizer : public ::testing::Test {
protected:
    std::unique_ptr<CLIPTokenizer> make(const std::vector<std::pair<std::string, std::string>>& merges) {
        return CLIPTokenizer::make(asBytes(vocabulary(merges)), language, characters);
    }
    /// What stands between start and end.
    static std::vector<int> textIds(const CLIPTokenizer& tokenizer, std::string_view text) {
        const auto tokens = tokenizer.tokenize(text);
        EXPECT_EQ(tokens.front(), 49406);
        std::vector<int> ids;
        std::size_t at = 1;
        while (at < tokens.size() && tokens[at] != 49407) ids.push_back(tokens[at++]);
        EXPECT_LT(at, tokens.size()) << "the end must be there";
        while (++at < tokens.size()) EXPECT_EQ(tokens[at], 0);
        return ids;
    }

    IcuLanguage language;
    IcuCharacters characters;
};

TEST_F(ClipTokenizer, MergesByRankAndFromLeftToRight) {
    const auto tokenizer = make({{"b", "c"}, {"a", "b"}, {"a", "a"}, {"c", "d</w>"}, {"aa", "a</w>"}});
    EXPECT_THAT(tokenizer->bpe("abcd"), ElementsAre("a", "bc", "d</w>"))
        << "the stronger pair, not the first";
    EXPECT_THAT(tokenizer->bpe("abab"), ElementsAre("ab", "a", "b</w>")) << "the last symbol ends the word";
    EXPECT_THAT(tokenizer->bpe("aaaa"), ElementsAre("aa", "a", "a</w>"));
    EXPECT_THAT(tokenizer->bpe("aaa"), ElementsAre("aaa</w>"));
    EXPECT_THAT(tokenizer->bpe("acd"), ElementsAre("a", "cd</w>"));
    EXPECT_THAT(tokenizer->bpe("a"), ElementsAre("a</w>"));
    EXPECT_THAT(tokenizer->bpe("<|endoftext|>"), ElementsAre("<|endoftext|>"));
}

TEST_F(ClipTokenizer, CutsTextIntoPieces) {
    const auto tokenizer = make({});
    const auto ids = [&](std::string_view text) { return textIds(*tokenizer, text); };
    const auto word = [](std::string_view letters) {
        std::vector<int> expected;
        for (const char c : letters) expected.push_back(1000 + static_cast<unsigned char>(c));
        expected.back() += 1000;
        return expected;
    };
    const auto words = [&](std::initializer_list<std::string_view> list) {
        std::vector<int> expected;
        for (const auto each : list) std::ranges::copy(word(each), std::back_inserter(expected));
        return expected;
    };
    EXPECT_THAT(ids(""), ElementsAre());
    EXPECT_THAT(ids(" \t\u00A0\u2003 "), ElementsAre());
    EXPECT_EQ(ids("A Dog, 35mm!"), words({"a", "dog", ",", "3", "5", "mm", "!"}));
    EXPECT_EQ(ids("it's they'll 'sam"), words({"it", "'s", "they", "'ll", "'s", "am"}));
    EXPECT_EQ(ids("x!'s"), words({"x", "!'", "s"})) << "a run of signs takes the apostrophe";
    EXPECT_EQ(ids("d'accord"), words({"d", "'", "accord"}));
    EXPECT_EQ(ids("\u00BD\u0663"), words({"\u00BD", "\u0663"})) << "numbers of every script, one by one";
    EXPECT_EQ(ids("\u041A\u0418\u0404\u0412"), words({"\u043A\u0438\u0454\u0432"}));
    EXPECT_EQ(ids("\U0001F39E\uFE0F!"), words({"\U0001F39E\uFE0F!"}));
    EXPECT_EQ(ids("cafe\u0301"), ids("CAF\u00C9"));
    EXPECT_EQ(tokenizer->tokenize("a<|ENDOFTEXT|>b")[2], 49407) << "a mark in the text is one token";
    EXPECT_EQ(ids("\xED\xA0\x80 \xFF"), words({"\uFFFD\uFFFD\uFFFD", "\uFFFD"})) << "broken UTF-8";
}

TEST_F(ClipTokenizer, LongTextsEndAtTheLastPlace) {
    const auto tokenizer = make({{"a", "a"}});
    for (const std::string& text : {std::string(1'000'000, 'a'), std::string(1'000'000, '7')}) {
        const auto tokens = tokenizer->tokenize(text);
        EXPECT_EQ(tokens[76], 49407);
        EXPECT_NE(tokens[75], 0);
        EXPECT_EQ(tokens, tokenizer->tokenize(text));
    }
}

TEST_F(ClipTokenizer, TokensWithoutAnIdAreDropped) {
    auto root = nlohmann::json::parse(vocabulary({{"a", "b</w>"}}));
    root["encoder"].erase("ab</w>");
    root["encoder"].erase("c</w>");
    const std::string text = root.dump();
    const auto tokenizer = CLIPTokenizer::make(asBytes(text), language, characters);
    EXPECT_THAT(textIds(*tokenizer, "ab c d"), ElementsAre(2000 + 'd'));
}

TEST_F(ClipTokenizer, DamagedVocabulariesMakeNone) {
    for (const std::string_view text :
         {"", "[]", "{}", R"({"encoder": {}})", R"({"merges": []})", R"({"encoder": [], "merges": []})",
          R"({"encoder": {"a": "1"}, "merges": []})", R"({"encoder": {"a": 2147483648}, "merges": []})",
          R"({"encoder": {"a": 1.5}, "merges": []})", R"({"encoder": {}, "merges": [1]})",
          R"({"encoder": {}, "merges": [)"}) {
        EXPECT_FALSE(CLIPTokenizer::make(asBytes(text), language, characters)) << text;
    }
    EXPECT_TRUE(CLIPTokenizer::make(asBytes(R"({"encoder": {}, "merges": ["ab", "a b c", ""]})"), language,
                                    characters));
}

TEST_F(ClipTokenizer, TheCacheGivesWhatTheMergesGiveOnSeveralThreads) {
    const auto tokenizer = make({{"a", "b"}, {"ab", "c</w>"}});
    const auto expected = tokenizer->tokenize("abc abd");
    std::vector<std::thread> threads;
    std::atomic<int> wrong = 0;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, thread] {
            for (int round = 0; round < 1500; ++round) {
                tokenizer->tokenize("w" + std::to_string(thread) + std::string(round % 40, 'x') +
                                    std::string(round / 40, 'y'));
                if (tokenizer->tokenize("abc abd") != expected) ++wrong;
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace kelvaris
