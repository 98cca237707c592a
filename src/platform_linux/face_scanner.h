#pragma once

#include <array>
#include <span>
#include <vector>

#include "platform_linux/gradient_features.h"

namespace kelvaris {

/// What a face seen one way looks like: weights over a window of 10 by 10 cells of gradient features.
struct FaceTemplate {
    static constexpr int side = 10;
    /// A line of the window, filled up with zeros to whole registers.
    static constexpr int lineLength = 16;
    using Taps = std::array<float, side>;
    /// A column times a row of weights for one plane of the features.
    struct Product {
        int plane;
        Taps row;
        Taps column;
        float strength() const;
    };

    /// @param all the products by plane, whose sum the weights are.
    /// @param threshold between places with and without a face.
    static FaceTemplate make(std::vector<Product> all, float threshold);

    /// The strongest products, by plane.
    std::vector<Product> glance;
    /// All weights, line by line and plane by plane.
    std::vector<std::array<float, lineLength>> lines;
    float threshold = 0;
};

/// A place that looks like a face, in pixels of the scanned picture.
struct FacePlace {
    double left = 0;
    double top = 0;
    double right = 0;
    double bottom = 0;
    double score = 0;  ///< by how much the threshold is passed
};

/// Looks at every place of a picture and of its smaller and smaller copies through every template: first at
/// the strongest products alone, and where these do not rule a face out, at all. One thread at a time; its
/// memory is kept from picture to picture.
class FaceScanner {
public:
    /// @param templates must outlive this.
    explicit FaceScanner(std::span<const FaceTemplate> templates) : templates_(templates) {}

    /// The best places that do not overlap much, best first. Faces of 80 pixels or more are seen.
    /// @param leastScore by how much a place must pass its template's threshold.
    std::vector<FacePlace> scan(const GreyPlane& picture, float leastScore);

private:
    void scanLevel(double scale, float leastScore, std::vector<FacePlace>& found);
    void glanceAtBand(int top, int rows, int columns);
    /// The template's whole sum over the window that begins there.
    float look(const FaceTemplate& face, int x, int y) const;

    const std::span<const FaceTemplate> templates_;
    GradientFeatures features_;
    std::vector<float> filtered_;  ///< a plane's band after the row of a product
    std::vector<float> sums_;      ///< of the glance at a band's windows, by template
};

/// The picture enlarged or reduced, each pixel mixed of its four nearest.
GreyPlane resized(const GreyPlane& picture, int width, int height);
/// Five pixels in place of six, each way.
GreyPlane fiveSixths(const GreyPlane& picture);

}  // namespace kelvaris
