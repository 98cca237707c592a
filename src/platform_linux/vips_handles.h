#pragma once

#include <vips/vips.h>

#include <memory>
#include <string>

#include "platform/images.h"

namespace kelvaris {

struct VipsUnref {
    void operator()(void* object) const { g_object_unref(object); }
};

/// One reference to a library object.
using VipsImagePtr = std::unique_ptr<VipsImage, VipsUnref>;
using VipsRegionPtr = std::unique_ptr<VipsRegion, VipsUnref>;
using VipsSourcePtr = std::unique_ptr<VipsSource, VipsUnref>;

/// What the library last complained of, taken from its one buffer (so that a line may tell of another
/// thread's trouble as well).
std::string takeVipsErrors();

/// Runs a library operation whose result comes through a pointer: null when it failed.
///
///     auto small = vipsResult([&](VipsImage** out) { return vips_shrink(in, out, 3, 3, nullptr); });
template <class Operation>
VipsImagePtr vipsResult(Operation&& operation) {
    VipsImage* result = nullptr;
    if (operation(&result) != 0) {
        if (result) g_object_unref(result);
        return nullptr;
    }
    return VipsImagePtr(result);
}

}  // namespace kelvaris
