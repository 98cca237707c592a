#include <charconv>
#include <cstdio>
#include <cstring>
#include <string>

#include "sample_roll/roll_maker.h"

namespace {

constexpr const char* usage =
    "usage: kelvaris-sample-roll FOLDER [--seed N] [--frames N] [--megapixels M] [--small]\n"
    "Paints a roll of film scans into FOLDER. The same seed gives the same roll.\n"
    "--small makes frames of one megapixel, for quick tests.\n";

template <class Number>
bool readNumber(const char* text, Number& value) {
    const char* end = text + std::strlen(text);
    const auto [stop, error] = std::from_chars(text, end, value);
    return error == std::errc() && stop == end;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    kelvaris::sample_roll::RollOptions options;
    std::string folder;
    for (int index = 1; index < argumentCount; ++index) {
        const std::string name = arguments[index];
        const char* value = index + 1 < argumentCount ? arguments[index + 1] : "";
        bool understood = true;
        if (name == "--seed") {
            understood = readNumber(value, options.seed);
            ++index;
        } else if (name == "--frames") {
            understood = readNumber(value, options.frames) && options.frames >= 1 && options.frames <= 10'000;
            ++index;
        } else if (name == "--megapixels") {
            double megapixels = 0;
            understood = readNumber(value, megapixels) && megapixels >= 0.01 && megapixels <= 200;
            options.megapixels = megapixels;
            ++index;
        } else if (name == "--small") {
            options.megapixels = 1;
        } else if (name.starts_with("--") || !folder.empty()) {
            understood = false;
        } else {
            folder = name;
        }
        if (!understood) {
            std::fputs(usage, stderr);
            return 2;
        }
    }
    if (folder.empty()) {
        std::fputs(usage, stderr);
        return 2;
    }
    const int written = kelvaris::sample_roll::makeRoll(folder, options, [](std::string_view text) {
        std::printf("%.*s\n", static_cast<int>(text.size()), text.data());
    });
    std::printf("%d of %d frames written to %s\n", written, options.frames, folder.c_str());
    return written == options.frames ? 0 : 1;
}
