#include "advisor/recommendation_engine.h"

#include <fmt/format.h>

#include "base/text.h"

namespace kelvaris {

namespace {

bool fits(const SignalSentence& row, const RecommendationSignal& signal, const ShootingProfile& profile) {
    return row.kind == signal.kind && (row.to.empty() || row.to == signal.to) &&
           (row.from.empty() || row.from == signal.from) && (row.when == nullptr || row.when(profile));
}

std::string filled(std::string_view text, const RecommendationSignal& signal, const SentenceFacts& facts) {
    return fmt::format(fmt::runtime(text), fmt::arg("to", signal.to), fmt::arg("from", signal.from),
                       fmt::arg("name", facts.name), fmt::arg("iso", facts.iso),
                       fmt::arg("rolls", facts.profile.totalRolls));
}

}  // namespace

Opener pickUniqueOpener(std::span<const RecommendationSignal> signals, std::set<std::string>& used) {
    for (std::size_t i = 0; i < signals.size(); ++i) {
        if (used.insert(signalKey(signals[i])).second) return {i, false};
    }
    return {0, true};
}

std::string sentenceFor(std::span<const SignalSentence> table, const RecommendationSignal& signal,
                        const SentenceFacts& facts, bool wasUsed) {
    for (const SignalSentence& row : table) {
        if (!fits(row, signal, facts.profile)) continue;
        return filled(wasUsed && !row.textWhenUsed.empty() ? row.textWhenUsed : row.text, signal, facts);
    }
    return {};
}

std::string buildReasoning(std::span<const RecommendationSignal> signals, std::string_view vibe,
                           std::span<const SignalSentence> openers,
                           std::span<const SignalSentence> secondaryLines, const SentenceFacts& facts,
                           std::set<std::string>& used) {
    std::vector<std::string> lines;
    const auto add = [&lines](std::string line) {
        if (!line.empty() && std::ranges::find(lines, line) == lines.end()) lines.push_back(std::move(line));
    };
    if (!signals.empty()) {
        const Opener opener = pickUniqueOpener(signals, used);
        add(sentenceFor(openers, signals[opener.index], facts, opener.wasUsed));
        for (std::size_t i = 0; i < signals.size(); ++i) {
            if (i != opener.index) add(sentenceFor(secondaryLines, signals[i], facts));
        }
    }
    if (lines.size() < reasoningLineLimit) add(std::string(vibe));
    if (lines.size() > reasoningLineLimit) lines.resize(reasoningLineLimit);
    return joined(lines, " ");
}

}  // namespace kelvaris
