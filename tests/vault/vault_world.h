#pragma once

#include <fmt/format.h>

#include <memory>
#include <string>

#include "library/roll_loading.h"
#include "library_world.h"
#include "vault/vault_documents.h"
#include "vault/vault_service.h"

namespace kelvaris::testing {

/// A vault on a machine in memory, with rolls to keep in it.
struct VaultWorld : LibraryWorld {
    const VaultPaths paths = VaultPaths::under(machine.places.data, machine.places.caches / "thumbnails");
    std::unique_ptr<VaultService> vault;

    VaultWorld() { openVault(); }

    void openVault(VaultService::Access access = VaultService::Access::readWrite) {
        vault.reset();
        vault = makeVault(access);
    }
    std::unique_ptr<VaultService> makeVault(VaultService::Access access = VaultService::Access::readWrite) {
        return std::make_unique<VaultService>(
            paths,
            VaultMachine{machine.files, machine.folders, machine.language, machine.clock.wall(), machine.main,
                         machine.queues, mirror},
            access);
    }

    /// A roll whose folder was read.
    RollPointer loadedRoll(int photoCount, const Path& folder = Path("/home/user/scans/kyoto")) {
        auto roll = makeRoll(photoCount, folder);
        loadFolder(*roll, false);
        return roll;
    }
    /// The roll as the next start makes it from its folder alone.
    RollPointer reopened(const FilmRoll& roll) {
        auto again = FilmRoll::make(roll.sourceFolder(), roll.id(), services);
        loadFolder(*again, false);
        return again;
    }

    std::string fileOf(const FilmRoll& roll) { return contents(paths.rollFile(roll.id())); }
    std::string contents(const Path& path) { return machine.files.contents(path).value_or("(none)"); }
    /// The notes in a file of the vault; "(none)" when it does not decode.
    std::string notesIn(const Path& path) {
        const auto manifest = decodedRollFile(contents(path));
        return manifest ? manifest->notes.value_or("") : "(none)";
    }
};

}  // namespace kelvaris::testing
