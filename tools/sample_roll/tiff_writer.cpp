#include "sample_roll/writers.h"

#include <tiffio.h>

#include <memory>

namespace kelvaris::sample_roll {

namespace {

struct CloseTiff {
    void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};

using Tiff = std::unique_ptr<TIFF, CloseTiff>;

void setText(TIFF* tiff, std::uint32_t tag, const std::string& text) {
    if (!text.empty()) {
        TIFFSetField(tiff, tag, text.c_str());
    }
}

double quotient(const Rational& value) {
    return static_cast<double>(value.first) / static_cast<double>(value.second);
}

/// Appends the EXIF table behind the finished picture and points the picture at it.
bool addExif(TIFF* tiff, const ExifRecord& exif) {
    std::uint64_t place = 0;
    if (TIFFCreateEXIFDirectory(tiff) != 0) {
        return false;
    }
    if (exif.exposureTime) {
        TIFFSetField(tiff, EXIFTAG_EXPOSURETIME, quotient(*exif.exposureTime));
    }
    if (exif.fNumber) {
        TIFFSetField(tiff, EXIFTAG_FNUMBER, quotient(*exif.fNumber));
    }
    if (exif.isoSpeed) {
        TIFFSetField(tiff, EXIFTAG_ISOSPEEDRATINGS, 1, &*exif.isoSpeed);
    }
    setText(tiff, EXIFTAG_DATETIMEORIGINAL, exif.dateTimeOriginal);
    setText(tiff, EXIFTAG_LENSMODEL, exif.lensModel);
    return TIFFWriteCustomDirectory(tiff, &place) == 1 && TIFFSetDirectory(tiff, 0) == 1 &&
           TIFFSetField(tiff, TIFFTAG_EXIFIFD, place) == 1 && TIFFRewriteDirectory(tiff) == 1;
}

bool writeRows(TIFF* tiff, Frame& frame) {
    std::vector<std::uint16_t> row;
    for (int y = 0; y < frame.height(); ++y) {
        const auto samples = frame.row16(y);
        row.assign(samples.begin(), samples.end());
        if (TIFFWriteScanline(tiff, row.data(), static_cast<std::uint32_t>(y), 0) != 1) {
            return false;
        }
    }
    return true;
}

}  // namespace

WriteOutcome writeTiff16(const std::filesystem::path& path, Frame& frame, bool compressed,
                         const std::optional<ExifRecord>& exif) {
    Tiff tiff(TIFFOpen(path.c_str(), "w"));
    if (!tiff) {
        return WriteOutcome::failed;
    }
    TIFFSetField(tiff.get(), TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(frame.width()));
    TIFFSetField(tiff.get(), TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(frame.height()));
    TIFFSetField(tiff.get(), TIFFTAG_BITSPERSAMPLE, 16);
    TIFFSetField(tiff.get(), TIFFTAG_SAMPLESPERPIXEL, frame.channels());
    TIFFSetField(tiff.get(), TIFFTAG_PHOTOMETRIC,
                 frame.channels() == 1 ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB);
    TIFFSetField(tiff.get(), TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tiff.get(), TIFFTAG_ROWSPERSTRIP, 64);
    TIFFSetField(tiff.get(), TIFFTAG_COMPRESSION, compressed ? COMPRESSION_LZW : COMPRESSION_NONE);
    if (compressed) {
        TIFFSetField(tiff.get(), TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
    }
    TIFFSetField(tiff.get(), TIFFTAG_ORIENTATION, exif ? exif->orientation : 1);
    if (exif) {
        setText(tiff.get(), TIFFTAG_IMAGEDESCRIPTION, exif->description);
        setText(tiff.get(), TIFFTAG_MAKE, exif->make);
        setText(tiff.get(), TIFFTAG_MODEL, exif->model);
        setText(tiff.get(), TIFFTAG_SOFTWARE, exif->software);
        setText(tiff.get(), TIFFTAG_DATETIME, exif->dateTime);
    }
    bool whole = writeRows(tiff.get(), frame);
    if (whole && exif) {
        whole = TIFFWriteDirectory(tiff.get()) == 1 && addExif(tiff.get(), *exif);
    }
    tiff.reset();
    if (!whole) {
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
        return WriteOutcome::failed;
    }
    return WriteOutcome::written;
}

}  // namespace kelvaris::sample_roll
