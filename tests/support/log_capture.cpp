#include "log_capture.h"

namespace kelvaris::testing {

LogCapture::LogCapture() {
    before_ = log::setSink([this](const log::Record& record) {
        const std::lock_guard lock(mutex_);
        lines_.push_back({record.level, std::string(record.message)});
    });
}

LogCapture::~LogCapture() { log::setSink(before_); }

std::vector<std::string> LogCapture::messages() const {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> result;
    for (const Line& line : lines_) result.push_back(line.message);
    return result;
}

std::vector<std::string> LogCapture::errors() const {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> result;
    for (const Line& line : lines_) {
        if (line.level == log::Level::error) result.push_back(line.message);
    }
    return result;
}

bool LogCapture::contains(std::string_view text) const {
    const std::lock_guard lock(mutex_);
    for (const Line& line : lines_) {
        if (line.message.find(text) != std::string::npos) return true;
    }
    return false;
}

}  // namespace kelvaris::testing
