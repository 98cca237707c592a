#include "models/model_id.h"

#include <fmt/format.h>

namespace kelvaris {

const ModelFacts& modelFacts(ModelID id) {
    static const std::array<ModelFacts, 5> table{{
        {ModelID::clipVitB16,
         {"CLIPImageEncoder.mlmodelc", "CLIPTextEncoder.mlmodelc"},
         1,
         280000000,
         560000000,
         "Smart Search",
         "DFN CLIP ViT-B/16 / Apple",
         "Semantic photo search using natural language"},
        {ModelID::nima,
         {"NIMA.mlmodelc"},
         1,
         6000000,
         12000000,
         "Gem Spotter+",
         "NIMA / Google",
         "Aesthetic scoring trained on 255K human ratings"},
        {ModelID::orientation,
         {"OrientationClassifier.mlmodelc"},
         2,
         75000000,
         150000000,
         "Auto Level",
         "EfficientNetV2-S",
         "Detect sideways and upside-down photos"},
        {ModelID::places365,
         {"Places365.mlmodelc"},
         1,
         21000000,
         42000000,
         "Scene Scout+",
         "ResNet18-Places365 / MIT CSAIL",
         "Upgrades scene tags from ~40 to 365 categories"},
        {ModelID::faceNet,
         {"MobileFaceNet.mlmodelc"},
         1,
         6000000,
         12000000,
         "Face Match",
         "MobileFaceNet / InsightFace",
         "Find similar faces across rolls using face embeddings"},
    }};
    return table[static_cast<std::size_t>(id)];
}

ModelEndpoint ModelEndpoint::standard() { return {KELVARIS_MODEL_ENDPOINT}; }

std::string ModelEndpoint::archive(ModelID id) const {
    return fmt::format("{}/models/{}-v{}.tar.gz", base, rawValue(id), modelFacts(id).defaultVersion);
}

}  // namespace kelvaris
