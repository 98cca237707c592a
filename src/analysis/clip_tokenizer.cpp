#include "analysis/clip_tokenizer.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <queue>

#include "base/log.h"
#include "base/text.h"

namespace kelvaris {

namespace {

constexpr std::string_view endOfWord = "</w>";
constexpr std::array<std::string_view, 2> specialTokens{"<|startoftext|>", "<|endoftext|>"};
constexpr std::array<std::string_view, 7> contractions{"'s", "'t", "'re", "'ve", "'m", "'ll", "'d"};
constexpr std::size_t cacheLimit = 2048;
constexpr std::size_t longestCachedWord = 256;
constexpr std::int64_t maximumVocabulary = 64 * 1024 * 1024;

/// The code point that stands for a byte: printable bytes for themselves, the others from 256 on.
constexpr std::array<char16_t, 256> byteEncoder = [] {
    std::array<char16_t, 256> table{};
    char16_t next = 256;
    for (int byte = 0; byte < 256; ++byte) {
        const bool isPrintable = (byte >= 33 && byte <= 126) || (byte >= 161 && byte <= 172) || byte >= 174;
        table[static_cast<std::size_t>(byte)] = isPrintable ? static_cast<char16_t>(byte) : next++;
    }
    return table;
}();

/// All of them lie below U+0800.
void appendUtf8(std::string& text, char16_t character) {
    if (character < 0x80) {
        text.push_back(static_cast<char>(character));
    } else {
        text.push_back(static_cast<char>(0xC0 | character >> 6));
        text.push_back(static_cast<char>(0x80 | (character & 0x3F)));
    }
}

std::uint64_t pairKey(std::int32_t first, std::int32_t second) {
    return static_cast<std::uint64_t>(static_cast<std::uint32_t>(first)) << 32 |
           static_cast<std::uint32_t>(second);
}

bool isAscii(std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

}  // namespace

CLIPTokenizer::CLIPTokenizer(const Language& language, const Characters& characters)
    : language_(language), characters_(characters) {
    for (std::size_t byte = 0; byte < 256; ++byte) {
        std::string text;
        appendUtf8(text, byteEncoder[byte]);
        byteSymbol_[byte] = intern(text);
        lastByteSymbol_[byte] = intern(text + std::string(endOfWord));
    }
}

CLIPTokenizer::Symbol CLIPTokenizer::intern(std::string_view text) {
    if (const auto found = symbolOf_.find(text); found != symbolOf_.end()) return found->second;
    const auto symbol = static_cast<Symbol>(textOf_.size());
    symbolOf_.emplace(text, symbol);
    textOf_.emplace_back(text);
    idOf_.emplace_back();
    return symbol;
}

std::unique_ptr<CLIPTokenizer> CLIPTokenizer::make(ByteView vocabulary, const Language& language,
                                                   const Characters& characters) {
    const auto root = nlohmann::json::parse(vocabulary.begin(), vocabulary.end(), nullptr, false);
    if (!root.is_object()) return nullptr;
    const auto encoder = root.find("encoder"), merges = root.find("merges");
    if (encoder == root.end() || merges == root.end() || !encoder->is_object() || !merges->is_array()) {
        return nullptr;
    }
    std::unique_ptr<CLIPTokenizer> tokenizer(new CLIPTokenizer(language, characters));
    for (const auto& [text, id] : encoder->items()) {
        const bool isSmall = id.is_number_unsigned()
                                 ? id.get<std::uint64_t>() <= INT32_MAX
                                 : id.is_number_integer() && id.get<std::int64_t>() >= INT32_MIN;
        if (!isSmall) return nullptr;
        tokenizer->idOf_[static_cast<std::size_t>(tokenizer->intern(text))] = id.get<std::int32_t>();
    }
    std::int32_t rank = 0;
    for (const auto& entry : *merges) {
        if (!entry.is_string()) return nullptr;
        const auto& pair = entry.get_ref<const std::string&>();
        const std::size_t blank = pair.find(' ');
        // An entry that is no pair matches nothing, but keeps its rank.
        if (blank != std::string::npos && pair.find(' ', blank + 1) == std::string::npos) {
            const Symbol first = tokenizer->intern(std::string_view(pair).substr(0, blank));
            const Symbol second = tokenizer->intern(std::string_view(pair).substr(blank + 1));
            const Symbol joined = tokenizer->intern(pair.substr(0, blank) + pair.substr(blank + 1));
            tokenizer->merges_[pairKey(first, second)] = Merge{rank, joined};
        }
        ++rank;
    }
    return tokenizer;
}

std::unique_ptr<CLIPTokenizer> CLIPTokenizer::load(const Files& files, const Path& path,
                                                   const Language& language, const Characters& characters) {
    const auto bytes = files.read(path, maximumVocabulary);
    if (!bytes) return nullptr;
    auto tokenizer = make(*bytes, language, characters);
    if (!tokenizer) log::error("CLIP", "{} is no tokenizer vocabulary", path.string());
    return tokenizer;
}

std::string CLIPTokenizer::encodeBytes(std::string_view word) {
    std::string encoded;
    for (const char c : word) appendUtf8(encoded, byteEncoder[static_cast<unsigned char>(c)]);
    return encoded;
}

CharacterClass CLIPTokenizer::classAt(std::string_view text, std::size_t& length) const {
    const auto first = static_cast<unsigned char>(text.front());
    if (first < 0x80) {
        length = 1;
        if ((first >= 'a' && first <= 'z') || (first >= 'A' && first <= 'Z')) return CharacterClass::letter;
        if (first >= '0' && first <= '9') return CharacterClass::number;
        return first == ' ' || (first >= '\t' && first <= '\r') ? CharacterClass::space
                                                                : CharacterClass::other;
    }
    length = utf8SequenceLength(text);
    char32_t point = first & (0x7Fu >> length);
    for (std::size_t index = 1; index < length; ++index) {
        point = point << 6 | (static_cast<unsigned char>(text[index]) & 0x3F);
    }
    return characters_.classOf(point);
}

/// The next token, contraction, run of letters, single digit or run of signs; blanks between are dropped.
/// Empty at the end of the text.
std::string_view CLIPTokenizer::nextPiece(std::string_view& rest) const {
    const auto take = [&](std::size_t length) {
        const std::string_view piece = rest.substr(0, length);
        rest.remove_prefix(length);
        return piece;
    };
    while (!rest.empty()) {
        if (rest.front() == '<') {
            for (const std::string_view token : specialTokens) {
                if (rest.starts_with(token)) return take(token.size());
            }
        }
        if (rest.front() == '\'') {
            for (const std::string_view contraction : contractions) {
                if (rest.starts_with(contraction)) return take(contraction.size());
            }
        }
        std::size_t end = 0;
        const CharacterClass kind = classAt(rest, end);
        if (kind == CharacterClass::number) return take(end);
        if (kind == CharacterClass::space) {
            rest.remove_prefix(end);
            continue;
        }
        for (std::size_t length = 0; end < rest.size() && classAt(rest.substr(end), length) == kind;) {
            end += length;
        }
        return take(end);
    }
    return {};
}

/// Merges the strongest pair everywhere, from left to right, again and again. The waiting pairs stand in
/// a heap, so that a word of a megabyte takes no longer for each of its letters than a short one.
std::vector<CLIPTokenizer::Symbol> CLIPTokenizer::symbols(std::string_view word) const {
    struct Node {
        Symbol symbol;
        std::int32_t before, after;
    };
    struct Candidate {
        std::int32_t rank, at;
        Symbol first, second, joined;
        bool operator>(const Candidate& other) const {
            return std::pair(rank, at) > std::pair(other.rank, other.at);
        }
    };
    std::vector<Node> nodes;
    nodes.reserve(word.size());
    for (std::size_t index = 0; index < word.size(); ++index) {
        const bool isLast = index + 1 == word.size();
        const auto byte = static_cast<unsigned char>(word[index]);
        const auto at = static_cast<std::int32_t>(index);
        nodes.push_back({isLast ? lastByteSymbol_[byte] : byteSymbol_[byte], at - 1, isLast ? -1 : at + 1});
    }
    const auto node = [&](std::int32_t at) -> Node& { return nodes[static_cast<std::size_t>(at)]; };

    std::priority_queue<Candidate, std::vector<Candidate>, std::greater<>> waiting;
    const auto consider = [&](std::int32_t at) {
        if (at < 0 || node(at).after < 0) return;
        const Symbol first = node(at).symbol, second = node(node(at).after).symbol;
        if (const auto merge = merges_.find(pairKey(first, second)); merge != merges_.end()) {
            waiting.push({merge->second.rank, at, first, second, merge->second.joined});
        }
    };
    for (std::size_t index = 0; index + 1 < word.size(); ++index) consider(static_cast<std::int32_t>(index));

    std::vector<std::int32_t> merged;
    while (!waiting.empty()) {
        // One round: every place of one pair. What becomes possible by it waits for the next round.
        merged.clear();
        for (const std::int32_t rank = waiting.top().rank; !waiting.empty() && waiting.top().rank == rank;) {
            const Candidate candidate = waiting.top();
            waiting.pop();
            Node& left = node(candidate.at);
            const bool isCurrent = left.symbol == candidate.first && left.after >= 0 &&
                                   node(left.after).symbol == candidate.second;
            if (!isCurrent) continue;
            Node& right = node(left.after);
            left.symbol = candidate.joined;
            right.symbol = unknown;
            left.after = right.after;
            if (left.after >= 0) node(left.after).before = candidate.at;
            merged.push_back(candidate.at);
        }
        for (const std::int32_t at : merged) {
            if (node(at).symbol == unknown) continue;
            consider(node(at).before);
            consider(at);
        }
    }
    std::vector<Symbol> result;
    for (std::int32_t at = nodes.empty() ? -1 : 0; at >= 0; at = node(at).after)
        result.push_back(node(at).symbol);
    return result;
}

std::vector<std::string> CLIPTokenizer::bpe(std::string_view word) const {
    if (std::ranges::find(specialTokens, word) != specialTokens.end()) return {std::string(word)};
    std::vector<std::string> tokens;
    for (const Symbol symbol : symbols(word)) tokens.push_back(textOf_[static_cast<std::size_t>(symbol)]);
    return tokens;
}

std::vector<std::int32_t> CLIPTokenizer::ids(std::string_view word) const {
    std::vector<std::int32_t> result;
    const auto append = [&](Symbol symbol) {
        if (const auto id = idOf_[static_cast<std::size_t>(symbol)]) result.push_back(*id);
    };
    if (std::ranges::find(specialTokens, word) != specialTokens.end()) {
        if (const auto found = symbolOf_.find(word); found != symbolOf_.end()) append(found->second);
    } else {
        for (const Symbol symbol : symbols(word)) append(symbol);
    }
    return result;
}

CLIPTokenizer::Tokens CLIPTokenizer::tokenize(std::string_view text) const {
    std::string normal;
    if (isAscii(text)) {
        normal = asciiLowercased(text);
    } else {
        normal = language_.lowercased(language_.composed(replacingInvalidUtf8(text)));
    }
    Tokens tokens{startOfText};
    std::size_t count = 1;
    const auto append = [&](const std::vector<std::int32_t>& wordIds) {
        for (const std::int32_t id : wordIds) {
            if (count > maximumTextTokens) return;
            tokens[count++] = id;
        }
    };
    std::string_view rest = normal;
    while (count <= maximumTextTokens) {
        const std::string_view piece = nextPiece(rest);
        if (piece.empty()) break;
        {
            const std::lock_guard guard(cacheLock_);
            if (const auto found = cache_.find(piece); found != cache_.end()) {
                append(found->second);
                continue;
            }
        }
        auto wordIds = ids(piece);
        append(wordIds);
        if (piece.size() > longestCachedWord) continue;
        const std::lock_guard guard(cacheLock_);
        if (cache_.size() >= cacheLimit) cache_.clear();
        cache_.insert_or_assign(std::string(piece), std::move(wordIds));
    }
    tokens[count] = endOfText;
    return tokens;
}

}  // namespace kelvaris
