#pragma once

#include <map>
#include <set>

#include "analysis/embedding_ports.h"
#include "discovery/discovery_library.h"
#include "library_world.h"
#include "platform_fake/fake_word_similarity.h"

namespace kelvaris::testing {

/// The models, scripted: what they give for which file, and what they were asked.
class FakeImageEmbedder final : public ImageEmbedder {
public:
    bool isEnabled() override { return enabled; }
    bool load() override { return loads; }
    EmbeddingResult imageEmbedding(const Path& file, RotationAngle) override {
        asked.push_back(file.filename());
        if (const auto found = vectors.find(file.filename()); found != vectors.end()) {
            return std::optional(found->second);
        }
        return Unexpected(std::string("no picture"));
    }
    bool enabled = true;
    bool loads = true;
    std::map<std::string, std::vector<float>> vectors;
    std::vector<std::string> asked;
};

class FakeTextEmbedder final : public TextEmbedder {
public:
    bool isEnabled() override { return true; }
    bool load() override { return true; }
    EmbeddingResult textEmbedding(std::string_view text) override {
        asked.emplace_back(text);
        return answer;
    }
    EmbeddingResult answer = std::optional(std::vector{1.0F, 0.0F});
    std::vector<std::string> asked;
};

class FakeFaceFinder final : public FaceFinder {
public:
    bool isEnabled() override { return enabled; }
    bool load() override { return loads; }
    std::optional<std::vector<FaceRegion>> detectAndEmbed(const Path& file, int maxPixelSize,
                                                          RotationAngle) override {
        asked.push_back(file.filename());
        lastSize = maxPixelSize;
        const auto found = faces.find(file.filename());
        if (found == faces.end()) return std::nullopt;
        return found->second;
    }
    bool enabled = true;
    bool loads = true;
    int lastSize = 0;
    std::map<std::string, std::vector<FaceRegion>> faces;
    std::vector<std::string> asked;
};

/// A library of rolls as the searches see it, on a machine in memory.
struct DiscoveryWorld : LibraryWorld, DiscoveryLibrary {
    std::vector<RollPointer> rolls() const override { return all; }
    RollPointer activeRoll() const override { return active; }
    void navigate(RollID roll, std::optional<PhotoID> photo) override { visits.emplace_back(roll, photo); }
    void scheduleSave(FilmRoll& roll) override { saved.insert(roll.id()); }

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

    std::vector<RollPointer> all;
    RollPointer active;
    std::vector<std::pair<RollID, std::optional<PhotoID>>> visits;
    std::set<RollID> saved;
    std::unique_ptr<OperationQueue> queue = machine.queues.makeQueue("discovery", 1);
};

}  // namespace kelvaris::testing
