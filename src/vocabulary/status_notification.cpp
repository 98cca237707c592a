#include "vocabulary/status_notification.h"

#include <array>

namespace kelvaris {
namespace {

struct Row {
    StatusNotification::Kind kind;
    ToastType toastType;
    std::string_view icon;
};

using Kind = StatusNotification::Kind;
constexpr std::array rows{
    Row{Kind::opened, ToastType::success, "photo.on.rectangle.angled"},
    Row{Kind::exported, ToastType::success, "square.and.arrow.up"},
    Row{Kind::locationsLoaded, ToastType::success, "location.circle"},
    Row{Kind::assigned, ToastType::success, "calendar.badge.checkmark"},
    Row{Kind::reanalyzing, ToastType::info, "atom"},
    Row{Kind::warning, ToastType::warning, "calendar.badge.exclamationmark"},
    Row{Kind::cloudWarning, ToastType::warning, "icloud.slash"},
    Row{Kind::error, ToastType::error, "exclamationmark.triangle"},
    Row{Kind::info, ToastType::info, "info.circle"},
    Row{Kind::locationsLoading, ToastType::info, "location.circle"},
};

const Row& rowOf(Kind kind) { return rows[static_cast<std::size_t>(kind)]; }

}  // namespace

std::string countOf(int count, std::string_view noun) {
    std::string text = std::to_string(count) + " " + std::string(noun);
    if (count != 1) text += "s";
    return text;
}

StatusNotification StatusNotification::opened(int count) {
    StatusNotification notification(Kind::opened);
    notification.count_ = count;
    return notification;
}

StatusNotification StatusNotification::exported(int count, int errors) {
    StatusNotification notification(Kind::exported);
    notification.count_ = count;
    notification.errors_ = errors;
    return notification;
}

StatusNotification StatusNotification::locationsLoaded(int count, std::string range) {
    StatusNotification notification(Kind::locationsLoaded, std::move(range));
    notification.count_ = count;
    return notification;
}

StatusNotification StatusNotification::assigned(std::string message) {
    return {Kind::assigned, std::move(message)};
}

StatusNotification StatusNotification::reanalyzing(std::string message) {
    return {Kind::reanalyzing, std::move(message)};
}

StatusNotification StatusNotification::warning(std::string message) {
    return {Kind::warning, std::move(message)};
}

StatusNotification StatusNotification::cloudWarning(std::string message, Path folder) {
    StatusNotification notification(Kind::cloudWarning, std::move(message));
    notification.folder_ = std::move(folder);
    return notification;
}

StatusNotification StatusNotification::error(std::string message) {
    return {Kind::error, std::move(message)};
}

StatusNotification StatusNotification::info(std::string message) { return {Kind::info, std::move(message)}; }

StatusNotification StatusNotification::locationsLoading() {
    return StatusNotification(Kind::locationsLoading);
}

std::string StatusNotification::message() const {
    switch (kind_) {
        case Kind::opened:
            return "Opened " + countOf(count_, "photo");
        case Kind::exported:
            return "Exported " + countOf(count_, "photo") +
                   (errors_ > 0 ? ", " + countOf(errors_, "error") : " to Kelvaris_Export/");
        case Kind::locationsLoaded:
            return std::to_string(count_) + " locations loaded (" + text_ + ")";
        case Kind::locationsLoading:
            return "Loading location history...";
        case Kind::assigned:
        case Kind::reanalyzing:
        case Kind::warning:
        case Kind::cloudWarning:
        case Kind::error:
        case Kind::info:
            return text_;
    }
    return {};
}

ToastType StatusNotification::toastType() const { return rowOf(kind_).toastType; }
std::string_view StatusNotification::icon() const { return rowOf(kind_).icon; }

}  // namespace kelvaris
