#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/path.h"

namespace kelvaris {

/// How a message is shown.
enum class ToastType : std::uint8_t { success, warning, error, info };

/// The short message that a roll raises for the user: a case with its payload.
class StatusNotification {
public:
    enum class Kind : std::uint8_t {
        opened,
        exported,
        locationsLoaded,
        assigned,
        reanalyzing,
        warning,
        cloudWarning,
        error,
        info,
        locationsLoading,
    };

    static StatusNotification opened(int count);
    static StatusNotification exported(int count, int errors);
    static StatusNotification locationsLoaded(int count, std::string range);
    static StatusNotification assigned(std::string message);
    static StatusNotification reanalyzing(std::string message);
    static StatusNotification warning(std::string message);
    static StatusNotification cloudWarning(std::string message, Path folder);
    static StatusNotification error(std::string message);
    static StatusNotification info(std::string message);
    static StatusNotification locationsLoading();

    Kind kind() const { return kind_; }
    /// Of `opened`, `exported` and `locationsLoaded`, else 0.
    int count() const { return count_; }
    /// Of `exported`, else 0.
    int errors() const { return errors_; }
    /// Of `cloudWarning`, else empty.
    const Path& folder() const { return folder_; }

    std::string message() const;
    ToastType toastType() const;
    /// A symbol of the interface.
    std::string_view icon() const;

    bool operator==(const StatusNotification&) const = default;

private:
    explicit StatusNotification(Kind kind) : kind_(kind) {}
    StatusNotification(Kind kind, std::string text) : kind_(kind), text_(std::move(text)) {}

    Kind kind_;
    int count_ = 0;
    int errors_ = 0;
    std::string text_;  ///< the range of `locationsLoaded`, the message of the cases that carry one
    Path folder_;
};

/// "1 photo", "3 photos".
std::string countOf(int count, std::string_view noun);

}  // namespace kelvaris
