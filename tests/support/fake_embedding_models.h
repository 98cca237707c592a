#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "analysis/embedding_ports.h"

namespace kelvaris::testing {

/// The models, scripted: what they give for which file, and what they were asked.
class FakeImageEmbedder final : public ImageEmbedder {
public:
    bool isEnabled() override { return enabled; }
    bool load() override { return loads; }
    EmbeddingResult imageEmbedding(const Path& file, RotationAngle) override {
        asked.push_back(file.filename());
        if (whileAsked) whileAsked();
        if (const auto found = vectors.find(file.filename()); found != vectors.end()) {
            return std::optional(found->second);
        }
        return Unexpected(std::string("no picture"));
    }
    bool enabled = true;
    bool loads = true;
    std::map<std::string, std::vector<float>> vectors;
    std::function<void()> whileAsked;
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

}  // namespace kelvaris::testing
