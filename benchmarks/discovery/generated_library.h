#pragma once

#include <cmath>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "discovery/face_grouping.h"
#include "discovery/search_vocabulary.h"
#include "discovery/searchable.h"

namespace kelvaris::benchmarks {

/// A large library in memory, always the same for the same size: rolls of 36 photos with a unit vector of
/// 512 floats, 30 of 1,500 tags of two words of the language, labels, a place and five colours each.
class GeneratedLibrary {
public:
    static constexpr std::size_t photosPerRoll = 36;
    static constexpr std::size_t tagsPerPhoto = 30;
    static constexpr std::size_t tagCount = 1500;
    static constexpr std::size_t dimension = 512;

    explicit GeneratedLibrary(std::size_t photoCount) {
        std::vector<std::string_view> terms;
        for (const LabelSearchTerms& row : labelSearchTerms()) terms.insert(terms.end(), row.terms);
        for (std::size_t i = 0; i < tagCount; ++i) {
            tags_.push_back(
                fmt::format("{}_{}", terms[i % terms.size()], terms[(i * 7 + i / 250) % terms.size()]));
        }
        for (std::size_t made = 0; made < photoCount;) {
            SearchableRoll roll{
                .id = RollID::random(), .context = {word(made), {}, word(made + 5), 400, {}}, .photos = {}};
            for (std::size_t i = 0; i < photosPerRoll && made < photoCount; ++i, ++made) {
                roll.photos.push_back(photo());
            }
            rolls.push_back(std::make_shared<const SearchableRoll>(std::move(roll)));
        }
    }

    std::vector<float> unitVector(const std::vector<float>* near = nullptr, float scatter = 1.0F) {
        std::vector<float> vector = near ? *near : std::vector<float>(dimension, 0.0F);
        float squares = 0.0F;
        for (float& value : vector) {
            value += scatter * (static_cast<float>(next() % 2000) / 1000.0F - 1.0F) *
                     0.0765F;  // about 1/sqrt(dimension)
            squares += value * value;
        }
        for (float& value : vector) value /= std::sqrt(squares);
        return vector;
    }

    /// Faces of so many persons, one a photo.
    std::vector<IndexedFace> faces(std::size_t count, std::size_t personCount) {
        std::vector<std::vector<float>> persons(personCount);
        for (auto& person : persons) person = unitVector();
        std::vector<IndexedFace> all;
        const RollID roll = RollID::random();
        for (std::size_t i = 0; i < count; ++i) {
            all.push_back(
                {{roll, fmt::format("{:06}.jpg", i), 0.1, 0.1, 0.2, 0.2},
                 Path("/scans"),
                 {{0.1, 0.1, 0.2, 0.2}, unitVector(&persons[next() % persons.size()], 0.6F), 3, false},
                 RotationAngle::none});
        }
        return all;
    }

    std::vector<SearchableRollPointer> rolls;

private:
    std::uint32_t next() { return random_(); }

    static std::string word(std::size_t i) {
        static const std::vector<std::string> syllables{"ba",  "ko", "ri", "ten", "su",
                                                        "mar", "lo", "di", "fen", "gu"};
        std::string text;
        for (std::size_t rest = i % 997 + 11; rest > 0; rest /= 10) text += syllables[rest % 10];
        return text;
    }

    SearchablePhoto photo() {
        TagConfidences tags;
        while (tags.size() < tagsPerPhoto)
            tags[tags_[next() % tagCount]] = static_cast<float>(next() % 1000) / 1000.0F;
        std::vector<std::string> colors;
        for (int i = 0; i < 5; ++i) colors.push_back(fmt::format("#{:06x}", next() % 0x1000000));
        SearchablePhoto photo{.id = PhotoID::random(),
                              .clipEmbedding = unitVector(),
                              .visionTags = std::move(tags),
                              .labels = {},
                              .placeName = word(next() % 300) + ", Japan",
                              .dominantColors = std::move(colors)};
        for (int i = 0; i < 3; ++i) photo.labels.insert(static_cast<PhotoLabel>(next() % photoLabelCount));
        return photo;
    }

    std::mt19937 random_{2026};
    std::vector<std::string> tags_;
};

}  // namespace kelvaris::benchmarks
