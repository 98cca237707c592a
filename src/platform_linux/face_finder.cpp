// The only file that includes dlib, whose templates take long to compile.
#include "platform_linux/face_finder.h"

#include <dlib/image_processing.h>
#include <dlib/image_processing/frontal_face_detector.h>

#include <algorithm>
#include <fstream>
#include <mutex>
#include <span>

#include "base/log.h"
#include "platform_linux/face_scanner.h"

namespace kelvaris {

namespace {

/// A face must fill the detector's window of 80 pixels; pictures that are not large are enlarged so that
/// faces of 48 pixels do.
constexpr int largestEnlargedSide = 1000;
constexpr double enlargement = 80.0 / 48.0;
/// From here on no picture without a face was ever taken for one.
constexpr float leastScore = 0.25F;

/// The library's detector as templates: it looks straight ahead, to either side, and tilted either way.
std::vector<FaceTemplate> trainedTemplates() {
    const dlib::frontal_face_detector detector = dlib::get_frontal_face_detector();
    const auto& scanner = detector.get_scanner();
    std::vector<FaceTemplate> templates;
    for (unsigned long number = 0; number < detector.num_detectors(); ++number) {
        const auto& weights = detector.get_w(number);
        const auto bank = scanner.build_fhog_filterbank(weights);
        std::vector<FaceTemplate::Product> products;
        for (std::size_t plane = 0; plane < bank.filters.size(); ++plane) {
            for (std::size_t part = 0; part < bank.row_filters[plane].size(); ++part) {
                FaceTemplate::Product product{.plane = static_cast<int>(plane), .row = {}, .column = {}};
                const auto& row = bank.row_filters[plane][part];
                const auto& column = bank.col_filters[plane][part];
                std::copy(row.begin(), row.end(), product.row.begin());
                std::copy(column.begin(), column.end(), product.column.begin());
                products.push_back(product);
            }
        }
        const double threshold = weights(scanner.get_num_dimensions());
        templates.push_back(FaceTemplate::make(std::move(products), static_cast<float>(threshold)));
    }
    return templates;
}

/// As the predictor of points wants it.
dlib::array2d<unsigned char> libraryPicture(const GreyPlane& plane) {
    dlib::array2d<unsigned char> picture(plane.height, plane.width);
    std::copy(plane.pixels.begin(), plane.pixels.end(), &picture[0][0]);
    return picture;
}

}  // namespace

class FrontalFaceFinder::Detectors {
public:
    explicit Detectors(std::vector<Path> landmarkFiles) : landmarkFiles_(std::move(landmarkFiles)) {}

    std::unique_ptr<FaceScanner> borrow() {
        const std::scoped_lock lock(mutex_);
        if (!idle_.empty()) {
            auto scanner = std::move(idle_.back());
            idle_.pop_back();
            return scanner;
        }
        if (templates_.empty()) templates_ = trainedTemplates();  // unpacked at the first use
        return std::make_unique<FaceScanner>(templates_);
    }

    void giveBack(std::unique_ptr<FaceScanner> scanner) {
        const std::scoped_lock lock(mutex_);
        idle_.push_back(std::move(scanner));
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
    std::vector<FaceTemplate> templates_;
    std::vector<std::unique_ptr<FaceScanner>> idle_;
    std::mutex predictorMutex_;
    bool tried_ = false;
    std::unique_ptr<dlib::shape_predictor> predictor_;
};

FrontalFaceFinder::FrontalFaceFinder(std::vector<Path> landmarkFiles)
    : detectors_(std::make_unique<Detectors>(std::move(landmarkFiles))) {}

FrontalFaceFinder::~FrontalFaceFinder() = default;

std::vector<FaceObservation> FrontalFaceFinder::find(const Bitmap& bitmap, bool landmarks) {
    GreyPlane picture = greyPlane(bitmap);
    double scale = 1;
    if (bitmap.longSide() <= largestEnlargedSide) {
        scale = enlargement;
        picture = resized(picture, static_cast<int>(std::lround(bitmap.width * scale)),
                          static_cast<int>(std::lround(bitmap.height * scale)));
    }
    auto scanner = detectors_->borrow();
    std::vector<FacePlace> found = scanner->scan(picture, leastScore);
    detectors_->giveBack(std::move(scanner));
    std::ranges::stable_sort(found, std::greater(), [](const FacePlace& place) {
        return (place.right - place.left) * (place.bottom - place.top);
    });

    const dlib::shape_predictor* predictor = landmarks && !found.empty() ? detectors_->predictor() : nullptr;
    dlib::array2d<unsigned char> libraryCopy;
    if (predictor != nullptr) libraryCopy = libraryPicture(picture);
    std::vector<FaceObservation> faces;
    for (const FacePlace& each : found) {
        const auto share = [scale](double value, int side) {
            return std::clamp(value / scale / side, 0.0, 1.0);
        };
        const double left = share(each.left, bitmap.width);
        const double right = share(each.right, bitmap.width);
        const double top = share(each.top, bitmap.height);
        const double bottom = share(each.bottom, bitmap.height);
        FaceObservation face{
            .box = {left, 1 - bottom, right - left, bottom - top}, .confidence = each.score, .landmarks = {}};
        if (predictor != nullptr) {
            const dlib::rectangle place(std::lround(each.left), std::lround(each.top),
                                        std::lround(each.right) - 1, std::lround(each.bottom) - 1);
            const dlib::full_object_detection points = (*predictor)(libraryCopy, place);
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
