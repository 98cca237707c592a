#include "platform_linux/wordnet_similarity.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <mutex>
#include <sstream>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/log.h"

namespace kelvaris {
namespace {

constexpr std::array senseWeights{1.0F, 0.5F};
constexpr std::size_t vectorLimit = 20'000;  ///< words whose vectors are kept

std::optional<std::string> contentsOf(const Path& path) {
    std::ifstream file(path.string(), std::ios::binary);
    if (!file) return std::nullopt;
    std::ostringstream text;
    text << file.rdbuf();
    return std::move(text).str();
}

/// The fields of one line, taken from the left. A missing or malformed field makes it bad.
class Fields {
public:
    explicit Fields(std::string_view line) : rest_(line) {}

    std::string_view text() {
        rest_.remove_prefix(std::min(rest_.find_first_not_of(' '), rest_.size()));
        const auto field = rest_.substr(0, rest_.find(' '));
        rest_.remove_prefix(field.size());
        isGood_ = isGood_ && !field.empty();
        return field;
    }
    std::uint32_t number(int base = 10) {
        const auto field = text();
        std::uint32_t value = 0;
        const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), value, base);
        isGood_ = isGood_ && error == std::errc() && end == field.data() + field.size();
        return value;
    }
    void skip(std::uint32_t count) {
        while (isGood_ && count-- > 0) text();
    }
    bool isGood() const { return isGood_; }

private:
    std::string_view rest_;
    bool isGood_ = true;
};

/// Calls for each line that is no part of the licence.
template <class Action>
void forEachEntry(std::string_view text, Action action) {
    while (!text.empty()) {
        const auto end = std::min(text.find('\n'), text.size());
        const auto line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (!line.empty() && line.front() != ' ') action(line);
    }
}

/// Concepts of one part of speech, each with what it is a kind of.
class Concepts {
public:
    using Number = std::uint32_t;

    bool load(const Path& folder, const std::string& partOfSpeech) {
        const auto data = contentsOf(folder / ("data." + partOfSpeech));
        const auto index = contentsOf(folder / ("index." + partOfSpeech));
        if (!data || !index) return false;
        readConcepts(*data);
        readWords(*index);
        weigh();
        return !parents_.empty() && !senses_.empty();
    }

    const std::vector<Number>* senses(const std::string& word) const {
        const auto found = senses_.find(word);
        return found == senses_.end() ? nullptr : &found->second;
    }

    /// The concept and everything that it is a kind of, each once.
    void closure(Number kind, std::vector<Number>& closure) const {
        closure.assign(1, kind);
        for (std::size_t i = 0; i < closure.size(); ++i) {
            for (const Number parent : parents_[closure[i]]) {
                if (std::find(closure.begin(), closure.end(), parent) == closure.end())
                    closure.push_back(parent);
            }
        }
    }

    float weight(Number kind) const { return weights_[kind]; }
    Number count() const { return static_cast<Number>(parents_.size()); }

private:
    void readConcepts(std::string_view data) {
        std::vector<std::vector<std::uint32_t>> parentOffsets;
        forEachEntry(data, [&](std::string_view line) {
            Fields fields(line.substr(0, line.find('|')));
            const auto offset = fields.number();
            fields.text();  // file of the lexicographer
            const std::string_view type = fields.text();
            fields.skip(2 * fields.number(16));  // words with their numbers
            std::vector<std::uint32_t> parents;
            for (std::uint32_t pointers = fields.number(); fields.isGood() && pointers > 0; --pointers) {
                const auto symbol = fields.text();
                const auto target = fields.number();
                const auto targetType = fields.text();
                fields.text();  // which words of the two it joins
                if ((symbol == "@" || symbol == "@i") && targetType == type) parents.push_back(target);
            }
            if (!fields.isGood()) return;
            numbers_.emplace(offset, static_cast<Number>(parentOffsets.size()));
            parentOffsets.push_back(std::move(parents));
        });
        parents_.resize(parentOffsets.size());
        for (std::size_t i = 0; i < parentOffsets.size(); ++i) {
            for (const auto offset : parentOffsets[i]) {
                if (const auto found = numbers_.find(offset); found != numbers_.end()) {
                    parents_[i].push_back(found->second);
                }
            }
        }
    }

    void readWords(std::string_view index) {
        forEachEntry(index, [&](std::string_view line) {
            Fields fields(line);
            const auto word = fields.text();
            fields.text();  // part of speech
            const auto count = fields.number();
            fields.skip(fields.number());  // symbols of pointers
            fields.skip(2);                // counts of senses
            std::vector<Number> senses;
            for (std::uint32_t i = 0; fields.isGood() && i < count && i < senseWeights.size(); ++i) {
                if (const auto found = numbers_.find(fields.number()); found != numbers_.end()) {
                    senses.push_back(found->second);
                }
            }
            if (fields.isGood() && !senses.empty()) senses_.emplace(word, std::move(senses));
        });
        numbers_.clear();
    }

