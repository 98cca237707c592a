#include "preferences/vault_preferences.h"

#include <algorithm>

#include "preferences/preference_settings.h"

namespace kelvaris {

bool VaultPreferences::isValid() const {
    return std::all_of(settings::numbers.begin(), settings::numbers.end(), [this](const auto& setting) {
        const auto& value = this->*setting.inFile;
        return !value || setting.isAcceptable(*value);
    });
}

}  // namespace kelvaris
