#include "analysis/face_embedding_service.h"

#include "analysis/face_alignment.h"
#include "analysis/model_output.h"
#include "base/log.h"
#include "platform/bitmap_scaling.h"

namespace kelvaris {
namespace {

constexpr std::string_view category = "Faces";
/// Smaller faces give vectors that are nobody's.
constexpr double leastFacePixels = 48.0;

NormalizedRect rect(const NormalizedBox& box) { return {box.x, box.y, box.width, box.height}; }

FaceRegion region(const NormalizedRect& box, bool tooSmallToMatch) {
    return {.boundingBox = box,
            .embedding = {},
            .embeddingVersion = currentFaceEmbeddingVersion,
            .tooSmallToMatch = tooSmallToMatch};
}

}  // namespace

FaceEmbeddingService::FaceEmbeddingService(const ModelTools& tools, const ImageLoading& loading,
                                           std::shared_ptr<Vision> vision)
    : model_(tools, ModelID::faceNet, "FaceNet", "Face embedding", "MobileFaceNet.mlmodelc"),
      loading_(loading),
      vision_(std::move(vision)) {}

std::optional<std::vector<FaceRegion>> FaceEmbeddingService::detectAndEmbed(const Path& file,
                                                                            int maxPixelSize,
                                                                            RotationAngle rotation) {
    if (!model_.isWanted() || !load()) return std::nullopt;
    const Image image = loading_.coordinatedThumbnail(file, maxPixelSize, false, rotation);
    if (!image) return std::nullopt;
    return detectAndEmbed(image);
}

std::optional<std::vector<FaceRegion>> FaceEmbeddingService::detectAndEmbed(const Image& image) {
    if (!model_.isWanted() || !load()) return std::nullopt;
    std::vector<FaceRegion> regions;
    for (const FaceObservation& face : detectFaces(image, true, "detection")) {
        regions.push_back(embedded(image, face));
    }
    log::info(category, "Detected {} faces with embeddings", regions.size());
    return regions;
}

std::optional<std::vector<FaceRegion>> FaceEmbeddingService::detectOnly(const Path& file, int maxPixelSize,
                                                                        RotationAngle rotation) {
    const Image image = loading_.coordinatedThumbnail(file, maxPixelSize, false, rotation);
    if (!image) return std::nullopt;
    std::vector<FaceRegion> regions;
    for (const FaceObservation& face : detectFaces(image, false, "detect-only")) {
        const NormalizedRect box = rect(face.box);
        regions.push_back(region(box, faceSize(box, image->width, image->height) < leastFacePixels));
    }
    log::info(category, "Detect-only found {} faces", regions.size());
    return regions;
}

std::vector<FaceObservation> FaceEmbeddingService::detectFaces(const Image& image, bool withLandmarks,
                                                               std::string_view label) const {
    using Answer = VisionResult<std::vector<FaceObservation>>;
    auto answer = runLimited<Answer>(
        model_.waits(), modelTimeLimit,
        [image, withLandmarks, vision = vision_] { return vision->detectFaces(image, withLandmarks); });
    if (!answer) {
        log::error(category, "Face {} timed out", label);
        return {};
    }
    if (!*answer) {
        log::error(category, "Face {} failed: {}", label, answer->error().message);
        return {};
    }
    std::vector<FaceObservation> faces = std::move(**answer);
    const auto outside =
        std::erase_if(faces, [](const FaceObservation& face) { return !liesInPicture(rect(face.box)); });
    if (outside > 0) log::error(category, "{} faces lie outside their picture", outside);
    return faces;
}

FaceRegion FaceEmbeddingService::embedded(const Image& image, const FaceObservation& face) {
    const NormalizedRect box = rect(face.box);
    if (faceSize(box, image->width, image->height) < leastFacePixels) return region(box, true);
    FaceRegion result = region(box, false);
    auto vector = alignedEmbedding(image, face.landmarks);
    if (!vector) {
        log::info(category, "Falling back to naive crop for face");
        vector = naiveFaceEmbedding(image, box);
    }
    result.embedding = std::move(vector).value_or(std::vector<float>());
    return result;
}

std::optional<std::vector<float>> FaceEmbeddingService::alignedEmbedding(const Image& image,
                                                                         const FaceLandmarks& landmarks) {
    const auto points = extractFivePoints(landmarks);
    if (!points) return std::nullopt;
    const auto transform = computeSimilarityTransform(*points, arcfaceTemplateYUp);
    if (!transform) return std::nullopt;
    return embedding(std::make_shared<const Bitmap>(alignedFace(*image, *transform)));
}

std::optional<std::vector<float>> FaceEmbeddingService::naiveFaceEmbedding(const Image& image,
                                                                           const NormalizedRect& box) {
    const auto part = naiveFaceBox(box, image->width, image->height);
    if (!part) return std::nullopt;
    return embedding(
        std::make_shared<const Bitmap>(cropped(*image, part->x, part->y, part->width, part->height)));
}

std::optional<std::vector<float>> FaceEmbeddingService::embedding(const Image& face) {
    const auto model = model_.loadIfNeeded();
    if (!model) return std::nullopt;
    const auto outputs = model_.answers(model, face, PictureFit::stretch, alignedFaceSide);
    if (!outputs) return std::nullopt;
    const std::size_t count = outputs->empty() ? 0 : outputs->front().values.size();
    if (count != faceEmbeddingDimension) {
        log::error(category, "Unexpected embedding dimension: {} (expected {})", count,
                   faceEmbeddingDimension);
        return std::nullopt;
    }
    return normalizedEmbedding(std::span<const OutputTensor>(*outputs), faceEmbeddingDimension);
}

}  // namespace kelvaris
