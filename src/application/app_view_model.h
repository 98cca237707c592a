#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "application/own_places.h"
#include "application/roll_names.h"
#include "base/lifetime.h"
#include "base/observable.h"
#include "library/film_roll.h"
#include "library/library_services.h"
#include "library/navigation_history.h"
#include "library/undo_stack.h"
#include "platform/defaults.h"
#include "platform/folder_access.h"
#include "platform/folder_search.h"
#include "platform/places.h"
#include "preferences/favorites_store.h"
#include "preferences/user_preferences.h"
#include "vault/vault_service.h"
#include "vocabulary/cloud_storage_provider.h"

namespace kelvaris {

struct RunListener;

enum class AppField {
    rolls,
    activeRoll,
    backgroundAnalysis,
    exclusive,
};

/// Work on the whole library beside which nothing is saved, mirrored or analysed.
enum class Exclusive { none, restoring, resetting };
/// What an act on the list of rolls is told meanwhile.
inline constexpr std::string_view exclusiveRefusal = "The library is being restored or reset";

/// What the application model is made of; everything must outlive it.
struct AppServices {
    LibraryServices& library;
    Defaults& defaults;
    FolderAccess& folders;
    FolderSearch& folderSearch;
    OperationQueueFactory& queues;
    FavoritesStore& favorites;
    UserPreferences& preferences;
    VaultService& vault;
    const Places& places;
};

/// How much of the library wakes up at the start.
enum class StartMode {
    screen,    ///< as a desktop shows it: thumbnails, background analysis, search for moved folders
    commands,  ///< the rolls and their data alone; work begins when it is asked for
};

/// The root of the running system: which rolls exist, which one is open, and every operation that changes
/// that. Both shells only call it. Main thread only.
class AppViewModel : public Observable<AppField> {
public:
    /// How many photos of a restored roll get a thumbnail at once.
    static constexpr int restoredSidebarThumbnails = 6;
    /// How long a removed roll can be wanted again.
    static constexpr int removedRollDays = 90;

    explicit AppViewModel(AppServices services);
    ~AppViewModel();

    const std::vector<RollPointer>& rolls() const { return rolls_; }
    const RollPointer& activeRoll() const { return activeRoll_; }
    RollPointer roll(RollID id) const;
    UndoStack& undoStack() { return undoStack_; }
    NavigationHistory& navigationHistory() { return navigationHistory_; }
    UserPreferences& preferences() { return services_.preferences; }
    FavoritesStore& favorites() { return services_.favorites; }
    VaultService& vault() { return services_.vault; }
    Exclusive exclusive() const { return exclusive_; }
    bool isResettingData() const { return exclusive_ == Exclusive::resetting; }

    // --- Start and opening -------------------------------------------------------------------------

    /// The start in its order: the rolls of the vault, the preferences file, then, for a screen, sidebar
    /// thumbnails, background analysis and the search for moved folders.
    void start(StartMode mode);
    StartMode startMode() const { return startMode_; }
    /// Brings back every roll of the vault; those whose folder is away come back disconnected, with all
    /// that is known of their photos.
    void restoreRolls(StartMode mode);
    /// Lets the user pick folders and opens them.
    void openFolder();
    /// Opens every folder at or below the given ones that holds two or more pictures.
    void openFolders(const std::vector<Path>& folders);
    /// Opens one folder as a roll; a folder that is open already is analysed again, and the folder of a roll
    /// that is away brings that roll back, as does that of a roll that was removed not long ago.
    /// @param batchMode leaves the open roll alone and the analysis to the background queue.
    void addRoll(const Path& folder, bool batchMode);
    /// The rolls that stand at or below the paths after opening them.
    /// @param analyze false loads the rolls and leaves the analysis for later.
    std::vector<RollPointer> openedRolls(const std::vector<Path>& paths, bool analyze);
    /// Folders, and the folders of picture files, each once.
    void handleDrop(const std::vector<Path>& paths);
    /// Folders alone.
    void handleOpenURLs(const std::vector<Path>& paths);
    void applyDefaults(FilmRoll& roll);

    // --- Navigation --------------------------------------------------------------------------------

