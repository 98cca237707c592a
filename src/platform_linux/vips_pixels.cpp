#include "platform_linux/vips_pixels.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace kelvaris {
namespace {

constexpr int stripHeight = 64;
constexpr std::string_view outputProfile = "srgb";

VipsImagePtr reference(VipsImage* image) {
    g_object_ref(image);
    return VipsImagePtr(image);
}

bool hasProfile(VipsImage* image) { return vips_image_get_typeof(image, VIPS_META_ICC_NAME) != 0; }

int colourBands(VipsImage* image) {
    const int bands = vips_image_get_bands(image);
    switch (vips_image_get_interpretation(image)) {
        case VIPS_INTERPRETATION_CMYK:
            return std::min(bands, 4);
        case VIPS_INTERPRETATION_B_W:
        case VIPS_INTERPRETATION_GREY16:
            return 1;
        default:
            return bands >= 3 ? 3 : 1;
    }
}

VipsImagePtr firstBands(VipsImage* image, int count) {
    if (vips_image_get_bands(image) == count) return reference(image);
    return vipsResult([&](VipsImage** out) { return vips_extract_band(image, out, 0, "n", count, nullptr); });
}

VipsImagePtr withInterpretation(VipsImage* image, VipsInterpretation interpretation) {
    return vipsResult(
        [&](VipsImage** out) { return vips_copy(image, out, "interpretation", interpretation, nullptr); });
}

VipsImagePtr onWhite(VipsImage* image, int colours) {
    const VipsInterpretation interpretation = vips_image_get_interpretation(image);
    const VipsBandFormat format = vips_image_get_format(image);
    double full = 255;
    if (format == VIPS_FORMAT_USHORT) full = 65535;
    if (format == VIPS_FORMAT_UINT) full = 4294967295.0;
    if (format == VIPS_FORMAT_FLOAT || format == VIPS_FORMAT_DOUBLE) full = 1;
    std::array<double, 4> white{full, full, full, full};
    if (interpretation == VIPS_INTERPRETATION_CMYK) white = {0, 0, 0, 0};
    if (interpretation == VIPS_INTERPRETATION_LAB) white = {100, 0, 0, 0};
    const std::unique_ptr<VipsArrayDouble, void (*)(VipsArrayDouble*)> background(
        vips_array_double_new(white.data(), colours),
        [](VipsArrayDouble* array) { vips_area_unref(VIPS_AREA(array)); });
    return vipsResult([&](VipsImage** out) {
        return vips_flatten(image, out, "background", background.get(), "max_alpha", full, nullptr);
    });
}

VipsImagePtr withoutExtraBands(VipsImage* image, ExtraBands extraBands) {
    const int colours = colourBands(image);
    if (extraBands == ExtraBands::asInterpreted && vips_image_hasalpha(image) &&
        vips_image_get_bands(image) > colours) {
        const auto withAlpha = firstBands(image, colours + 1);
        return withAlpha ? onWhite(withAlpha.get(), colours) : nullptr;
    }
    return firstBands(image, colours);
}

/// Multiplied, and cut to whole numbers of 16 bits.
VipsImagePtr asSixteenBits(VipsImage* image, double factor) {
    const auto multiplied =
        vipsResult([&](VipsImage** out) { return vips_linear1(image, out, factor, 0, nullptr); });
    if (!multiplied) return nullptr;
    const auto whole = vipsResult(
        [&](VipsImage** out) { return vips_cast(multiplied.get(), out, VIPS_FORMAT_USHORT, nullptr); });
    if (!whole) return nullptr;
    return withInterpretation(whole.get(), vips_image_get_bands(image) == 1 ? VIPS_INTERPRETATION_GREY16
                                                                            : VIPS_INTERPRETATION_RGB16);
}

VipsImagePtr fromFloatingPoint(VipsImage* image) {
    if (vips_image_get_interpretation(image) == VIPS_INTERPRETATION_LAB) return reference(image);
    if (hasProfile(image)) return asSixteenBits(image, 65535);
    VipsImagePtr colours = reference(image);
    if (vips_image_get_bands(image) == 1) {
        std::array<VipsImage*, 3> same{image, image, image};
        colours = vipsResult([&](VipsImage** out) { return vips_bandjoin(same.data(), out, 3, nullptr); });
        if (!colours) return nullptr;
    }
    const auto single = vipsResult(
        [&](VipsImage** out) { return vips_cast(colours.get(), out, VIPS_FORMAT_FLOAT, nullptr); });
    return single ? withInterpretation(single.get(), VIPS_INTERPRETATION_scRGB) : nullptr;
}

}  // namespace

std::string takeVipsErrors() {
    char* text = vips_error_buffer_copy();
    std::string errors = text ? text : "";
    g_free(text);
    while (!errors.empty() && errors.back() == '\n') errors.pop_back();
    std::ranges::replace(errors, '\n', ';');
    return errors.empty() ? "no reason given" : errors;
}

