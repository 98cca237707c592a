#include "platform_linux/tiff_strips.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace kelvaris {
namespace {

enum Tag : std::uint16_t {
    imageWidth = 256,
    imageLength = 257,
    bitsPerSample = 258,
    compression = 259,
    photometric = 262,
    fillOrder = 266,
    stripOffsets = 273,
    samplesPerPixel = 277,
    rowsPerStripTag = 278,
    planarConfiguration = 284,
    extraSamples = 338,
    sampleFormat = 339,
    colourProfile = 34675,
};

constexpr std::uint64_t blackIsZero = 1;
constexpr std::uint64_t redGreenBlue = 2;
constexpr std::uint64_t profileLimit = 16 * 1024 * 1024;

bool allAre(const std::vector<std::uint64_t>& values, std::uint64_t expected) {
    return std::ranges::all_of(values, [&](std::uint64_t value) { return value == expected; });
}

/// Rows of the picture, read in their order from strip to strip.
class RowReader {
public:
    RowReader(const ByteSource& file, const TiffStrips& strips)
        : file_(file),
          strips_(strips),
          rowSize_(static_cast<std::size_t>(strips.width) * strips.samples * (strips.bits / 8)) {}

    std::size_t rowSize() const { return rowSize_; }

    /// Fills the target with as many whole rows as it holds.
    bool read(int firstRow, std::span<std::uint8_t> target) const {
        int rows = static_cast<int>(target.size() / rowSize_);
        while (rows > 0) {
            const int strip = firstRow / strips_.rowsPerStrip;
            const int within = firstRow % strips_.rowsPerStrip;
            const int count = std::min(rows, strips_.rowsPerStrip - within);
            const std::uint64_t offset = strips_.offsets[static_cast<std::size_t>(strip)] +
                                         static_cast<std::uint64_t>(within) * rowSize_;
            if (!file_.readAt(offset, target.first(count * rowSize_))) return false;
            target = target.subspan(count * rowSize_);
            firstRow += count;
            rows -= count;
        }
        return true;
    }

private:
    const ByteSource& file_;
    const TiffStrips& strips_;
    const std::size_t rowSize_;
};

template <class Sample, bool swapped>
void addRow(const std::uint8_t* row, std::span<std::uint32_t> sums) {
    for (std::size_t i = 0; i < sums.size(); ++i) {
        Sample sample;
        std::memcpy(&sample, row + i * sizeof(Sample), sizeof(Sample));
        if constexpr (swapped) sample = static_cast<Sample>(sample << 8 | sample >> 8);
        sums[i] += sample;
    }
}

/// Turns the sums of columns into means of boxes.
template <class Sample>
void writeMeans(const TiffStrips& strips, std::span<const std::uint32_t> sums, int box, int rows,
                Sample* target) {
    for (int left = 0; left < strips.width; left += box) {
        const int columns = std::min(box, strips.width - left);
        const std::uint32_t count = static_cast<std::uint32_t>(columns) * static_cast<std::uint32_t>(rows);
        const std::uint32_t* cell = sums.data() + static_cast<std::size_t>(left) * strips.samples;
        for (int colour = 0; colour < strips.colours; ++colour) {
            std::uint32_t sum = count / 2;
            for (int x = 0; x < columns; ++x) sum += cell[x * strips.samples + colour];
            *target++ = static_cast<Sample>(sum / count);
        }
    }
}

template <class Sample, bool swapped>
ImageResult<VipsImagePtr> shrunk(const ByteSource& file, const TiffStrips& strips, int box) {
    const RowReader reader(file, strips);
    const int width = (strips.width + box - 1) / box;
    const int height = (strips.height + box - 1) / box;
    std::vector<Sample> means(static_cast<std::size_t>(width) * height * strips.colours);
    std::vector<std::uint32_t> sums(static_cast<std::size_t>(strips.width) * strips.samples);
    Bytes rows(reader.rowSize() * static_cast<std::size_t>(box));
    for (int y = 0; y < height; ++y) {
        const int count = std::min(box, strips.height - y * box);
        const auto target = std::span(rows).first(reader.rowSize() * static_cast<std::size_t>(count));
        if (!reader.read(y * box, target)) {
            return Unexpected(ImageError{ImageError::Code::damaged, "the strips end early"});
        }
        std::ranges::fill(sums, 0);
        for (int row = 0; row < count; ++row) {
            addRow<Sample, swapped>(target.data() + reader.rowSize() * static_cast<std::size_t>(row), sums);
        }
        writeMeans(strips, sums, box, count,
                   means.data() + static_cast<std::size_t>(y) * width * strips.colours);
    }
    const VipsImagePtr plain(vips_image_new_from_memory_copy(
        means.data(), means.size() * sizeof(Sample), width, height, strips.colours,
        sizeof(Sample) == 1 ? VIPS_FORMAT_UCHAR : VIPS_FORMAT_USHORT));
    const VipsInterpretation interpretation =
        strips.colours == 1 ? (sizeof(Sample) == 1 ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_GREY16)
                            : (sizeof(Sample) == 1 ? VIPS_INTERPRETATION_sRGB : VIPS_INTERPRETATION_RGB16);
    auto image = plain ? vipsResult([&](VipsImage** out) {
        return vips_copy(plain.get(), out, "interpretation", interpretation, nullptr);
    })
                       : nullptr;
    if (!image) return Unexpected(ImageError{ImageError::Code::failed, takeVipsErrors()});
    if (!strips.profile.empty()) {
        vips_image_set_blob_copy(image.get(), VIPS_META_ICC_NAME, strips.profile.data(),
                                 strips.profile.size());
    }
    return image;
}

}  // namespace

