#include "library/roll_export.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/log.h"
#include "library/folder_verdict.h"
#include "metadata/export_naming.h"
#include "preferences/user_preferences.h"

namespace kelvaris {
namespace {

/// One export. The main thread hands each photo's values to a worker as they stand at its turn, so the
/// user may go on editing and no worker touches a live object.
struct Export {
    RollPointer roll;
    PhotoList photos;
    Path folder;
    std::shared_ptr<const std::vector<FileFingerprint>> known;  ///< by which the roll's folder is recognised
    double quality = 1.0;
    ExifService::EXIFData rollData;
    std::size_t next = 0;
    int exported = 0;
    int errors = 0;
};

std::optional<std::string> unlessEmpty(const std::string& text) {
    return text.empty() ? std::nullopt : std::optional(text);
}

ExifService::EXIFData rollData(const FilmRoll& roll) {
    const LibraryServices& services = roll.services();
    ExifService::EXIFData data;
    data.software = "Kelvaris";
    data.cameraMake = unlessEmpty(roll.cameraMake());
    data.cameraModel = unlessEmpty(roll.cameraModel());
    data.filmName = unlessEmpty(roll.filmName());
    data.isoSpeedRatings = roll.filmISO();
    if (const std::string artist = services.preferences.artistName(); !artist.empty()) {
        data.artist = artist;
        data.copyright = copyrightText(artist, services.clock.now(), services.language);
    }
    return data;
}

ExifService::EXIFData photoData(const Export& run, const PhotoItem& photo) {
    ExifService::EXIFData data = run.rollData;
    data.dateTimeOriginal = photo.captureDate();
    data.latitude = photo.latitude();
    data.longitude = photo.longitude();
    data.rotation = photo.rotation();
    return data;
}

bool isExportable(const PhotoItem& photo) { return photo.captureDate() && !photo.isMissing(); }

std::string awayText(const FilmRoll& roll, std::string_view reason) {
    return fmt::format("Could not export {}: {}", roll.name(), reason);
}

/// An export that wrote nothing, or whose folder went away, leaves the roll as it was.
void fail(FilmRoll& roll, std::string message) {
    roll.setIsExporting(false);
    roll.setExportProgress(0.0);
    roll.setStatusNotification(StatusNotification::error(std::move(message)));
}

void finish(const Export& run) {
    FilmRoll& roll = *run.roll;
    if (run.exported == 0)
        return fail(roll, StatusNotification::exported(run.exported, run.errors).message());
    roll.setIsExporting(false);
    roll.setExportProgress(1.0);
    roll.setStatusNotification(StatusNotification::exported(run.exported, run.errors));
    roll.setWorkflowState(WorkflowState::exported);
    roll.setLastExported(roll.services().clock.now());
    roll.setExportDirty(false);
    roll.services().shell.reveal(run.folder);
}

void takeOutcome(Export& run, bool written) {
    ++(written ? run.exported : run.errors);
    run.roll->setExportProgress(run.exported / static_cast<double>(run.photos.size()));
}

void exportNext(const std::shared_ptr<Export>& run) {
    while (run->next < run->photos.size() && !isExportable(*run->photos[run->next])) ++run->next;
    if (run->next == run->photos.size()) {
        finish(*run);
        return;
    }
    const LibraryServices& services = run->roll->services();
    const PhotoPointer& photo = run->photos[run->next++];
    const Path destination =
        run->folder / exportFileName(photo->sortIndex(), *photo->captureDate(), services.language);
    services.userQueue.add([run, destination, source = photo->sourceURL(), quality = run->quality,
                            data = photoData(*run, *photo), known = run->known, &services] {
        const bool written = services.exif.writeEXIF(source, destination, data, quality).has_value();
        // A disk that was pulled fails all that is left, a photo that cannot be read itself alone.
        FolderVerdict folder;
        if (!written) folder = judgeFolder(services.files, source.parent(), *known);
        services.main.post([run, written, reason = folder.awayReason()] {
            if (!reason.empty()) return fail(*run->roll, awayText(*run->roll, reason));
            takeOutcome(*run, written);
            exportNext(run);
        });
    });
}

}  // namespace

void exportAll(FilmRoll& roll) {
    const LibraryServices& services = roll.services();
    PhotoList dated = roll.photos();
    std::erase_if(dated, [](const PhotoPointer& photo) { return !photo->captureDate(); });
    if (dated.empty()) {
        roll.setStatusNotification(StatusNotification::warning("Assign dates before exporting"));
        return;
    }
    if (roll.isDisconnected()) return fail(roll, awayText(roll, roll.awayReason()));
    const auto verdict = judgeFolder(services.files, roll.sourceFolder(), roll.storedFingerprint());
    if (!verdict.isPresent()) return fail(roll, awayText(roll, verdict.awayReason()));
    if (std::ranges::none_of(dated, [](const PhotoPointer& photo) { return isExportable(*photo); }))
        return fail(roll, awayText(roll, "the files of its dated photos are missing"));
    for (const PhotoPointer& photo : dated) {
        if (!photo->isMissing()) continue;
        log::info("Export", "{} of {} is left out: its file is missing", photo->filename(), roll.name());
    }
    const Path folder = roll.sourceFolder() / exportFolderName;
    if (!services.files.isDirectory(folder)) {
        if (const auto created = services.files.createDirectories(folder); !created) {
            roll.setStatusNotification(
                StatusNotification::error("Failed to create export folder: " + created.error().message));
            return;
        }
    }
    roll.setIsExporting(true);
    roll.setExportProgress(0.0);
    auto run = std::make_shared<Export>();
    run->roll = roll.shared_from_this();
    run->photos = roll.photos();
    run->folder = folder;
    run->known = std::make_shared<const std::vector<FileFingerprint>>(roll.storedFingerprint());
    run->quality = services.preferences.exportQuality();
    run->rollData = rollData(roll);
    exportNext(run);
}

}  // namespace kelvaris