    void weigh() {
        std::vector<std::uint32_t> kinds(parents_.size(), 0);
        std::vector<Number> above;
        for (Number kind = 0; kind < count(); ++kind) {
            closure(kind, above);
            for (std::size_t i = 1; i < above.size(); ++i) ++kinds[above[i]];
        }
        weights_.resize(parents_.size());
        const double all = std::log(std::max<double>(2.0, static_cast<double>(parents_.size())));
        for (Number kind = 0; kind < count(); ++kind) {
            const double content = 1.0 - std::log(1.0 + kinds[kind]) / all;
            weights_[kind] = static_cast<float>(content * content);
        }
    }

    std::unordered_map<std::uint32_t, Number> numbers_;  ///< by offset in the file, while it is read
    std::vector<std::vector<Number>> parents_;
    std::vector<float> weights_;
    std::unordered_map<std::string, std::vector<Number>> senses_;
};

struct Ending {
    std::string_view inflected;
    std::string_view base;
};

/// Of nouns and verbs; tried in order.
constexpr std::array endings{
    Ending{"s", ""},   Ending{"ies", "y"}, Ending{"es", ""},  Ending{"men", "man"},
    Ending{"ing", ""}, Ending{"ing", "e"}, Ending{"ed", "e"}, Ending{"ed", ""},
};

}  // namespace

class WordNetSimilarity::Words {
public:
    struct Entry {
        std::uint32_t kind;
        float weight;
    };
    /// Sorted by concept, of length 1; empty for an unknown word.
    using Vector = std::shared_ptr<const std::vector<Entry>>;

    bool load(const Path& folder) { return nouns_.load(folder, "noun") && verbs_.load(folder, "verb"); }

    Vector vector(std::string_view word) {
        std::string key(word.substr(0, 64));
        const std::lock_guard lock(mutex_);
        if (const auto found = vectors_.find(key); found != vectors_.end()) return found->second;
        if (vectors_.size() >= vectorLimit) vectors_.clear();
        Vector made = word.size() > 64 ? std::make_shared<std::vector<Entry>>() : make(baseForm(key));
        vectors_.emplace(std::move(key), made);
        return made;
    }

private:
    bool isKnown(const std::string& word) const { return nouns_.senses(word) || verbs_.senses(word); }

    std::string baseForm(const std::string& word) const {
        if (isKnown(word)) return word;
        for (const auto& [inflected, base] : endings) {
            if (!word.ends_with(inflected) || word.size() < inflected.size() + 2) continue;
            const std::string stem = word.substr(0, word.size() - inflected.size());
            if (isKnown(stem + std::string(base))) return stem + std::string(base);
            // "running", "stopped": the consonant is doubled
            const bool isDoubled = base.empty() && stem.size() > 2 && stem.back() == stem[stem.size() - 2];
            if (isDoubled && isKnown(stem.substr(0, stem.size() - 1))) return stem.substr(0, stem.size() - 1);
        }
        return word;
    }

    Vector make(const std::string& word) const {
        std::unordered_map<std::uint32_t, float> entries;
        add(nouns_, word, 0, 1.0F, entries);
        add(verbs_, word, nouns_.count(), 0.5F, entries);
        auto vector = std::make_shared<std::vector<Entry>>();
        double squares = 0.0;
        for (const auto& [kind, weight] : entries) {
            vector->push_back({kind, weight});
            squares += static_cast<double>(weight) * weight;
        }
        for (Entry& entry : *vector) entry.weight /= static_cast<float>(std::sqrt(squares));
        std::sort(vector->begin(), vector->end(),
                  [](const Entry& a, const Entry& b) { return a.kind < b.kind; });
        return vector;
    }

    static void add(const Concepts& concepts, const std::string& word, std::uint32_t firstNumber,
                    float weight, std::unordered_map<std::uint32_t, float>& entries) {
        const auto* senses = concepts.senses(word);
        if (!senses) return;
        std::vector<Concepts::Number> closure;
        for (std::size_t rank = 0; rank < senses->size(); ++rank) {
            concepts.closure((*senses)[rank], closure);
            for (const auto kind : closure) {
                float& entry = entries[firstNumber + kind];
                entry = std::max(entry, concepts.weight(kind) * senseWeights[rank] * weight);
            }
        }
    }

    Concepts nouns_;
    Concepts verbs_;
    std::mutex mutex_;
    std::unordered_map<std::string, Vector> vectors_;
};

WordNetSimilarity::WordNetSimilarity() : words_(std::make_unique<Words>()) {}
WordNetSimilarity::~WordNetSimilarity() = default;

bool WordNetSimilarity::load(const Path& folder) {
    const bool isGood = words_->load(folder);
    if (!isGood) log::info("Search", "No WordNet in {}: search works on substrings alone", folder.string());
    isLoaded_ = isGood;
    return isGood;
}

std::optional<double> WordNetSimilarity::distance(std::string_view a, std::string_view b) const {
    if (!isLoaded_) return std::nullopt;
    const auto first = words_->vector(a);
    const auto second = words_->vector(b);
    if (first->empty() || second->empty()) return std::nullopt;
    double cosine = 0.0;
    for (auto x = first->begin(), y = second->begin(); x != first->end() && y != second->end();) {
        if (x->kind == y->kind) {
            cosine += static_cast<double>(x++->weight) * y++->weight;
        } else if (x->kind < y->kind) {
            ++x;
        } else {
            ++y;
        }
    }
    return 1.0 - cosine;
}

}  // namespace kelvaris
