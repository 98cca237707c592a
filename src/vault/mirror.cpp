// The mirror behind the saves: what waits, what is behind, and the single file.

#include "vault/mirror.h"

#include <condition_variable>
#include <utility>

#include "base/log.h"
#include "base/text.h"
#include "vault/open_mirror.h"
#include "vault/vault_documents.h"

namespace kelvaris {

namespace {

constexpr const char* notYet = "not written yet";
constexpr const char* preferencesName = "preferences.md";

}  // namespace

/// How much work waits or runs.
class VaultMirror::Outstanding {
public:
    void begin() {
        const std::lock_guard lock(mutex_);
        ++count_;
    }
    void end() {
        const std::lock_guard lock(mutex_);
        if (--count_ == 0) none_.notify_all();
    }
    bool waitForNone(std::chrono::milliseconds most) {
        std::unique_lock lock(mutex_);
        return none_.wait_for(lock, most, [this] { return count_ == 0; });
    }

private:
    std::mutex mutex_;
    std::condition_variable none_;
    int count_ = 0;
};

VaultMirror::VaultMirror(VaultStore& store, Files& files, FolderAccess& folders, const Language& language,
                         const Clock& clock, OperationQueueFactory& queues, MirrorState& state)
    : store_(store),
      files_(files),
      folders_(folders),
      language_(language),
      clock_(clock),
      state_(state),
      outstanding_(std::make_shared<Outstanding>()),
      queue_(queues.makeQueue(queueName, 1)) {}

VaultMirror::~VaultMirror() { isEnding_ = true; }

bool VaultMirror::isOn() const {
    const MirrorState::Target target = state_.target();
    return target.enabled && target.bookmark;
}

std::optional<Path> VaultMirror::findFolder() const {
    const MirrorState::Target target = state_.target();
    if (!target.enabled || !target.bookmark) return std::nullopt;
    const auto resolved = folders_.resolve(*target.bookmark);
    // A stale reference may lead to the bare mount point of a disk that is away. Copies written there would
    // pass for a backup, so another folder in the place of the chosen one counts only if a mirror is in it.
    const bool isFound =
        resolved && (!resolved->isStale || files_.isDirectory(MirrorPaths::under(resolved->path).base));
    return isFound ? std::optional(resolved->path) : std::nullopt;
}

std::optional<Path> VaultMirror::enabledMirrorBase() const {
    auto folder = findFolder();
    if (folder || !isOn()) return folder;
    log::error("Vault", "{}", awayReason);
    state_.noteFailure(awayReason);
    return std::nullopt;
}

void VaultMirror::enqueue(std::function<void()> work) {
    outstanding_->begin();
    queue_->add([outstanding = outstanding_, work = std::move(work)] {
        work();
        outstanding->end();
    });
}

void VaultMirror::follow(VaultRollManifest manifest) {
    Waiting waiting{.id = manifest.id, .name = rollName(manifest), .write = nullptr};
    waiting.write = [this, manifest = std::move(manifest)](const Path& folder) {
        return copyRoll(manifest, folder);
    };
    await(std::move(waiting));
}

void VaultMirror::follow(VaultPreferences preferences) {
    await({.id = "",
           .name = preferencesName,
           .write = [this, preferences = std::move(preferences)](const Path& folder) {
               return copyPreferences(preferences, folder);
           }});
}

void VaultMirror::await(Waiting waiting) {
    const std::lock_guard lock(mutex_);
    const std::string id = waiting.id;
    waiting_.insert_or_assign(id, std::move(waiting));
    enqueueWriting();
}

void VaultMirror::enqueueWriting() {
    if (std::exchange(isWritingEnqueued_, true)) return;
    enqueue([this] { writeWaiting(); });
}

VaultMirror::Waiting VaultMirror::fromDisk(const std::string& id, const std::string& name) {
    if (id.empty()) {
        return {"", preferencesName, [this](const Path& folder) { return copyStoredPreferences(folder); }};
    }
    return {id, name, [this, id](const Path& folder) { return copyStoredRoll(localRollFile(id), folder); }};
}

void VaultMirror::writeWaiting() {
    const bool isMirroring = isOn();
    const auto folder = enabledMirrorBase();
    {
        const std::lock_guard lock(mutex_);
        isAway_ = isMirroring && !folder;
        if (!isMirroring) {
            waiting_.clear();
            failed_.clear();
        }
        // A disk that was full or away may be better by now.
        for (const auto& [id, failure] : failed_) waiting_.try_emplace(id, fromDisk(id, failure.name));
    }
    std::optional<OpenMirror> open;
    if (folder) open.emplace(files_, folders_, *folder);
    const Outcome without{isMirroring ? Outcome::Kind::failed : Outcome::Kind::gone, "", awayReason};
    while (const auto next = takeWaiting()) noteOutcome(*next, folder ? next->write(*folder) : without);
    const std::lock_guard lock(mutex_);
    if (failed_.empty()) state_.forgetFailure();
}

std::optional<VaultMirror::Waiting> VaultMirror::takeWaiting() {
    const std::lock_guard lock(mutex_);
    current_.reset();
    if (isEnding_ || waiting_.empty()) {
        isWritingEnqueued_ = false;
        return std::nullopt;
    }
    auto next = std::move(waiting_.extract(waiting_.begin()).mapped());
    current_ = MirrorFailure{next.id, next.name, notYet};
    return next;
}

void VaultMirror::noteOutcome(const Waiting& waiting, const Outcome& outcome) {
    if (outcome.kind == Outcome::Kind::written) state_.noteWritten(clock_.now());
    const std::lock_guard lock(mutex_);
    if (outcome.kind != Outcome::Kind::failed) {
        failed_.erase(waiting.id);
        return;
    }
    state_.noteFailure(outcome.reason);
    const std::string& name = outcome.name.empty() ? waiting.name : outcome.name;
    failed_.insert_or_assign(waiting.id, MirrorFailure{waiting.id, name, outcome.reason});
}

MirrorBacklog VaultMirror::waitUntilWritten(std::chrono::milliseconds most) {
    const bool isDone = outstanding_->waitForNone(most);
    if (!isOn()) return {.isWorking = !isDone, .isAway = false, .files = {}};
    const std::lock_guard lock(mutex_);
    MirrorBacklog backlog{.isWorking = !isDone, .isAway = isAway_, .files = {}};
    std::map<std::string, MirrorFailure> behind;
    for (const auto& [id, waiting] : waiting_) behind.emplace(id, MirrorFailure{id, waiting.name, notYet});
    if (current_) behind.emplace(current_->id, *current_);
    behind.insert(failed_.begin(), failed_.end());
    for (auto& [id, failure] : behind) backlog.files.push_back(std::move(failure));
    return backlog;
}

// --- The single file -----------------------------------------------------------------------------------

bool VaultMirror::writeMirror(VaultRollManifest manifest, const Path& folder) {
    const OpenMirror open(files_, folders_, folder);
    return copyRoll(std::move(manifest), folder).kind != Outcome::Kind::failed;
}

bool VaultMirror::writeMirror(VaultPreferences preferences, const Path& folder) {
    const OpenMirror open(files_, folders_, folder);
    return copyPreferences(std::move(preferences), folder).kind != Outcome::Kind::failed;
}

VaultMirror::Outcome VaultMirror::copyRoll(VaultRollManifest manifest, const Path& folder) {
    const std::string name = rollName(manifest);
    const Path target = MirrorPaths::under(folder).rollFile(manifest.id);
    if (!manifest.isValid()) return {Outcome::Kind::failed, name, "Invalid roll metadata"};
    const auto file = encodedRollFile(asMirrored(std::move(manifest)), language_);
    if (!file) return {Outcome::Kind::failed, name, file.error()};
    Outcome outcome = writeFile(*file, target);
    outcome.name = name;
    return outcome;
}

VaultMirror::Outcome VaultMirror::copyPreferences(VaultPreferences preferences, const Path& folder) {
    if (!preferences.isValid()) return {Outcome::Kind::failed, preferencesName, "Invalid preferences"};
    const VaultPreferences mirrored = asMirrored(std::move(preferences));
    const Path target = MirrorPaths::under(folder).preferencesFile;
    // The body of this file names the day, so its bytes tell nothing of a change.
    const auto copy = readVaultFile(files_, target);
    if (copy) {
        const auto record = decodedPreferencesFile(*copy);
        if (record && *record == mirrored) return {Outcome::Kind::unchanged, preferencesName, ""};
    }
    const auto file = encodedPreferencesFile(mirrored, language_, clock_);
    if (!file) return {Outcome::Kind::failed, preferencesName, file.error()};
    return writeFile(*file, target);
}

VaultMirror::Outcome VaultMirror::writeFile(std::string_view bytes, const Path& target) {
    const auto copy = files_.read(target, static_cast<std::int64_t>(bytes.size()));
    if (copy && asText(*copy) == bytes) return {Outcome::Kind::unchanged, target.filename(), ""};
    const auto written = files_.writeAtomically(target, asBytes(bytes));
    if (written) return {Outcome::Kind::written, target.filename(), ""};
    log::error("Vault", "Mirror write failed for {}: {}", target.filename(), written.error().message);
    return {Outcome::Kind::failed, target.filename(), written.error().message};
}

}  // namespace kelvaris