    void activateRollIfNeeded(const RollPointer& roll);
    /// Going to the roll that is open already changes nothing.
    void navigateToRoll(const RollPointer& roll);
    void navigateToNextRoll();
    void navigateToPreviousRoll();
    /// To the list of rolls.
    void navigateBack();
    /// Where back and forward lead; nothing is the list of rolls.
    void resolveHistoryNavigation(std::optional<RollID> id);
    void goBackInHistory();
    void goForwardInHistory();

    // --- Undo --------------------------------------------------------------------------------------

    /// Takes back the latest step, on a screen with its roll in view. @return its name; nothing when there
    /// is nothing to take back.
    std::optional<std::string> undo();
    std::optional<std::string> redo();

    // --- Saving ------------------------------------------------------------------------------------

    /// Saves the roll when it has been left alone for a while, although nothing in it may have changed. Every
    /// change of a roll in the list does so by itself. Nothing during a reset or a restore.
    void scheduleSave(const RollPointer& roll);
    /// Writes what waits, before the program ends or answers.
    /// @return whether everything is on the disk: rolls, favourites and preferences.
    bool flushPendingSaves();
    /// The rolls whose latest values are not on the disk, and why; watch vault().schedule().
    std::vector<UnsavedRoll> unsavedRolls() const { return services_.vault.schedule().unsavedRolls(); }
    /// Takes in what somebody else wrote into the files of rolls that have no unsaved edits here.
    void takeInHandEdits();

    // --- The list ----------------------------------------------------------------------------------

    void sortRolls();
    /// Takes the roll out of the library and puts all that the vault holds of it aside; the scans stay. A
    /// step that can be taken back.
    /// @return why it was not removed.
    Result<void, std::string> removeRoll(const RollPointer& roll);
    /// The same for all rolls that are away, as one step.
    Result<void, std::string> removeDisconnectedRolls();
    /// Forgets rolls for good that were removed that many days ago or earlier, all of them when no number is
    /// given, with the corrections of people in them. @return which.
    std::vector<RollID> forgetRemovedRolls(std::optional<int> olderThanDays);
    /// Loads the thumbnails of these photos of the roll, which are about to be shown.
    void loadThumbnails(const FilmRoll& roll, const PhotoList& photos);
    std::optional<RenameError> validateRollName(const std::string& name, const FilmRoll& roll) const;
    /// Renames the roll and its folder on disk, with the rolls whose folders lie in it. A step that can be
    /// taken back.
    std::optional<RenameError> renameRoll(const RollPointer& roll, const std::string& name);

    // --- Relocation and synced folders -------------------------------------------------------------

    /// Looks for the folders of all disconnected rolls; a folder that holds the same files is taken.
    void attemptSmartRelocation();
    /// Looks for the folder of this roll alone, first where it was.
    void searchFolder(const RollPointer& roll);
    /// Whether a search for a moved folder has yet to answer.
    bool isSearchingFolders() const { return runningFolderSearches_ > 0; }
    /// Lets the user point at the roll's folder; asks when it holds other files.
    void locateRoll(const RollPointer& roll);
    /// Moves the roll onto a folder. All that is known of its photos stays, also of those that are not there.
    /// @return why it cannot be; then nothing has changed.
    Result<void, std::string> relocateRoll(const RollPointer& roll, const Path& folder);

    // --- Background analysis -----------------------------------------------------------------------

    /// Queues those of the rolls that are not loaded and need it, each once.
    void enqueueBackgroundAnalysis(const std::vector<RollPointer>& rolls);
    /// Ends the analysis of a roll that is being taken away, or its wait for it; the queue goes on at once.
    /// Results under way are dropped. The roll can be queued again.
    void callOffAnalysis(const RollPointer& roll);
    /// The same for all rolls; nothing is queued or runs for the queue afterwards.
    void callOffAllAnalysis();
    const std::deque<RollID>& backgroundAnalysisQueue() const { return backgroundAnalysisQueue_; }
    std::optional<RollID> backgroundAnalyzingRollID() const { return backgroundAnalyzingRollID_; }
    /// Whether any roll is being analysed or waits for it.
    bool isAnalysisPending() const;

    // --- Backup and reset --------------------------------------------------------------------------