VipsImagePtr scalable(VipsImage* image, ExtraBands extraBands) {
    const auto colours = withoutExtraBands(image, extraBands);
    if (!colours) return nullptr;
    const VipsInterpretation interpretation = vips_image_get_interpretation(colours.get());
    switch (vips_image_get_format(colours.get())) {
        case VIPS_FORMAT_UCHAR:
        case VIPS_FORMAT_USHORT:
            // Four colours that nobody claims, or a single unclaimed one, are taken by their count.
            if (interpretation == VIPS_INTERPRETATION_MULTIBAND) {
                const bool wide = vips_image_get_format(colours.get()) == VIPS_FORMAT_USHORT;
                const bool grey = vips_image_get_bands(colours.get()) == 1;
                return withInterpretation(
                    colours.get(), grey ? (wide ? VIPS_INTERPRETATION_GREY16 : VIPS_INTERPRETATION_B_W)
                                        : (wide ? VIPS_INTERPRETATION_RGB16 : VIPS_INTERPRETATION_sRGB));
            }
            return reference(colours.get());
        case VIPS_FORMAT_SHORT:
            // Lab in 16 bits is signed; the library knows it by name.
            if (interpretation == VIPS_INTERPRETATION_LABS) return reference(colours.get());
            return asSixteenBits(colours.get(), 1);
        case VIPS_FORMAT_UINT:
        case VIPS_FORMAT_INT:
            return asSixteenBits(colours.get(), 1.0 / 65537);
        case VIPS_FORMAT_FLOAT:
        case VIPS_FORMAT_DOUBLE:
            return fromFloatingPoint(colours.get());
        case VIPS_FORMAT_CHAR:
        case VIPS_FORMAT_COMPLEX:
        case VIPS_FORMAT_DPCOMPLEX:
        case VIPS_FORMAT_NOTSET:
        case VIPS_FORMAT_LAST:
            vips_error("kelvaris", "%s", "sample type of no picture");
            return nullptr;
    }
    return nullptr;
}

VipsImagePtr scaled(VipsImage* image, int width, int height) {
    auto boxed = reference(image);
    const int box = std::min(vips_image_get_width(image) / width, vips_image_get_height(image) / height);
    if (box >= 2) {
        boxed = vipsResult(
            [&](VipsImage** out) { return vips_shrink(image, out, box, box, "ceil", TRUE, nullptr); });
        if (!boxed) return nullptr;
    }
    const double horizontal = static_cast<double>(width) / vips_image_get_width(boxed.get());
    const double vertical = static_cast<double>(height) / vips_image_get_height(boxed.get());
    if (horizontal >= 1 && vertical >= 1) return boxed;
    return vipsResult([&](VipsImage** out) {
        return vips_resize(boxed.get(), out, horizontal, "vscale", vertical, nullptr);
    });
}

VipsImagePtr displayable(VipsImage* image) {
    const bool cmyk = vips_image_get_interpretation(image) == VIPS_INTERPRETATION_CMYK;
    const bool grey = vips_image_get_bands(image) == 1;
    VipsImagePtr converted;
    if (cmyk || hasProfile(image)) {
        converted = vipsResult([&](VipsImage** out) {
            return cmyk ? vips_icc_transform(image, out, outputProfile.data(), "embedded", TRUE,
                                             "input_profile", "cmyk", "black_point_compensation", TRUE,
                                             "intent", VIPS_INTENT_RELATIVE, nullptr)
                        : vips_icc_transform(image, out, outputProfile.data(), "embedded", TRUE,
                                             "black_point_compensation", TRUE, "intent", VIPS_INTENT_RELATIVE,
                                             nullptr);
        });
        if (!converted) vips_error_clear();
        if (converted && grey) converted = firstBands(converted.get(), 1);
    }
    if (!converted) {
        converted = vipsResult([&](VipsImage** out) {
            return vips_colourspace(image, out, grey ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_sRGB,
                                    nullptr);
        });
    }
    if (!converted) return nullptr;
    const auto bytes = vipsResult(
        [&](VipsImage** out) { return vips_cast(converted.get(), out, VIPS_FORMAT_UCHAR, nullptr); });
    return bytes ? firstBands(bytes.get(), vips_image_get_bands(bytes.get()) >= 3 ? 3 : 1) : nullptr;
}

ImageResult<Bitmap> rendered(VipsImage* image) {
    Bitmap bitmap{.width = vips_image_get_width(image),
                  .height = vips_image_get_height(image),
                  .channels = vips_image_get_bands(image)};
    const std::size_t rowSize = static_cast<std::size_t>(bitmap.width) * bitmap.channels;
    bitmap.pixels.resize(rowSize * bitmap.height);
    const VipsRegionPtr region(vips_region_new(image));
    for (int top = 0; top < bitmap.height; top += stripHeight) {
        const VipsRect strip{0, top, bitmap.width, std::min(stripHeight, bitmap.height - top)};
        if (vips_region_prepare(region.get(), &strip) != 0) {
            return Unexpected(ImageError{ImageError::Code::damaged, takeVipsErrors()});
        }
        for (int y = top; y < top + strip.height; ++y) {
            std::memcpy(bitmap.pixels.data() + rowSize * y, VIPS_REGION_ADDR(region.get(), 0, y), rowSize);
        }
    }
    return bitmap;
}

VipsImagePtr borrowed(const Bitmap& bitmap) {
    VipsImagePtr plain(vips_image_new_from_memory(bitmap.pixels.data(), bitmap.pixels.size(), bitmap.width,
                                                  bitmap.height, bitmap.channels, VIPS_FORMAT_UCHAR));
    if (!plain) return nullptr;
    return withInterpretation(plain.get(),
                              bitmap.channels == 1 ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_sRGB);
}

}  // namespace kelvaris
