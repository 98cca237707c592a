#include "vault/roll_manifest.h"

#include <algorithm>
#include <cmath>

#include "base/text.h"
#include "base/uuid.h"

namespace kelvaris {

namespace {

constexpr std::int64_t largestPeopleCount = 2'147'483'647;

bool isWithin(const std::optional<std::int64_t>& value, std::int64_t most) {
    return !value || (*value >= 0 && *value <= most);
}

bool isWithin(const std::optional<double>& degrees, double most) {
    return !degrees || (std::isfinite(*degrees) && std::abs(*degrees) <= most);
}

bool isValidEntry(const PhotoManifestEntry& entry) {
    return isWithin(entry.sortIndex, VaultRollManifest::largestSortIndex) &&
           isWithin(entry.peopleCount, largestPeopleCount) && isWithin(entry.latitude, 90.0) &&
           isWithin(entry.longitude, 180.0);
}

}  // namespace

bool VaultRollManifest::isValidID(std::string_view text) {
    const auto uuid = Uuid::parse(text);
    return uuid && asciiLowercased(text) == asciiLowercased(uuid->text());
}

bool VaultRollManifest::isValid() const {
    return isValidID(id) && std::ranges::all_of(photos, isValidEntry) &&
           (!removedPhotos || std::ranges::all_of(*removedPhotos, isValidEntry));
}

}  // namespace kelvaris
