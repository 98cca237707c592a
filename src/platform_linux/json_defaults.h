#pragma once

#include <nlohmann/json.hpp>

#include "platform/defaults.h"
#include "platform/files.h"

namespace kelvaris {

/// The user's settings in one JSON file, written whole and atomically at each change.
/// A damaged file counts as empty and is kept beside under ".damaged"; a file that is there but can not
/// be read is left alone, and changes last for this run only.
class JsonDefaults final : public Defaults {
public:
    /// @param savesChanges false for a program that leaves the file to another one: changes last for its run.
    JsonDefaults(Files& files, Path path, bool savesChanges = true);

    std::optional<std::string> string(std::string_view key) const override;
    std::optional<bool> boolean(std::string_view key) const override;
    std::optional<double> number(std::string_view key) const override;
    void setString(std::string_view key, std::string_view value) override;
    void setBoolean(std::string_view key, bool value) override;
    void setNumber(std::string_view key, double value) override;
    void remove(std::string_view key) override;
    void removeAll() override;

private:
    const nlohmann::json* find(std::string_view key) const;
    void set(std::string_view key, nlohmann::json value);
    void save();

    Files& files_;
    Path path_;
    nlohmann::json values_ = nlohmann::json::object();
    bool savesChanges_;
};

}  // namespace kelvaris
