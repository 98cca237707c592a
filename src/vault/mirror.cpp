#include "vault/mirror.h"

#include <condition_variable>
#include <mutex>
#include <utility>

#include "base/log.h"
#include "vault/bodies.h"
#include "vault/vault_documents.h"
#include "vault/yaml_limits.h"

namespace kelvaris {

namespace {

/// Holds a folder's access for a scope.
class FolderScope {
public:
    FolderScope(FolderAccess& folders, const Path& folder)
        : folders_(folders), folder_(folder), isOpen_(folders.beginAccess(folder)) {}
    ~FolderScope() {
        if (isOpen_) folders_.endAccess(folder_);
    }
    FolderScope(const FolderScope&) = delete;
    FolderScope& operator=(const FolderScope&) = delete;

private:
    FolderAccess& folders_;
    const Path& folder_;
    const bool isOpen_;
};

template <class Record>
bool decodes(std::string_view file) {
    return decodeFrontmatter<Record>(file).has_value();
}

}  // namespace

/// How many writes wait or run.
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

MirrorPaths MirrorPaths::under(const Path& folder) {
    const Path base = folder / "Kelvaris";
    return {.base = base,
            .rolls = base / "rolls",
            .preferencesFile = base / "preferences.md",
            .schemaFile = base / "SCHEMA.md"};
}

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

VaultMirror::~VaultMirror() = default;

std::optional<Path> VaultMirror::enabledMirrorBase() const {
    const MirrorState::Target target = state_.target();
    if (!target.enabled || !target.bookmark) return std::nullopt;
    const auto resolved = folders_.resolve(*target.bookmark);
    // A stale reference may lead to the bare mount point of a disk that is away. Copies written there would
    // pass for a backup, so another folder in the place of the chosen one counts only if a mirror is in it.
    const bool isFound =
        resolved && (!resolved->isStale || files_.isDirectory(MirrorPaths::under(resolved->path).base));
    if (isFound) return resolved->path;
    constexpr const char* reason = "Mirror bookmark could not be resolved";
    log::error("Vault", "{}", reason);
    state_.noteFailure(reason);
    return std::nullopt;
}

void VaultMirror::enqueue(std::function<void()> operation) {
    outstanding_->begin();
    queue_->add([outstanding = outstanding_, operation = std::move(operation)] {
        operation();
        outstanding->end();
    });
}

void VaultMirror::follow(VaultRollManifest manifest) {
    enqueue([this, manifest = std::move(manifest)]() mutable {
        if (const auto folder = enabledMirrorBase()) writeMirror(std::move(manifest), *folder);
    });
}

void VaultMirror::follow(VaultPreferences preferences) {
    enqueue([this, preferences = std::move(preferences)]() mutable {
        if (const auto folder = enabledMirrorBase()) writeMirror(std::move(preferences), *folder);
    });
}

bool VaultMirror::waitUntilWritten(std::chrono::milliseconds most) { return outstanding_->waitForNone(most); }

void VaultMirror::writeMirror(VaultRollManifest manifest, const Path& folder) {
    if (!manifest.isValid()) return state_.noteFailure("Invalid roll metadata");
    manifest.folderBookmark.clear();
    const auto file = encodedRollFile(manifest, language_);
    if (!file) return state_.noteFailure(file.error());
    writeMirrorFile(*file, MirrorPaths::under(folder).rolls / (manifest.id + ".md"), folder);
}

void VaultMirror::writeMirror(VaultPreferences preferences, const Path& folder) {
    if (!preferences.isValid()) return state_.noteFailure("Invalid preferences");
    preferences.mirrorEnabled.reset();
    preferences.mirrorFolderBookmark.reset();
    preferences.mirrorFolderPath.reset();
    const auto file = encodedPreferencesFile(preferences, language_, clock_);
    if (!file) return state_.noteFailure(file.error());
    writeMirrorFile(*file, MirrorPaths::under(folder).preferencesFile, folder);
}

void VaultMirror::writeMirrorFile(std::string_view bytes, const Path& target, const Path& folder) {
    const FolderScope access(folders_, folder);
    auto result = files_.createDirectories(target.parent());
    if (result) result = files_.writeAtomically(target, asBytes(bytes));
    if (result) return state_.noteSuccess(clock_.now());
    log::error("Vault", "Mirror write failed for {}: {}", target.filename(), result.error().message);
    state_.noteFailure(result.error().message);
}

int VaultMirror::mirrorAll() {
    const auto folder = enabledMirrorBase();
    if (!folder) return 0;
    const FolderScope access(folders_, *folder);
    int count = 0;
    for (const Path& file : store_.rollFiles()) {
        auto manifest = store_.loadManifest(file);
        if (!manifest) continue;
        ++count;
        writeMirror(std::move(*manifest), *folder);
    }
    if (auto preferences = store_.loadPreferences()) writeMirror(std::move(*preferences), *folder);

    const MirrorPaths paths = MirrorPaths::under(*folder);
    (void)files_.createDirectories(paths.base);
    const auto schema = files_.read(paths.schemaFile, static_cast<std::int64_t>(schemaText().size()));
    if (!schema || asText(*schema) != schemaText()) writeMirrorFile(schemaText(), paths.schemaFile, *folder);
    log::info("Vault", "Mirrored {} rolls to backup folder", count);
    return count;
}

bool VaultMirror::restoreFile(const Path& from, const Path& to, bool (*decodes)(std::string_view)) {
    const auto failed = [&](const FileError& error) {
        log::error("Vault", "Restore failed for {}: {}", from.filename(), error.message);
        return false;
    };
    const auto bytes = files_.read(from, static_cast<std::int64_t>(YamlLimits().bytes));
    if (!bytes) return failed(bytes.error());
    if (!decodes(asText(*bytes))) return false;
    if (const auto written = files_.writeAtomically(to, *bytes); !written) return failed(written.error());
    return true;
}

std::optional<int> VaultMirror::restoreFromMirror(const Path& folder) {
    const FolderScope access(folders_, folder);
    const MirrorPaths mirror = MirrorPaths::under(folder);
    const VaultPaths& local = store_.paths();
    const auto entries = files_.list(mirror.rolls);
    int count = 0;
    if (entries) {
        for (const FolderEntry& entry : *entries) {
            const std::string name = entry.path.filename();
            if (entry.path.extension() != "md" || name.find(".bak") != std::string::npos) continue;
            if (restoreFile(entry.path, local.rolls / name, decodes<VaultRollManifest>)) ++count;
        }
    }
    if (files_.exists(mirror.preferencesFile)) {
        (void)restoreFile(mirror.preferencesFile, local.preferencesFile, decodes<VaultPreferences>);
    }
    if (!entries) return std::nullopt;
    log::info("Vault", "Restored {} rolls from backup folder", count);
    return count;
}

}  // namespace kelvaris