    /// Mirrors every save into the folder from now on.
    /// @return why not, for the user: the folder cannot be referred to, or lies where a mirror must not.
    std::optional<std::string> startMirroring(const Path& folder);
    /// Writes the whole vault to the mirror on its queue, edits that wait included.
    /// @param completion on the main thread.
    void backUpNow(std::function<void(MirrorReport)> completion);
    /// Takes over what the mirror in the folder knows, with nothing else at work, and shows it at once. What
    /// differs here becomes a backup; what is newer here is kept, unless it is to be replaced.
    /// @param completion on the main thread, when the library stands.
    void restoreFromMirror(const Path& folder, bool replacesNewer,
                           std::function<void(RestoreReport)> completion);
    /// Asks the user, and then forgets everything.
    void requestReset();
    /// Forgets everything but the scans, the mirror and what is not the program's own, then ends the
    /// program; nothing of that when scans or the mirror lie among what would be removed.
    ResetReport resetAllData();

private:
    void setRolls(std::vector<RollPointer> rolls);
    void setActiveRoll(RollPointer roll);
    std::optional<RollID> activeRollID() const;
    /// Every change of the open roll goes this way: the one that is left lets go of its pixels, and undo
    /// never crosses it. Nothing when the roll is open already.
    bool showRoll(const RollPointer& roll, bool remembers);
    void bringIntoView(const UndoableAction& action);

    struct Restoring;

    std::vector<Path> foldersOf(const std::vector<Path>& paths) const;
    Path realPath(const Path& folder) const;
    RollPointer restoredRoll(StoredRoll stored, RollID id, Restoring& restoring);
    /// Takes the folder for the roll's, when it is; else the roll is away.
    bool joinFolder(const RollPointer& roll, const Path& folder);
    RollPointer addedRoll(const Path& folder, bool analyze, std::optional<StoredRoll> stored);
    /// The roll of that folder that was removed not long ago, taken back.
    std::optional<StoredRoll> takenBack(const Path& folder, const std::vector<AsideRoll>& aside);
    void addRolls(const std::vector<Path>& folders, bool batchMode);
    /// @return whether the roll stands in the folder now.
    bool reopenRoll(const RollPointer& roll, const Path& folder, bool batchMode);
    void loadSidebarThumbnails(const FilmRoll& roll);

    Result<void, std::string> removeRolls(const std::vector<RollPointer>& rolls);
    void takeBackRoll(const RollPointer& roll);
    Result<void, std::string> takeOutRoll(const RollPointer& roll);
    std::optional<RenameError> moveRollFolder(const RollPointer& roll, const std::string& name);
    void moveRollTo(FilmRoll& roll, const Path& folder);
    void moveOnto(const RollPointer& roll, const Path& folder);
    /// Why the roll cannot be moved onto the folder, whatever the user says.
    std::optional<std::string> relocationRefusal(const RollPointer& roll, const Path& folder);
    void searchFolders(const std::vector<RollPointer>& rolls);
    /// The connected roll whose folder, links resolved, is this one; null when there is none.
    RollPointer rollAt(const Path& realFolder);
    /// Whether the folder of the roll is still the roll's own. If not, the roll is away from now on: disks
    /// are pulled and changed while the program runs.
    bool isInItsFolder(const RollPointer& roll);

    std::optional<CloudStorageProvider> cloudProvider(const FilmRoll& roll) const;
    void warnIfCloudHosted(FilmRoll& roll);
    void warnAboutCloudRolls(const std::vector<RollPointer>& rolls);

    void setExclusive(Exclusive exclusive);
    void finishRestore(const RestoreReport& report);
    void reloadAfterRestore(bool withPreferences);
    ResetReport removeAllData();
    std::vector<Path> scanFolders() const;

    void processNextBackgroundRoll();
    RunListener backgroundListener(const RollPointer& roll);
    void settleBackgroundRoll(const RollPointer& roll);
    void leaveBackgroundRun();

    AppServices services_;
    std::vector<RollPointer> rolls_;
    RollPointer activeRoll_;
    UndoStack undoStack_;
    NavigationHistory navigationHistory_;
    std::deque<RollID> backgroundAnalysisQueue_;
    std::optional<RollID> backgroundAnalyzingRollID_;
    RunStamp backgroundRun_ = RunStamp::random();  ///< the run that the queue waits for
    std::set<CloudStorageProvider> cloudWarningShown_;
    StartMode startMode_ = StartMode::screen;
    int runningFolderSearches_ = 0;
    Exclusive exclusive_ = Exclusive::none;
    Lifetime lifetime_;
};

}  // namespace kelvaris
