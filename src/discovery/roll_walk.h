#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "base/main_queue.h"
#include "library/film_roll.h"

namespace kelvaris {

/// Visits rolls on the main thread a few thousand photos at a time, so that taking values of a whole
/// library leaves the thread free in between. The first part runs at once; rolls that go meanwhile are
/// left out. Main thread.
/// @param visit takes a roll; false ends the walk, and done is not called. Must notice by itself when its
///        owner is gone.
inline void walkRolls(MainQueue& main, const std::vector<RollPointer>& rolls,
                      std::function<bool(const RollPointer&)> visit, std::function<void()> done) {
    static constexpr std::size_t photosPerTurn = 4000;

    struct Walk {
        MainQueue& main;
        std::vector<std::weak_ptr<FilmRoll>> rolls;
        std::function<bool(const RollPointer&)> visit;
        std::function<void()> done;
        std::size_t next = 0;

        static void turn(const std::shared_ptr<Walk>& walk) {
            for (std::size_t photos = 0; walk->next < walk->rolls.size();) {
                if (photos >= photosPerTurn) {
                    walk->main.post([walk] { turn(walk); });
                    return;
                }
                const RollPointer roll = walk->rolls[walk->next++].lock();
                if (!roll) continue;
                photos += roll->photos().size() + 1;
                if (!walk->visit(roll)) return;
            }
            walk->done();
        }
    };
    Walk::turn(
        std::make_shared<Walk>(Walk{main, {rolls.begin(), rolls.end()}, std::move(visit), std::move(done)}));
}

}  // namespace kelvaris
