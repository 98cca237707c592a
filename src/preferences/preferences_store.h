#pragma once

#include <optional>

#include "preferences/vault_preferences.h"

namespace kelvaris {

/// The file preferences.md as the preferences see it. Main thread.
class PreferencesStore {
public:
    virtual ~PreferencesStore() = default;

    /// The record in the file; of a damaged one what can be salvaged, else its newest backup. Nothing when
    /// none of them gives a record.
    virtual std::optional<VaultPreferences> load() = 0;

    /// Writes the record atomically, rotating the file's backups.
    /// @return false when it is not valid or could not be written (the reason is in the log).
    virtual bool save(const VaultPreferences& record) = 0;
};

}  // namespace kelvaris
