#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/describe.h"

namespace kelvaris {

/// A camera that exists.
struct CameraRecord {
    std::string id;  ///< a slug that never changes; favorites refer to it
    std::string make;
    std::string model;
    std::optional<std::string> type;    ///< "SLR", "Rangefinder" ...
    std::optional<std::string> format;  ///< a stored word of FilmFormat
    std::optional<int> yearIntroduced;
    std::optional<std::string> url;
    std::optional<std::string> country;

    bool operator==(const CameraRecord&) const = default;
};

template <class Visitor>
void describe(Visitor& visitor, CameraRecord& record) {
    visitor.required("id", record.id, "Slug of the camera");
    visitor.required("make", record.make, "Maker");
    visitor.required("model", record.model, "Model");
    visitor.optional("type", record.type, "Kind of camera");
    visitor.optional("format", record.format, "Film format");
    visitor.optional("yearIntroduced", record.yearIntroduced, "First year of sale");
    visitor.optional("url", record.url, "Page about the camera");
    visitor.optional("country", record.country, "Where it was made");
}

/// A film stock that exists or existed.
struct FilmStockRecord {
    std::string id;  ///< a slug that never changes; favorites refer to it
    std::string brand;
    std::string name;
    int iso = 0;
    std::string type;  ///< "BW", "CN", "CR", "BWR", "SP" or "IR"
    bool discontinued = false;

    bool operator==(const FilmStockRecord&) const = default;

    /// What the user reads for the type, for example "B&W".
    std::string_view typeLabel() const;
    /// The name with the brand before it, unless the name begins with the brand already.
    std::string fullName() const;
};

template <class Visitor>
void describe(Visitor& visitor, FilmStockRecord& record) {
    visitor.required("id", record.id, "Slug of the film stock");
    visitor.required("brand", record.brand, "Brand");
    visitor.required("name", record.name, "Name");
    visitor.required("iso", record.iso, "Box speed");
    visitor.required("type", record.type, "BW, CN, CR, BWR, SP or IR");
    visitor.required("discontinued", record.discontinued, "Whether it is made no more");
}

}  // namespace kelvaris
