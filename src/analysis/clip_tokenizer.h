#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/bytes.h"
#include "base/path.h"
#include "platform/characters.h"
#include "platform/files.h"
#include "platform/language.h"

namespace kelvaris {

/// Turns a sentence into the token ids that the CLIP text encoder takes: byte-pair encoding over the
/// published vocabulary. Any thread; only the cache changes after creation, under its own lock.
class CLIPTokenizer {
public:
    static constexpr std::int32_t startOfText = 49406;
    static constexpr std::int32_t endOfText = 49407;
    static constexpr std::int32_t padding = 0;
    static constexpr std::size_t contextLength = 77;
    static constexpr std::size_t maximumTextTokens = 75;
    static constexpr std::string_view fileName = "clip_tokenizer.json";

    using Tokens = std::array<std::int32_t, contextLength>;

    /// @param vocabulary a JSON object of "encoder" (token text to id) and "merges" (pairs "first second",
    ///        the earlier the stronger).
    /// @return nothing when the JSON is not of that form, or an id is no 32-bit number.
    static std::unique_ptr<CLIPTokenizer> make(ByteView vocabulary, const Language& language,
                                               const Characters& characters);
    /// The same from a file; nothing, too, when it cannot be read.
    static std::unique_ptr<CLIPTokenizer> load(const Files& files, const Path& path, const Language& language,
                                               const Characters& characters);

    /// Start, at most 75 ids of the text, end, zeros.
    Tokens tokenize(std::string_view text) const;

    /// The word's bytes as the printable characters that stand for them in the vocabulary.
    static std::string encodeBytes(std::string_view word);

    /// The tokens of one word as the vocabulary spells them, the last one ending in "</w>". Without cache.
    /// @param word as it stands in the text, not yet through encodeBytes.
    std::vector<std::string> bpe(std::string_view word) const;

private:
    using Symbol = std::int32_t;
    static constexpr Symbol unknown = -1;

    struct Merge {
        std::int32_t rank;
        Symbol joined;
    };
    struct TextHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
    };
    template <class Value>
    using TextMap = std::unordered_map<std::string, Value, TextHash, std::equal_to<>>;

    CLIPTokenizer(const Language& language, const Characters& characters);

    Symbol intern(std::string_view text);
    std::string_view nextPiece(std::string_view& rest) const;
    CharacterClass classAt(std::string_view text, std::size_t& length) const;
    std::vector<Symbol> symbols(std::string_view word) const;
    std::vector<std::int32_t> ids(std::string_view word) const;

    const Language& language_;
    const Characters& characters_;
    TextMap<Symbol> symbolOf_;
    std::vector<std::string> textOf_;                          ///< by symbol
    std::vector<std::optional<std::int32_t>> idOf_;            ///< by symbol
    std::unordered_map<std::uint64_t, Merge> merges_;          ///< by the pair of symbols
    std::array<Symbol, 256> byteSymbol_{}, lastByteSymbol_{};  ///< of a byte within and at the end of a word

    mutable std::mutex cacheLock_;
    mutable TextMap<std::vector<std::int32_t>> cache_;
};

}  // namespace kelvaris
