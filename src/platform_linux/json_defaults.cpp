#include "platform_linux/json_defaults.h"

#include "base/log.h"

namespace kelvaris {

namespace {
constexpr std::int64_t largestFile = 16 << 20;
constexpr const char* category = "Defaults";
}  // namespace

JsonDefaults::JsonDefaults(Files& files, Path path, bool savesChanges)
    : files_(files), path_(std::move(path)), savesChanges_(savesChanges) {
    const auto bytes = files_.read(path_, largestFile);
    if (!bytes && bytes.error().code == FileError::Code::notFound) return;
    if (!bytes && bytes.error().code != FileError::Code::tooLarge) {
        log::error(category, "Failed to read {}: {}", path_.string(), bytes.error().message);
        savesChanges_ = false;
        return;
    }
    nlohmann::json read;
    if (bytes) read = nlohmann::json::parse(bytes->begin(), bytes->end(), nullptr, false);
    if (read.is_object()) {
        values_ = std::move(read);
        return;
    }
    if (!savesChanges_) return;
    const Path aside(path_.string() + ".damaged");
    const auto kept = files_.replace(path_, aside);
    log::error(category, "{} is damaged and counts as empty; {}", path_.string(),
               kept ? "kept as " + aside.string() : "it could not be kept: " + kept.error().message);
    if (!kept) savesChanges_ = false;
}

const nlohmann::json* JsonDefaults::find(std::string_view key) const {
    const auto found = values_.find(key);
    return found == values_.end() ? nullptr : &*found;
}

std::optional<std::string> JsonDefaults::string(std::string_view key) const {
    const nlohmann::json* value = find(key);
    if (!value || !value->is_string()) return std::nullopt;
    return value->get<std::string>();
}

std::optional<bool> JsonDefaults::boolean(std::string_view key) const {
    const nlohmann::json* value = find(key);
    if (!value || !value->is_boolean()) return std::nullopt;
    return value->get<bool>();
}

std::optional<double> JsonDefaults::number(std::string_view key) const {
    const nlohmann::json* value = find(key);
    if (!value || !value->is_number()) return std::nullopt;
    return value->get<double>();
}

void JsonDefaults::set(std::string_view key, nlohmann::json value) {
    nlohmann::json& member = values_[std::string(key)];
    if (member == value) return;
    member = std::move(value);
    save();
}

void JsonDefaults::setString(std::string_view key, std::string_view value) { set(key, value); }
void JsonDefaults::setBoolean(std::string_view key, bool value) { set(key, value); }
void JsonDefaults::setNumber(std::string_view key, double value) { set(key, value); }

void JsonDefaults::remove(std::string_view key) {
    if (values_.erase(std::string(key)) > 0) save();
}

void JsonDefaults::removeAll() {
    values_ = nlohmann::json::object();
    save();
}

void JsonDefaults::save() {
    if (!savesChanges_) return;
    const std::string text = values_.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
    FileResult<void> saved = files_.createDirectories(path_.parent());
    if (saved) saved = files_.writeAtomically(path_, asBytes(text));
    if (!saved) log::error(category, "Failed to save {}: {}", path_.string(), saved.error().message);
}

}  // namespace kelvaris
