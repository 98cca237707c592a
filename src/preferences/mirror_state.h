#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "base/instant.h"

namespace kelvaris {

/// What the writers of the mirror need to know, and what became of their last write. Any thread; the
/// lock is held only for these short reads and writes, never across file work. One object, made by the
/// program's entry point, shared by the preferences that set it and the vault that mirrors.
class MirrorState {
public:
    struct Target {
        bool enabled = false;
        std::optional<std::string> bookmark;  ///< decoded folder reference

        bool operator==(const Target&) const = default;
    };

    Target target() const {
        const std::lock_guard lock(mutex_);
        return target_;
    }
    void setTarget(Target target) {
        const std::lock_guard lock(mutex_);
        target_ = std::move(target);
    }

    /// A file was written.
    void noteWritten(Instant when) {
        const std::lock_guard lock(mutex_);
        lastDate_ = when;
    }
    void noteFailure(std::string reason) {
        const std::lock_guard lock(mutex_);
        lastError_ = std::move(reason);
    }
    /// The mirror is behind with nothing any more. A file that was written says nothing of the others.
    void forgetFailure() {
        const std::lock_guard lock(mutex_);
        lastError_.reset();
    }

    /// Time of the last successful file write.
    std::optional<Instant> lastDate() const {
        const std::lock_guard lock(mutex_);
        return lastDate_;
    }
    /// Text of the last failure, until everything is written.
    std::optional<std::string> lastError() const {
        const std::lock_guard lock(mutex_);
        return lastError_;
    }

private:
    mutable std::mutex mutex_;
    Target target_;
    std::optional<Instant> lastDate_;
    std::optional<std::string> lastError_;
};

}  // namespace kelvaris
