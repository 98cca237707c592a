#include <cstdlib>

#include "platform_linux/jpeg_segments.h"
#include "platform_linux/tiff_tables.h"

/// The segments in front of a JPEG's pixels, and the tables of the Exif block among them.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kelvaris;
    const ViewByteSource file(ByteView(data, size));
    const MetadataBlocks blocks = readJpegMetadata(file);
    std::size_t total = blocks.exif.size() + blocks.xmp.size() + blocks.icc.size();
    for (const auto* list : {&blocks.extendedXmp, &blocks.photoshop, &blocks.comments}) {
        for (const Bytes& each : *list) total += each.size();
    }
    if (total > size) std::abort();

    const ViewByteSource block(blocks.exif);
    const auto reader = TiffReader::open(block);
    std::uint64_t offset = reader ? reader->firstTable() : 0;
    for (int i = 0; i < 4 && offset != 0; ++i) {
        const auto table = reader->table(offset);
        if (!table) break;
        for (const TiffEntry& entry : table->entries) {
            (void)reader->integers(*table, entry.tag, 1000);
            (void)reader->rawBytes(*table, entry.tag, 1000);
        }
        offset = table->next;
    }
    return 0;
}
