#include "platform_linux/text_recognizer.h"

#include <dlfcn.h>
#include <tesseract/baseapi.h>
#include <tesseract/ocrclass.h>

#include <cstdlib>

namespace kelvaris {

namespace {

/// The engine splits its work over all processors unless told otherwise, which slows down everything
/// when photos are already read side by side. The setting is the calling thread's own.
void keepToOneThread() {
    using SetThreads = void (*)(int);
    if (void* set = ::dlsym(RTLD_DEFAULT, "omp_set_num_threads"); set != nullptr) {
        reinterpret_cast<SetThreads>(set)(1);
    }
}

}  // namespace

TextRecognizer::TextRecognizer() = default;
TextRecognizer::~TextRecognizer() = default;

std::unique_ptr<tesseract::TessBaseAPI> TextRecognizer::borrow() {
    {
        const std::scoped_lock lock(mutex_);
        if (!idle_.empty()) {
            auto engine = std::move(idle_.back());
            idle_.pop_back();
            return engine;
        }
    }
    auto engine = std::make_unique<tesseract::TessBaseAPI>();
    if (engine->Init(nullptr, "eng", tesseract::OEM_LSTM_ONLY) != 0) return nullptr;
    engine->SetVariable("debug_file", "/dev/null");
    engine->SetPageSegMode(tesseract::PSM_SINGLE_LINE);
    return engine;
}

VisionResult<std::vector<TextObservation>> TextRecognizer::recognize(const Bitmap& bitmap,
                                                                     const TextRequest& request) {
    keepToOneThread();
    auto engine = borrow();
    if (engine == nullptr) return Unexpected(VisionError{"the language data for text are not installed"});
    engine->SetVariable("tessedit_char_whitelist", request.characters.c_str());
    engine->SetImage(bitmap.pixels.data(), bitmap.width, bitmap.height, bitmap.channels,
                     bitmap.width * bitmap.channels);
    engine->SetSourceResolution(150);
    tesseract::ETEXT_DESC monitor;
    monitor.set_deadline_msecs(static_cast<std::int32_t>(request.limit.count()));
    std::vector<TextObservation> lines;
    if (engine->Recognize(&monitor) == 0) {
        const std::unique_ptr<char[]> text(engine->GetUTF8Text());
        std::string line = text ? text.get() : "";
        while (!line.empty() && (line.back() == '\n' || line.back() == ' ')) line.pop_back();
        if (!line.empty()) lines.push_back({line, engine->MeanTextConf() / 100.0});
    }
    engine->Clear();
    const std::scoped_lock lock(mutex_);
    idle_.push_back(std::move(engine));
    return lines;
}

}  // namespace kelvaris
