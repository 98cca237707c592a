#pragma once

#include <set>

#include "discovery/discovery_library.h"
#include "fake_embedding_models.h"
#include "library_world.h"
#include "platform_fake/fake_word_similarity.h"

namespace kelvaris::testing {

/// A library of rolls as the searches see it, on a machine in memory.
struct DiscoveryWorld : LibraryWorld, DiscoveryLibrary {
    std::vector<RollPointer> rolls() const override { return all; }
    RollPointer activeRoll() const override { return active; }
    void navigate(RollID roll, std::optional<PhotoID> photo) override { visits.emplace_back(roll, photo); }
    void scheduleSave(FilmRoll& roll) override { saved.insert(roll.id()); }
    void loadThumbnails(const FilmRoll&, const PhotoList& photos) override {
        for (const PhotoPointer& photo : photos) thumbnailsOf.push_back(photo->filename());
    }

    /// A roll with photos "<name>-1.jpg" and on, known but not read from disk.
    RollPointer addRoll(const std::string& name, int photoCount) {
        const Path folder("/home/user/scans/" + name);
        auto roll = FilmRoll::make(folder, RollID::random(), services);
        PhotoList photos;
        for (int i = 1; i <= photoCount; ++i) {
            photos.push_back(std::make_shared<PhotoItem>(folder / fmt::format("{}-{}.jpg", name, i), i));
        }
        roll->setPhotos(photos);
        roll->setNeedsFullActivation(true);
        all.push_back(roll);
        if (!active) active = roll;
        return roll;
    }

    /// The next moment at which something else could happen: all that the main thread has to do, or one
    /// operation of a worker.
    void step() {
        if (machine.main.nextDue()) {
            machine.main.drain();
        } else {
            machine.queues.queue(queue->name())->runNext();
        }
    }

    std::vector<RollPointer> all;
    RollPointer active;
    std::vector<std::pair<RollID, std::optional<PhotoID>>> visits;
    std::set<RollID> saved;
    std::vector<std::string> thumbnailsOf;
    std::unique_ptr<OperationQueue> queue = machine.queues.makeQueue("discovery", 1);
};

}  // namespace kelvaris::testing
