#include <cstdlib>

#include "models/gzip_reader.h"
#include "platform_linux/zlib_compression.h"

/// A member of any bytes reads to an end or to an error, and never more than the format can hold.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kelvaris;
    const ZlibCompression compression;
    auto reader = GzipReader::open(ByteView(data, size), compression);
    if (!reader) return 0;
    Bytes piece(4096);
    std::size_t total = 0;
    for (;;) {
        const auto count = (*reader)->read(piece);
        if (!count || *count == 0) break;
        total += *count;
    }
    constexpr std::size_t largestRatio = 1032;  // what DEFLATE can reach
    if (total > (size + 1) * largestRatio) std::abort();
    return 0;
}
