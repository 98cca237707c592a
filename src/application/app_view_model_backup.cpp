// Backup, restore and reset.

#include "application/app_view_model.h"
#include "base/text.h"
#include "images/image_cache.h"

namespace kelvaris {

bool AppViewModel::startMirroring(const Path& folder) {
    const auto reference = services_.folders.makeReference(folder);
    if (!reference) return false;
    services_.preferences.setMirrorFolder(base64Encoded(*reference), folder.string());
    return true;
}

void AppViewModel::backUpNow(std::function<void(int)> completion) {
    utilityQueue_->add([this, alive = lifetime_.weak(), completion = std::move(completion)] {
        const int count = services_.vault.mirror().mirrorAll();
        services_.library.main.post([alive, completion, count] {
            if (!alive.expired()) completion(count);
        });
    });
}

void AppViewModel::restoreFromMirror(const Path& folder, std::function<void(std::optional<int>)> completion) {
    utilityQueue_->add([this, folder, alive = lifetime_.weak(), completion = std::move(completion)] {
        const std::optional<int> count = services_.vault.mirror().restoreFromMirror(folder);
        services_.library.main.post([this, alive, completion, count] {
            if (alive.expired()) return;
            if (count) reloadAfterRestore();
            completion(count);
        });
    });
}

void AppViewModel::reloadAfterRestore() {
    // What waits to be saved, or is still being found, is older than what was just restored.
    callOffAllAnalysis();
    services_.vault.cancelPendingSaves();
    setActiveRoll(nullptr);
    setRolls({});
    services_.library.imageCache.removeAll();
    services_.preferences.loadFromVault();
    restoreRolls(startMode_);
}

void AppViewModel::resetAllData() {
    isResettingData_ = true;
    notify(AppField::isResettingData);
    services_.vault.cancelPendingSaves();
    services_.preferences.cancelVaultSync();
    services_.favorites.cancelPendingSave();
    callOffAllAnalysis();
    setActiveRoll(nullptr);
    setRolls({});
    services_.library.imageCache.removeAll();
    kelvaris::resetAllData(services_.library.files, services_.vault.paths());
    services_.defaults.removeAll();
    services_.library.shell.terminate();
}

}  // namespace kelvaris
