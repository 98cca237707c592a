#include <cmath>
#include <cstdlib>

#include "platform/inference.h"

using namespace kelvaris;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto metadata = readOnnxMetadata(ByteView(data, size));
    std::size_t total = 0;
    if (metadata) {
        for (const auto& [key, value] : *metadata) total += key.size() + value.size();
        const auto normalization = pictureNormalization(*metadata);
        for (std::size_t channel = 0; normalization && channel < 3; ++channel) {
            if (!std::isfinite(static_cast<float>(normalization->value(channel, 255)))) std::abort();
        }
    }
    if (total > size) std::abort();  // more than the file holds
    if (parseLabels(asText(ByteView(data, size))).size() > size) std::abort();
    return 0;
}
