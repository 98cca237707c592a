#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <fmt/format.h>

namespace kelvaris {

/// A camera that the user calls their own.
struct FavoriteCamera {
    std::string make;
    std::string model;

    std::string id() const { return make + "-" + model; }
    bool operator==(const FavoriteCamera&) const = default;
};

template <class Visitor>
void describe(Visitor& visitor, FavoriteCamera& record) {
    visitor.required("make", record.make, "Maker of the camera");
    visitor.required("model", record.model, "Model of the camera");
}

/// A film stock that the user shoots often.
struct FavoriteFilmStock {
    std::string name;
    std::optional<std::int64_t> iso;

    std::string id() const { return fmt::format("{}-{}", name, iso.value_or(0)); }
    bool operator==(const FavoriteFilmStock&) const = default;
};

template <class Visitor>
void describe(Visitor& visitor, FavoriteFilmStock& record) {
    visitor.required("name", record.name, "Name of the film stock");
    visitor.optional("iso", record.iso, "Speed of the film");
}

}  // namespace kelvaris
