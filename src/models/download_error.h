#pragma once

#include <string>

#include "base/result.h"
#include "platform/files.h"

namespace kelvaris {

/// Why a model was not installed.
struct DownloadError {
    enum class Code {
        httpError,
        transferFailed,
        extractionFailed,
        insufficientSpace,
        invalidArchive,
        verificationFailed,
        checksumMismatch,
        anotherInstance,
        cancelled,
    };
    Code code = Code::transferFailed;
    int httpStatus = 0;
    std::string detail;  ///< of a failed extraction or transfer; the former is for the log alone

    /// The user's text. Logs the detail of a failed extraction.
    std::string errorDescription() const;

    /// A failed file operation while an archive was unpacked.
    static DownloadError ofExtraction(const FileError& error);
};

template <class T>
using DownloadResult = Result<T, DownloadError>;

inline Unexpected<DownloadError> extractionFailure(std::string detail) {
    return Unexpected(DownloadError{DownloadError::Code::extractionFailed, 0, std::move(detail)});
}

}  // namespace kelvaris
