#pragma once

#include <vector>

#include "analysis/clip_service.h"
#include "analysis/face_embedding_service.h"
#include "analysis/nima_service.h"
#include "analysis/places_service.h"

namespace kelvaris {

/// What installed models can tell of a photo, apart from its orientation. The services outlive their users.
struct ModelServices {
    CLIPService& clip;
    NIMAService& nima;
    PlacesService& places;
    FaceEmbeddingService& faces;

    /// The models that the user lets be used and whose files are there, in declared order, without the
    /// orientation's. Quick.
    std::vector<ModelID> requestedModels() const;

    /// Drops what was loaded of a model.
    void reload(ModelID id) const;
};

}  // namespace kelvaris
