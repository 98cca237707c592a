#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "vocabulary/raw_value.h"

namespace kelvaris {

/// The machine-learning models that can be installed, in the order in which they are listed.
/// The stored word is also the name of a model's folder.
enum class ModelID : std::uint8_t { clipVitB16, nima, orientation, places365, faceNet };

template <>
struct RawValues<ModelID> {
    static constexpr std::array rows{
        std::pair{ModelID::clipVitB16, std::string_view("clip-vit-b16-dfn")},
        std::pair{ModelID::nima, std::string_view("nima")},
        std::pair{ModelID::orientation, std::string_view("orientation")},
        std::pair{ModelID::places365, std::string_view("places365")},
        std::pair{ModelID::faceNet, std::string_view("facenet")},
    };
};

/// What is known of a model before it is there.
struct ModelFacts {
    ModelID id;
    std::vector<std::string_view> requiredFiles;  ///< folders that make an install complete
    std::int64_t defaultVersion;
    std::int64_t downloadSize;  ///< bytes of the archive, an estimate
    std::int64_t diskSpace;     ///< bytes needed while it is installed
    std::string_view name;      ///< in the settings
    std::string_view credit;
    std::string_view description;
};

const ModelFacts& modelFacts(ModelID id);

/// Where models come from: a base address without a slash at its end.
struct ModelEndpoint {
    std::string base;

    /// That of the build.
    static ModelEndpoint standard();
    /// The archive of the model's default version.
    std::string archive(ModelID id) const;
    std::string manifest() const { return base + "/models/model-manifest.json"; }
};

}  // namespace kelvaris
