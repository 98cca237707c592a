#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "platform/vision.h"

namespace tesseract {
class TessBaseAPI;
}

namespace kelvaris {

/// Reads single lines of English text. Any thread: each call borrows an engine of its own.
class TextRecognizer {
public:
    TextRecognizer();
    ~TextRecognizer();

    VisionResult<std::vector<TextObservation>> recognize(const Bitmap& bitmap, const TextRequest& request);

private:
    std::unique_ptr<tesseract::TessBaseAPI> borrow();

    std::mutex mutex_;
    std::vector<std::unique_ptr<tesseract::TessBaseAPI>> idle_;
};

}  // namespace kelvaris
