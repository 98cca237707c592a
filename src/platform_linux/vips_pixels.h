#pragma once

#include <span>

#include "platform_linux/vips_handles.h"

namespace kelvaris {

/// What the bands after the colours are.
enum class ExtraBands {
    asInterpreted,  ///< alpha, where the library takes them for it
    notAlpha,       ///< an infrared channel or the like
};

/// A picture in a form that can be scaled: colours alone, in whole numbers of 8 or 16 bits (or as linear
/// light, or as Lab). Alpha is laid on white; other extra bands are dropped; 32-bit whole numbers keep
/// their upper half. Floating point counts as linear light from 0 to 1, or, beside a colour profile, as
/// the profile's values from 0 to 1; what lies outside is cut off. Lazy. Null when it cannot be done.
VipsImagePtr scalable(VipsImage* image, ExtraBands extraBands);

/// The picture scaled to that size exactly, never enlarged: whole boxes first, in the source's own type,
/// then a Lanczos filter. Lazy. Null when it cannot be done.
VipsImagePtr scaled(VipsImage* image, int width, int height);

/// The picture as sRGB with 8 bits, or as grey with the sRGB curve when it has no colour. Profiles are
/// honoured (CMYK without one counts as a common printing profile); one that is broken counts as none.
/// Lazy. Null when it cannot be done.
VipsImagePtr displayable(VipsImage* image);

/// Computes the pixels of a displayable picture, strip by strip, on the calling thread.
ImageResult<Bitmap> rendered(VipsImage* image);

/// A library picture over the bitmap's pixels, which must outlive it.
VipsImagePtr borrowed(const Bitmap& bitmap);

}  // namespace kelvaris
