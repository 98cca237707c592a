#include "models/download_error.h"

#include <fmt/format.h>

#include "base/log.h"

namespace kelvaris {

std::string DownloadError::errorDescription() const {
    switch (code) {
        case Code::httpError:
            if (httpStatus == 404) return "Model not available for download yet.";
            return fmt::format("Download failed (HTTP {}).", httpStatus);
        case Code::transferFailed:
            return detail;
        case Code::extractionFailed:
            log::error("ModelDownload", "Extraction error: {}", detail);
            return "Installation failed. Try again.";
        case Code::insufficientSpace:
            return "Not enough disk space.";
        case Code::invalidArchive:
            return "Downloaded file is not a valid model archive.";
        case Code::verificationFailed:
            return "Model files missing after extraction.";
        case Code::checksumMismatch:
            return "Download integrity check failed. Try again.";
        case Code::anotherInstance:
            return "Another running Kelvaris is installing models.";
        case Code::cancelled:
            return "Cancelled.";
    }
    return {};
}

DownloadError DownloadError::ofExtraction(const FileError& error) {
    if (error.code == FileError::Code::noSpace) return {Code::insufficientSpace};
    return {Code::extractionFailed, 0, error.message};
}

}  // namespace kelvaris
