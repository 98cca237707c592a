#pragma once

#include <fmt/format.h>

#include <mutex>
#include <vector>

#include "platform/jpeg_writer.h"

namespace kelvaris {

/// Writes a line in place of a JPEG, "JPEG <width>x<height> orientation=<o> q=<q>". Any thread.
class FakeJpegWriter final : public JpegWriter {
public:
    Result<Header, JpegWriteError> readHeader(ByteView) override { return Header{}; }

    Result<void, JpegWriteError> copy(ByteView, const JpegRecipe& recipe, PendingFile& destination) override {
        return write(fmt::format("JPEG copy orientation={} q={}", recipe.orientation, recipe.quality), recipe,
                     destination);
    }

    Result<void, JpegWriteError> encode(const Bitmap& bitmap, const JpegRecipe& recipe,
                                        PendingFile& destination) override {
        return write(fmt::format("JPEG {}x{} orientation={} q={}", bitmap.width, bitmap.height,
                                 recipe.orientation, recipe.quality),
                     recipe, destination);
    }

    /// The metadata segments of each picture, in the order of writing.
    std::vector<std::vector<JpegSegment>> segments() const {
        const std::lock_guard lock(mutex_);
        return segments_;
    }

private:
    Result<void, JpegWriteError> write(const std::string& text, const JpegRecipe& recipe,
                                       PendingFile& destination) {
        {
            const std::lock_guard lock(mutex_);
            segments_.push_back(recipe.segments);
        }
        if (!destination.write(asBytes(text))) return Unexpected(JpegWriteError::failed);
        return {};
    }

    mutable std::mutex mutex_;
    std::vector<std::vector<JpegSegment>> segments_;
};

}  // namespace kelvaris
