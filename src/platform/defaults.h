#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kelvaris {

/// The user's settings by key. Typed reads: an absent key and a value of another type are both absent.
/// Writes reach the disk at once. Main thread.
class Defaults {
public:
    virtual ~Defaults() = default;

    virtual std::optional<std::string> string(std::string_view key) const = 0;
    virtual std::optional<bool> boolean(std::string_view key) const = 0;
    /// Whole numbers are read as numbers too.
    virtual std::optional<double> number(std::string_view key) const = 0;

    virtual void setString(std::string_view key, std::string_view value) = 0;
    virtual void setBoolean(std::string_view key, bool value) = 0;
    virtual void setNumber(std::string_view key, double value) = 0;
    virtual void remove(std::string_view key) = 0;
    /// Forgets every key.
    virtual void removeAll() = 0;
};

}  // namespace kelvaris
