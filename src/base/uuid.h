#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace kelvaris {

/// A 128-bit identifier. Its canonical text is upper-case, in groups of 8-4-4-4-12 digits.
class Uuid {
public:
    /// The identifier of all zeros, which no live object carries.
    constexpr Uuid() = default;
    constexpr explicit Uuid(std::array<std::uint8_t, 16> bytes) : bytes_(bytes) {}

    /// A fresh random identifier (version 4). Any thread.
    static Uuid random();

    /// Reads the canonical grouping in either case; anything else is no identifier.
    static std::optional<Uuid> parse(std::string_view text);

    std::string text() const;
    constexpr const std::array<std::uint8_t, 16>& bytes() const { return bytes_; }
    constexpr auto operator<=>(const Uuid&) const = default;

private:
    std::array<std::uint8_t, 16> bytes_{};
};

/// A Uuid that names one kind of thing, so that a photo's id is never taken for a roll's.
template <class Tag>
class Identifier {
public:
    constexpr Identifier() = default;
    constexpr explicit Identifier(Uuid uuid) : uuid_(uuid) {}
    static Identifier random() { return Identifier(Uuid::random()); }
    static std::optional<Identifier> parse(std::string_view text) {
        const auto uuid = Uuid::parse(text);
        if (!uuid) return std::nullopt;
        return Identifier(*uuid);
    }
    std::string text() const { return uuid_.text(); }
    constexpr Uuid uuid() const { return uuid_; }
    constexpr auto operator<=>(const Identifier&) const = default;

private:
    Uuid uuid_;
};

using RollID = Identifier<struct RollTag>;
using PhotoID = Identifier<struct PhotoTag>;
/// Names one run of work, so that what comes back late can be told from what is current.
using RunStamp = Identifier<struct RunTag>;

}  // namespace kelvaris

template <>
struct std::hash<kelvaris::Uuid> {
    std::size_t operator()(const kelvaris::Uuid& uuid) const noexcept;
};

template <class Tag>
struct std::hash<kelvaris::Identifier<Tag>> {
    std::size_t operator()(const kelvaris::Identifier<Tag>& id) const noexcept {
        return std::hash<kelvaris::Uuid>()(id.uuid());
    }
};
