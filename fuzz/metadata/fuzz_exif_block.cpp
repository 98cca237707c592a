#include <cstdlib>

#include "metadata/exif_block.h"
#include "metadata/exif_editor.h"
#include "metadata/jpeg_segments.h"
#include "metadata/tiff_metadata.h"

using namespace kelvaris;
using enum ExifTable;

namespace {

void require(bool holds) {
    if (!holds) std::abort();
}

void editAndReadBack(const ExifBlock& block, std::size_t limit) {
    ExifEditor editor(block);
    editor.removeStructure();
    editor.setShort(image, ExifTag::orientation, 1);
    editor.setComment("Foma\u00e9");
    editor.setText(gps, ExifTag::gpsLatitudeRef, "N");
    for (const auto& output : {editor.edited(limit), editor.rebuilt(limit)}) {
        const auto again = ExifBlock::parse(output.block);
        require(again.has_value());
        require(again->integer(image, ExifTag::orientation) == 1u);
        require(again->find(exif, ExifTag::userComment) != nullptr);
        require(again->text(gps, ExifTag::gpsLatitudeRef) == "N");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const ByteView bytes(data, size);
    if (const auto block = ExifBlock::parse(bytes)) {
        block->text(exif, ExifTag::dateTimeOriginal);
        block->degrees(gps, ExifTag::gpsLatitude);
        block->degrees(gps, ExifTag::gpsLongitude);
        editAndReadBack(*block, maximumExifBlock);
        editAndReadBack(*block, 200);
    }
    const Bytes tiff = readTiffMetadata(ViewByteSource(bytes)).exif;
    if (!tiff.empty()) require(ExifBlock::parse(tiff).has_value());
    uprightXmp(bytes);
    return 0;
}
