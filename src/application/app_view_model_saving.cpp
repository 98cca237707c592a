// When a change reaches the disk.

#include <algorithm>

#include "application/app_view_model.h"

namespace kelvaris {

void AppViewModel::scheduleSave(const RollPointer& roll) {
    if (exclusive_ != Exclusive::none) return;
    services_.vault.scheduleSave(roll);
}

bool AppViewModel::flushPendingSaves() {
    if (exclusive_ != Exclusive::none) return true;
    const bool areRollsSaved = services_.vault.schedule().flush();
    services_.favorites.flushPendingSaves();
    const bool arePreferencesSaved = services_.preferences.flushVaultSync();
    return areRollsSaved && arePreferencesSaved;
}

void AppViewModel::takeInHandEdits() {
    for (const RollID id : services_.vault.changedOutside()) {
        if (const RollPointer changed = roll(id)) services_.vault.takeInHandEdit(*changed);
    }
}

}  // namespace kelvaris
