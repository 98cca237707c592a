// Whatever happens in whatever order, what the user did is in memory and on the disk at each quiet moment.

#include <gtest/gtest.h>

#include <cstdlib>

#include "base/text.h"
#include "random_life.h"

namespace kelvaris {
namespace {

using testing::Act;
using testing::RandomLife;

std::string failureOf(const std::vector<Act>& acts) { return RandomLife().live(acts); }

/// What went wrong, but for the numbers in it.
std::string kindOf(std::string failure) {
    std::erase_if(failure, [](char c) { return c >= '0' && c <= '9'; });
    return failure;
}

/// The acts without all that is not needed for them to fail in the same way.
std::vector<Act> shortest(std::vector<Act> acts) {
    RandomLife whole;
    const std::string kind = kindOf(whole.live(acts));
    const auto fails = [&kind](const std::vector<Act>& some) { return kindOf(failureOf(some)) == kind; };
    std::vector<Act> done;
    for (const std::size_t place : whole.done()) done.push_back(acts[place]);
    if (fails(done)) acts = std::move(done);
    for (std::size_t length = acts.size() / 2; length > 0; length = length == 1 ? 0 : (length + 1) / 2) {
        for (std::size_t start = 0; start < acts.size();) {
            std::vector<Act> fewer = acts;
            const auto first = fewer.begin() + static_cast<std::ptrdiff_t>(start);
            fewer.erase(first, first + static_cast<std::ptrdiff_t>(std::min(length, acts.size() - start)));
            if (fails(fewer)) {
                acts = std::move(fewer);
            } else {
                start += length;
            }
        }
    }
    return acts;
}

std::size_t wantedSteps() {
    const char* text = std::getenv("KELVARIS_STEPS");
    const auto number = text ? parseInteger(text) : std::nullopt;
    return number && *number > 0 ? static_cast<std::size_t>(*number) : 2000;
}

/// KELVARIS_STEPS asks for more steps, KELVARIS_SEED for other ones.
std::uint32_t firstSeed() {
    const char* text = std::getenv("KELVARIS_SEED");
    const auto number = text ? parseInteger(text) : std::nullopt;
    return static_cast<std::uint32_t>(number.value_or(1));
}

TEST(RandomLife, NothingThatTheUserDidIsLost) {
    constexpr std::size_t stepsOfOneLife = 250;
    std::uint32_t seed = firstSeed();
    for (std::size_t steps = 0; steps < wantedSteps(); steps += stepsOfOneLife, ++seed) {
        const auto acts = RandomLife::acts(seed, stepsOfOneLife);
        const std::string failure = failureOf(acts);
        if (failure.empty()) continue;
        RandomLife life;
        const std::string reason = life.live(shortest(acts));
        ADD_FAILURE() << "Seed " << seed << ": " << failure << "\nThe shortest way there:\n  "
                      << joined(life.history(), "\n  ") << "\n  => " << reason;
        return;
    }
}

}  // namespace
}  // namespace kelvaris
