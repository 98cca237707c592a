#pragma once

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "advisor/recommendation_signal.h"
#include "advisor/shooting_profile.h"
#include "base/uuid.h"
#include "vocabulary/gear_recommendations.h"

/// One engine for cameras and film stocks: it scores entries by a table of rules, picks a varied few of
/// the best, and tells why by tables of sentences. What differs between the halves is data (GearTables).
namespace kelvaris {

/// An entry with the lower-cased names that rules compare.
template <class Entry>
struct Candidate {
    Entry entry;
    std::string makerKey;     ///< make or brand
    std::string nameKey;      ///< model or name
    std::string fullNameKey;  ///< both, joined by a blank
};

/// Points for an entry that suits a photographer.
template <class Entry>
struct RecommendationRule {
    bool (*applies)(const ShootingProfile& profile, const Candidate<Entry>& candidate);
    int points;
    std::optional<RecommendationSignal::Kind> signal;
    std::string_view to = {};                      ///< what the signal points to, when it is fixed,
    const std::string Entry::*toMember = nullptr;  ///< or where the entry says it
    std::string_view from = {};
};

/// A sentence for a signal. The first row that fits is taken. In the texts "{to}" and "{from}" stand for
/// what the signal points to and comes from, "{name}" for the name or model, "{iso}" for the box speed
/// and "{rolls}" for the number of rolls.
struct SignalSentence {
    RecommendationSignal::Kind kind;
    std::string_view text;
    std::string_view to = {};    ///< fits only signals that point to it; empty fits all
    std::string_view from = {};  ///< likewise
    bool (*when)(const ShootingProfile& profile) = nullptr;
    std::string_view textWhenUsed = {};  ///< when an earlier item of the run opened with the signal
};

/// All that tells one half of the advice from the other.
template <class Entry>
struct GearTables {
    std::span<const RecommendationRule<Entry>> rules;
    std::span<const SignalSentence> openers;
    std::span<const SignalSentence> secondaryLines;
    /// What the photographer has used already is never offered.
    bool (*isUsed)(const ShootingProfile& profile, const Candidate<Entry>& candidate);
    /// The two respects in which a selection varies.
    std::array<const std::string Entry::*, 2> dimensions;
    const std::string Entry::*name;
    int (*iso)(const Entry& entry);
};

const GearTables<CameraRecommendationEntry>& cameraTables();
const GearTables<FilmRecommendationEntry>& filmTables();

inline constexpr std::size_t recommendationLimit = 3;
inline constexpr std::size_t reasoningLineLimit = 3;

/// An entry that scored, with the signals of the rules that fired, in the order of the rules.
template <class Entry>
struct ScoredEntry {
    const Candidate<Entry>* candidate;
    int score;
    std::vector<RecommendationSignal> signals;
};

/// Which signal an item opens with, and whether an earlier item of the run did so too.
struct Opener {
    std::size_t index;
    bool wasUsed;
};

/// The first signal whose key is not used yet, which becomes used; the first signal when all are.
/// @pre signals is not empty
Opener pickUniqueOpener(std::span<const RecommendationSignal> signals, std::set<std::string>& used);

/// What the sentences are filled with.
struct SentenceFacts {
    std::string_view name;
    int iso;
    const ShootingProfile& profile;
};

/// The filled text of the first row that fits the signal; empty when none does.
std::string sentenceFor(std::span<const SignalSentence> table, const RecommendationSignal& signal,
                        const SentenceFacts& facts, bool wasUsed = false);

/// The opener, the lines of the other signals, and the vibe while there is room: at most three sentences.
std::string buildReasoning(std::span<const RecommendationSignal> signals, std::string_view vibe,
                           std::span<const SignalSentence> openers,
                           std::span<const SignalSentence> secondaryLines, const SentenceFacts& facts,
                           std::set<std::string>& used);

/// The entry's score; nothing when it was used already or nothing speaks for it.
template <class Entry>
std::optional<ScoredEntry<Entry>> scored(const Candidate<Entry>& candidate, const ShootingProfile& profile,
                                         const GearTables<Entry>& tables) {
    if (tables.isUsed(profile, candidate)) return std::nullopt;
    ScoredEntry<Entry> result{&candidate, 0, {}};
    for (const RecommendationRule<Entry>& rule : tables.rules) {
        if (!rule.applies(profile, candidate)) continue;
        result.score += rule.points;
        if (!rule.signal) continue;
        const std::string to = rule.toMember ? candidate.entry.*rule.toMember : std::string(rule.to);
        result.signals.push_back({*rule.signal, to, std::string(rule.from)});
    }
    if (result.score <= 0) return std::nullopt;
    return result;
}

/// The first items up to the limit, without those of which two stand already in every dimension;
/// these fill what room is left.
template <class Item, class... Dimension>
std::vector<Item> selectDiverse(const std::vector<Item>& sorted, std::size_t limit,
                                const Dimension&... dimensions) {
    constexpr int enough = 2;
    std::array<std::map<std::string, int>, sizeof...(Dimension)> counts;
    std::vector<Item> taken;
    std::vector<const Item*> skipped;
    for (const Item& item : sorted) {
        if (taken.size() == limit) return taken;
        const std::array<std::string, sizeof...(Dimension)> values{dimensions(item)...};
        bool isCommon = true;
        for (std::size_t i = 0; i < values.size(); ++i) isCommon = isCommon && counts[i][values[i]] >= enough;
        if (isCommon) {
            skipped.push_back(&item);
            continue;
        }
        for (std::size_t i = 0; i < values.size(); ++i) ++counts[i][values[i]];
        taken.push_back(item);
    }
    for (const Item* item : skipped) {
        if (taken.size() == limit) break;
        taken.push_back(*item);
    }
    return taken;
}

/// The best few entries for the photographer, each with its reasons.
template <class Entry>
std::vector<Recommendation<Entry>> recommend(const std::vector<Candidate<Entry>>& candidates,
                                             const ShootingProfile& profile,
                                             const GearTables<Entry>& tables) {
    std::vector<ScoredEntry<Entry>> items;
    for (const Candidate<Entry>& candidate : candidates) {
        if (auto item = scored(candidate, profile, tables)) items.push_back(*std::move(item));
    }
    std::ranges::stable_sort(items, std::greater<>(), &ScoredEntry<Entry>::score);
    const auto dimension = [&tables](std::size_t which) {
        return [member = tables.dimensions[which]](const ScoredEntry<Entry>& item) {
            return item.candidate->entry.*member;
        };
    };
    std::vector<Recommendation<Entry>> recommendations;
    std::set<std::string> used;
    for (const auto& item : selectDiverse(items, recommendationLimit, dimension(0), dimension(1))) {
        const Entry& entry = item.candidate->entry;
        const SentenceFacts facts{entry.*tables.name, tables.iso(entry), profile};
        recommendations.push_back(
            {Uuid::random().text(), entry,
             buildReasoning(item.signals, entry.vibe, tables.openers, tables.secondaryLines, facts, used)});
    }
    return recommendations;
}

/// Whether the list has the word.
inline bool has(const std::vector<std::string>& words, std::string_view word) {
    return std::ranges::find(words, word) != words.end();
}

/// Whether there are values and each of them is that one.
inline bool areAll(const std::set<std::string>& values, std::string_view value) {
    return values.size() == 1 && *values.begin() == value;
}

}  // namespace kelvaris
