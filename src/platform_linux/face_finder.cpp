// The only file that includes dlib, whose templates take long to compile.
#include "platform_linux/face_finder.h"

#include <dlib/image_processing.h>
#include <dlib/image_processing/frontal_face_detector.h>
#include <dlib/image_transforms.h>

#include <algorithm>
#include <fstream>
#include <mutex>

#include "base/log.h"

namespace kelvaris {

namespace {

using GreyPicture = dlib::array2d<unsigned char>;

/// A face must fill the detector's window of 80 pixels; pictures that are not large are enlarged so that
/// faces of 48 pixels do.
constexpr int largestEnlargedSide = 1000;
constexpr double enlargement = 80.0 / 48.0;
/// From here on no picture without a face was ever taken for one.
constexpr double leastScore = 0.25;

GreyPicture greyPicture(const Bitmap& bitmap) {
    GreyPicture grey(bitmap.height, bitmap.width);
    const std::uint8_t* source = bitmap.pixels.data();
    for (long y = 0; y < grey.nr(); ++y) {
        for (long x = 0; x < grey.nc(); ++x, source += bitmap.channels) {
            grey[y][x] = bitmap.channels == 1
                             ? source[0]
                             : static_cast<unsigned char>(
                                   ((299 * source[0]) + (587 * source[1]) + (114 * source[2]) + 500) / 1000);
        }
    }
    return grey;
}

}  // namespace

class FrontalFaceFinder::Detectors {
public:
    explicit Detectors(std::vector<Path> landmarkFiles) : landmarkFiles_(std::move(landmarkFiles)) {}

    std::unique_ptr<dlib::frontal_face_detector> borrow() {
        const std::scoped_lock lock(mutex_);
        if (!idle_.empty()) {
            auto detector = std::move(idle_.back());
            idle_.pop_back();
            return detector;
        }
        // Unpacking the detector takes much longer than copying it.
        if (!original_) {
            original_ = std::make_unique<dlib::frontal_face_detector>(dlib::get_frontal_face_detector());
        }
        return std::make_unique<dlib::frontal_face_detector>(*original_);
    }

    void giveBack(std::unique_ptr<dlib::frontal_face_detector> detector) {
        const std::scoped_lock lock(mutex_);
        idle_.push_back(std::move(detector));
    }

    /// Read once, then shared by all threads; nullptr when no file reads.
    const dlib::shape_predictor* predictor() {
        const std::scoped_lock lock(predictorMutex_);
        if (tried_) return predictor_.get();
        tried_ = true;
        for (const Path& file : landmarkFiles_) {
            try {
                std::ifstream stream(file.string(), std::ios::binary);
                if (!stream) continue;
                auto read = std::make_unique<dlib::shape_predictor>();
                dlib::deserialize(*read, stream);
                if (read->num_parts() == 68) {
                    predictor_ = std::move(read);
                    return predictor_.get();
                }
            } catch (const std::exception& error) {
                log::error("Vision", "Face points in {} do not load: {}", file.string(), error.what());
            }
        }
        log::info("Vision", "No predictor of face points is installed");
        return nullptr;
    }

private:
    const std::vector<Path> landmarkFiles_;
    std::mutex mutex_;
    std::unique_ptr<const dlib::frontal_face_detector> original_;
    std::vector<std::unique_ptr<dlib::frontal_face_detector>> idle_;
    std::mutex predictorMutex_;
    bool tried_ = false;
    std::unique_ptr<dlib::shape_predictor> predictor_;
};

FrontalFaceFinder::FrontalFaceFinder(std::vector<Path> landmarkFiles)
    : detectors_(std::make_unique<Detectors>(std::move(landmarkFiles))) {}

FrontalFaceFinder::~FrontalFaceFinder() = default;

std::vector<FaceObservation> FrontalFaceFinder::find(const Bitmap& bitmap, bool landmarks) {
    GreyPicture picture = greyPicture(bitmap);
    double scale = 1;
    if (bitmap.longSide() <= largestEnlargedSide) {
        scale = enlargement;
        GreyPicture larger(std::lround(bitmap.height * scale), std::lround(bitmap.width * scale));
        dlib::resize_image(picture, larger, dlib::interpolate_bilinear());
        picture.swap(larger);
    }
    std::vector<dlib::rect_detection> found;
    auto detector = detectors_->borrow();
    (*detector)(picture, found, leastScore);
    detectors_->giveBack(std::move(detector));
    std::sort(found.begin(), found.end(),
              [](const auto& a, const auto& b) { return a.rect.area() > b.rect.area(); });

    const dlib::shape_predictor* predictor = landmarks && !found.empty() ? detectors_->predictor() : nullptr;
    std::vector<FaceObservation> faces;
    for (const dlib::rect_detection& each : found) {
        const auto share = [](double value, int side) { return std::clamp(value / side, 0.0, 1.0); };
        const double left = share(static_cast<double>(each.rect.left()) / scale, bitmap.width);
        const double right = share((static_cast<double>(each.rect.right()) + 1) / scale, bitmap.width);
        const double top = share(static_cast<double>(each.rect.top()) / scale, bitmap.height);
        const double bottom = share((static_cast<double>(each.rect.bottom()) + 1) / scale, bitmap.height);
        FaceObservation face{.box = {left, 1 - bottom, right - left, bottom - top},
                             .confidence = each.detection_confidence,
                             .landmarks = {}};
        if (predictor != nullptr) {
            const dlib::full_object_detection points = (*predictor)(picture, each.rect);
            const auto group = [&](unsigned long first, unsigned long last) {
                std::vector<PixelPoint> result;
                for (unsigned long index = first; index <= last; ++index) {
                    const dlib::point point = points.part(index);
                    result.push_back({(static_cast<double>(point.x()) + 0.5) / scale,
                                      bitmap.height - ((static_cast<double>(point.y()) + 0.5) / scale)});
                }
                return result;
            };
            face.landmarks = {.leftEye = group(36, 41),
                              .rightEye = group(42, 47),
                              .nose = group(27, 35),
                              .outerLips = group(48, 59)};
        }
        faces.push_back(std::move(face));
    }
    return faces;
}

}  // namespace kelvaris
