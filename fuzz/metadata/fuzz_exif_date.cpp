#include <cstdlib>

#include "base/bytes.h"
#include "metadata/exif_date.h"

using namespace kelvaris;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto reading = parseExifDate(asText(ByteView(data, size)));
    if (reading && parseExifDate(exifDateText(*reading)) != reading) std::abort();
    return 0;
}
