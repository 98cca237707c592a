#pragma once

#include <memory>
#include <optional>

#include "base/log.h"
#include "base/path.h"

namespace kelvaris {

struct LogOptions {
    /// Where "kelvaris.log" and its older copies stand; nothing writes no file.
    std::optional<Path> folder;
    bool toStandardError = true;
    log::Level standardErrorLevel = log::Level::info;
};

/// Takes the process's log lines to standard error and to a rotating file for as long as it lives.
class LogSink {
public:
    explicit LogSink(const LogOptions& options);
    ~LogSink();
    LogSink(const LogSink&) = delete;
    LogSink& operator=(const LogSink&) = delete;

private:
    log::Sink before_;
};

}  // namespace kelvaris