bool hasAlphaSamples(const TiffReader& reader, const TiffTable& table) {
    const auto kinds = reader.integers(table, extraSamples, 64);
    return !kinds.empty() && (kinds.front() == 1 || kinds.front() == 2);
}

std::optional<TiffStrips> plainStrips(const TiffReader& reader, const TiffTable& table) {
    const auto number = [&](Tag tag, std::uint64_t otherwise) {
        return reader.integer(table, tag).value_or(otherwise);
    };
    const std::uint64_t width = number(imageWidth, 0);
    const std::uint64_t height = number(imageLength, 0);
    const std::uint64_t samples = number(samplesPerPixel, 1);
    const std::uint64_t bits = number(bitsPerSample, 1);
    const std::uint64_t kind = number(photometric, ~0ULL);
    const std::uint64_t colours = kind == redGreenBlue ? 3 : 1;
    const bool plain = number(compression, 1) == 1 && number(fillOrder, 1) == 1 &&
                       number(planarConfiguration, 1) == 1 && (kind == blackIsZero || kind == redGreenBlue) &&
                       (bits == 8 || bits == 16) && allAre(reader.integers(table, bitsPerSample, 16), bits) &&
                       allAre(reader.integers(table, sampleFormat, 16), 1);
    if (!plain || width < 1 || height < 1 || width > INT32_MAX / 16 || height > INT32_MAX)
        return std::nullopt;
    if (samples < colours || samples > 8) return std::nullopt;
    if (samples > colours && hasAlphaSamples(reader, table)) return std::nullopt;

    TiffStrips strips{.width = static_cast<int>(width),
                      .height = static_cast<int>(height),
                      .samples = static_cast<int>(samples),
                      .colours = static_cast<int>(colours),
                      .bits = static_cast<int>(bits),
                      .bigEndian = reader.isBigEndian()};
    const std::uint64_t rows = std::min(number(rowsPerStripTag, height), height);
    if (rows < 1) return std::nullopt;
    strips.rowsPerStrip = static_cast<int>(rows);
    strips.offsets = reader.integers(table, stripOffsets, height);
    if (strips.offsets.size() != (height + rows - 1) / rows) return std::nullopt;
    strips.profile = reader.rawBytes(table, colourProfile, profileLimit);
    return strips;
}

ImageResult<VipsImagePtr> shrunkStrips(const ByteSource& file, const TiffStrips& strips, int box) {
    if (strips.bits == 8) return shrunk<std::uint8_t, false>(file, strips, box);
    const bool swapped = strips.bigEndian != (std::endian::native == std::endian::big);
    return swapped ? shrunk<std::uint16_t, true>(file, strips, box)
                   : shrunk<std::uint16_t, false>(file, strips, box);
}

}  // namespace kelvaris
