#include "analysis/model_services.h"

namespace kelvaris {

std::vector<ModelID> ModelServices::requestedModels() const {
    std::vector<ModelID> requested;
    const auto request = [&](ModelID id, bool isEnabled) {
        if (isEnabled) requested.push_back(id);
    };
    request(ModelID::clipVitB16, clip.isEnabled());
    request(ModelID::nima, nima.isEnabled());
    request(ModelID::places365, places.isEnabled());
    request(ModelID::faceNet, faces.isEnabled());
    return requested;
}

void ModelServices::reload(ModelID id) const {
    switch (id) {
        case ModelID::clipVitB16:
            clip.reload();
            return;
        case ModelID::nima:
            nima.reload();
            return;
        case ModelID::orientation:
            return;
        case ModelID::places365:
            places.reload();
            return;
        case ModelID::faceNet:
            faces.reload();
            return;
    }
}

}  // namespace kelvaris
