#pragma once

#include <fmt/format.h>

#include <memory>
#include <string>
#include <vector>

#include "application/app_view_model.h"
#include "images/image_cache.h"
#include "library_world.h"
#include "platform_fake/fake_folder_search.h"
#include "platform_fake/fake_machine.h"
#include "vault/vault_service.h"

namespace kelvaris::testing {

/// The whole system on a machine in memory; restart() ends the program and starts it again on the same disk.
class AppWorld {
public:
    /// What lives from a start of the program to its end.
    struct Program {
        Program(FakeMachine& machine, FolderSearch& folderSearch)
            : vault(VaultPaths::under(machine.places.data, machine.places.caches / "thumbnails"),
                    VaultMachine{machine.files, machine.folders, machine.language, machine.clock.wall(),
                                 machine.main, machine.queues, mirrorState}),
              preferences(machine.defaults, vault, mirrorState, machine.main),
              favorites(vault, machine.main),
              exif(machine.images, machine.files, machine.language, jpegWriter),
              userQueue(machine.queues.makeQueue("user", 2)),
              services(servicesOn(machine, *userQueue, imageCache, animator, preferences, exif, pipeline)),
              app(AppServices{services, machine.defaults, machine.folders, folderSearch, machine.queues,
                              favorites, preferences, vault, machine.places}) {
            favorites.onSave = [this] { preferences.scheduleVaultSync(); };
        }

        MirrorState mirrorState;
        VaultService vault;
        UserPreferences preferences;
        FavoritesStore favorites;
        FakeJpegWriter jpegWriter;
        ImageCache imageCache;
        Animator animator;
        ExifService exif;
        ScriptedPipeline pipeline;
        std::unique_ptr<OperationQueue> userQueue;
        LibraryServices services;
        AppViewModel app;
    };

    AppWorld() {
        machine.images.setDefaultPicture({.upright = solidBitmap(1200, 800, 90, 80, 70)});
        program = std::make_unique<Program>(machine, folderSearch);
    }

    AppViewModel& app() { return program->app; }
    ScriptedPipeline& pipeline() { return program->pipeline; }

    /// Ends the program, properly or as a crash does, and starts it again.
    void restart(bool flushes = true) {
        if (flushes) {
            app().flushPendingSaves();
            // A test may hold rolls of this program beyond its end: what is timed for them must be over by
            // then.
            machine.advance(std::chrono::seconds(2));
        }
        machine.settle();
        program.reset();
        program = std::make_unique<Program>(machine, folderSearch);
        app().start(StartMode::screen);
        machine.settle();
    }

    /// A folder with the files "001.jpg", "002.jpg" ...
    Path folder(const std::string& name, int photoCount = 3) {
        const Path path = machine.places.home / "scans" / name;
        machine.files.addFolder(path);
        for (int i = 1; i <= photoCount; ++i) {
            machine.files.addFile(path / fmt::format("{:03}.jpg", i), fmt::format("{} scan {}", name, i));
        }
        return path;
    }

    RollPointer openedRoll(const std::string& name, int photoCount = 3) {
        const Path path = folder(name, photoCount);
        app().addRoll(path, false);
        machine.settle();
        return app().activeRoll();
    }

    RollPointer rollNamed(const std::string& name) {
        for (const RollPointer& roll : app().rolls()) {
            if (roll->name() == name) return roll;
        }
        return nullptr;
    }

    /// Ends the latest run of analysis as if every photo had taken it.
    void finishLatestRun() {
        ScriptedPipeline::Run run = pipeline().runs.back();
        AnalysisResult result;
        for (const PhotoPointer& photo : run.photos) run.callbacks.onPhotoAnalyzed(photo, result);
        run.end();
        machine.settle();
    }

    std::string rollFile(const FilmRoll& roll) {
        return machine.files.contents(program->vault.paths().rollFile(roll.id())).value_or("");
    }

    FakeMachine machine;
    FakeFolderSearch folderSearch{machine.main};
    std::unique_ptr<Program> program;
};

}  // namespace kelvaris::testing
