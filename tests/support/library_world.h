#pragma once

#include <memory>
#include <string>

#include "images/image_cache.h"
#include "library/analysis_pipeline.h"
#include "library/film_roll.h"
#include "library/library_services.h"
#include "library/loading_pipeline.h"
#include "library/roll_loading.h"
#include "metadata/exif_service.h"
#include "platform_fake/fake_jpeg_writer.h"
#include "platform_fake/fake_machine.h"
#include "preferences/user_preferences.h"

namespace kelvaris::testing {

/// The preferences file in memory.
class MemoryPreferencesStore final : public PreferencesStore {
public:
    std::optional<VaultPreferences> load() override { return record; }
    bool save(const VaultPreferences& saved) override {
        record = saved;
        return true;
    }
    std::optional<VaultPreferences> record;
};

/// A pipeline that remembers what it was asked and answers when the test says so.
class ScriptedPipeline final : public AnalysisPipeline {
public:
    struct Run {
        PhotoList photos;
        bool isBackground = false;
        bool isReanalysis = false;
        bool isCloudHosted = false;
        AnalysisCallbacks callbacks;

        /// As if a photo had been done with.
        void finishPhoto() const { callbacks.onPhotoFinished(); }
        void end(RunEnd end = RunEnd::completed) const { callbacks.ending.tell(end); }
    };

    void analyzeRoll(const PhotoList& photos, const Path&, RollID, bool isBackground,
                     AnalysisCallbacks callbacks) override {
        runs.push_back({photos, isBackground, false, false, std::move(callbacks)});
    }
    void reanalyze(const PhotoList& photos, const PhotoList&, bool isCloudHosted,
                   AnalysisCallbacks callbacks) override {
        runs.push_back({photos, false, true, isCloudHosted, std::move(callbacks)});
    }
    void loadSidebarThumbnails(const PhotoList&, RollID, int, bool) override { ++sidebarLoads; }

    std::vector<Run> runs;
    int sidebarLoads = 0;
};

/// The services of rolls on a machine in memory; all must outlive them.
inline LibraryServices servicesOn(FakeMachine& machine, OperationQueue& userQueue, ImageCache& imageCache,
                                  Animator& animator, UserPreferences& preferences, ExifService& exif,
                                  AnalysisPipeline& analysis) {
    return {.main = machine.main,
            .userQueue = userQueue,
            .files = machine.files,
            .images = machine.images,
            .imageCache = imageCache,
            .language = machine.language,
            .clock = machine.clock.wall(),
            .shell = machine.shell,
            .animator = animator,
            .geocoder = machine.geocoder,
            .preferences = preferences,
            .exif = exif,
            .analysis = analysis,
            .home = machine.places.home};
}

/// Everything a roll needs, on a machine in memory. Files of pictures hold one small picture.
struct LibraryWorld {
    FakeMachine machine;
    MirrorState mirror;
    MemoryPreferencesStore preferencesStore;
    UserPreferences preferences{machine.defaults, preferencesStore, mirror, machine.main};
    ImageCache imageCache;
    FakeJpegWriter jpegWriter;
    ExifService exif{machine.images, machine.files, machine.language, jpegWriter};
    Animator animator;
    ScriptedPipeline pipeline;
    std::unique_ptr<OperationQueue> userQueue = machine.queues.makeQueue("user", 2);
    LibraryServices services = servicesWith(pipeline);

    LibraryWorld() { machine.images.setDefaultPicture({.upright = solidBitmap(12, 8, 90, 80, 70)}); }

    LibraryServices servicesWith(AnalysisPipeline& analysis) {
        return servicesOn(machine, *userQueue, imageCache, animator, preferences, exif, analysis);
    }

    ThumbnailTools thumbnailTools() { return {machine.main, machine.files, machine.images, exif}; }

    /// A folder with the files "001.jpg", "002.jpg" ...; the roll has not read it yet.
    RollPointer makeRoll(int photoCount, const Path& folder = Path("/home/user/scans/kyoto")) {
        machine.files.addFolder(folder);
        for (int i = 1; i <= photoCount; ++i) {
            machine.files.addFile(folder / fmt::format("{:03}.jpg", i), fmt::format("scan {}", i));
        }
        return FilmRoll::make(folder, RollID::random(), services);
    }

    /// The same after it has read its folder; no analysis has run.
    RollPointer openedRoll(int photoCount, LibraryServices& rollServices) {
        const Path folder("/home/user/scans/kyoto");
        makeRoll(photoCount, folder);
        const auto roll = FilmRoll::make(folder, RollID::random(), rollServices);
        loadFolder(*roll, false);
        machine.settle();
        return roll;
    }
};

}  // namespace kelvaris::testing
