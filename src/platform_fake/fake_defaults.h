#pragma once

#include <map>
#include <variant>

#include "platform/defaults.h"

namespace kelvaris {

/// Settings in memory, open to the test; hand the values on to play a restart.
class FakeDefaults final : public Defaults {
public:
    using Value = std::variant<std::string, bool, double>;
    using Store = std::map<std::string, Value, std::less<>>;

    std::optional<std::string> string(std::string_view key) const override { return get<std::string>(key); }
    std::optional<bool> boolean(std::string_view key) const override { return get<bool>(key); }
    std::optional<double> number(std::string_view key) const override { return get<double>(key); }
    void setString(std::string_view key, std::string_view value) override { set(key, std::string(value)); }
    void setBoolean(std::string_view key, bool value) override { set(key, value); }
    void setNumber(std::string_view key, double value) override { set(key, value); }
    void remove(std::string_view key) override {
        if (const auto found = values.find(key); found != values.end()) values.erase(found);
    }
    void removeAll() override { values.clear(); }

    Store values;
    int writes = 0;

private:
    template <class T>
    std::optional<T> get(std::string_view key) const {
        const auto found = values.find(key);
        if (found == values.end()) return std::nullopt;
        const T* value = std::get_if<T>(&found->second);
        return value ? std::optional<T>(*value) : std::nullopt;
    }
    void set(std::string_view key, Value value) {
        values.insert_or_assign(std::string(key), std::move(value));
        ++writes;
    }
};

}  // namespace kelvaris
