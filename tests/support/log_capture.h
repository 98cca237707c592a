#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "base/log.h"

namespace kelvaris::testing {

/// Collects the log's lines for as long as it lives.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<std::string> messages() const;
    std::vector<std::string> errors() const;
    /// Whether a line contains the text.
    bool contains(std::string_view text) const;

private:
    struct Line {
        log::Level level;
        std::string message;
    };
    mutable std::mutex mutex_;
    std::vector<Line> lines_;
    log::Sink before_;
};

}  // namespace kelvaris::testing
