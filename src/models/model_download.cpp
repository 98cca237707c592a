#include "models/model_download.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/log.h"
#include "base/text.h"
#include "models/gzip_reader.h"

namespace kelvaris {

namespace {

constexpr const char* category = "ModelDownload";
constexpr std::size_t hashPieceSize = 65536;

using Kind = DownloadState::Kind;
using Code = DownloadError::Code;

/// @return nothing for a file that can not be read.
std::optional<std::string> sha256Hex(const Files& files, const Digests& digests, const Path& path,
                                     const std::atomic<bool>& cancelled) {
    const auto file = files.map(path);
    if (!file) return std::nullopt;
    const auto digest = digests.makeSha256();
    for (ByteView rest = (*file)->bytes(); !rest.empty() && !cancelled;) {
        const ByteView piece = rest.first(std::min(rest.size(), hashPieceSize));
        digest->update(piece);
        rest = rest.subspan(piece.size());
    }
    return digest->finish();
}

std::int64_t versionFromName(const Path& archive, ModelID id) {
    const std::string name = archive.filename();
    const std::string front = fmt::format("{}-v", rawValue(id));
    constexpr std::string_view back = ".tar.gz";
    if (name.starts_with(front) && name.ends_with(back) && name.size() > front.size() + back.size()) {
        const auto digits =
            std::string_view(name).substr(front.size(), name.size() - front.size() - back.size());
        if (const auto version = parseInteger(digits)) return *version;
    }
    return modelFacts(id).defaultVersion;
}

}  // namespace

std::string byteCountText(std::int64_t bytes) {
    struct Unit {
        double size;
        const char* name;
        int decimals;
    };
    constexpr Unit units[] = {{1e9, "GB", 2}, {1e6, "MB", 1}, {1e3, "KB", 0}};
    for (const Unit& unit : units) {
        if (static_cast<double>(bytes) < unit.size) continue;
        std::string number = fmt::format("{:.{}f}", static_cast<double>(bytes) / unit.size, unit.decimals);
        if (unit.decimals > 0) {
            number.erase(number.find_last_not_of('0') + 1);
            if (number.ends_with('.')) number.pop_back();
        }
        return number + " " + unit.name;
    }
    return fmt::format("{} {}", bytes, bytes == 1 ? "byte" : "bytes");
}

/// One download from its start to its end.
struct ModelDownloadService::Job {
    ModelID id;
    std::string url;
    std::int64_t version = 0;
    std::optional<std::string> expectedHash;
    Completion completion;
    std::shared_ptr<HttpTransfer> transfer;
    std::atomic<bool> cancelled{false};
    std::atomic<bool> progressIsPosted{false};
    std::atomic<std::int64_t> receivedBytes{0};
    std::atomic<std::int64_t> expectedBytes{0};

    double progress() const {
        const auto received = static_cast<double>(receivedBytes);
        if (const std::int64_t expected = expectedBytes; expected >= 1) {
            return std::min(received / static_cast<double>(expected), 1.0);
        }
        return std::min(received / static_cast<double>(modelFacts(id).downloadSize), 0.99);
    }
};

/// Takes an archive's bytes to the staging folder and tests them as they come. The transfer's thread.
class ModelDownloadService::Receiver {
public:
    Receiver(Files& files, Path folder, Path archive, std::shared_ptr<Job> job)
        : files_(files), folder_(std::move(folder)), archive_(std::move(archive)), job_(std::move(job)) {}

    bool take(ByteView piece) {
        if (job_->cancelled) return false;
        const auto written = write(piece);
        if (!written) failure_ = written.error();
        size_ += static_cast<std::int64_t>(piece.size());
        for (std::size_t i = 0; i < piece.size() && head_.size() < 2; ++i) head_.push_back(piece[i]);
        return written.has_value();
    }

    DownloadResult<void> finish(const HttpResult<int>& status) {
        auto result = tested(status);
        if (result && file_) {
            if (auto committed = file_->commit(); !committed) result = Unexpected(errorOf(committed.error()));
        }
        file_.reset();
        return result;
    }

private:
    FileResult<void> write(ByteView piece) {
        if (!file_) {
            if (auto made = files_.createDirectories(folder_); !made) return made;
            auto begun = files_.beginWrite(archive_, Durability::cache);
            if (!begun) return Unexpected(begun.error());
            file_ = std::move(*begun);
        }
        return file_->write(piece);
    }

    DownloadResult<void> tested(const HttpResult<int>& status) const {
        const auto word = rawValue(job_->id);
        if (job_->cancelled) return Unexpected(DownloadError{Code::cancelled});
        if (failure_) return Unexpected(errorOf(*failure_));
        if (!status) return Unexpected(DownloadError{Code::transferFailed, 0, status.error().message});
        if (*status < 200 || *status > 299) {
            log::error(category, "HTTP {} for {}", *status, word);
            return Unexpected(DownloadError{Code::httpError, *status});
        }
        const std::int64_t estimate = modelFacts(job_->id).downloadSize;
        if (size_ < estimate >> 1) {
            log::error(category, "Download too small: {} bytes, expected ~{} for {}", size_, estimate, word);
            return Unexpected(DownloadError{Code::invalidArchive});
        }
        if (!hasGzipMagic(head_)) {
            log::error(category, "Invalid gzip header for {}", word);
            return Unexpected(DownloadError{Code::invalidArchive});
        }
        return {};
    }

    static DownloadError errorOf(const FileError& error) {
        if (error.code == FileError::Code::noSpace) return {Code::insufficientSpace};
        return {Code::transferFailed, 0, error.message};
    }

    Files& files_;
    const Path folder_;
    const Path archive_;
    const std::shared_ptr<Job> job_;
    std::unique_ptr<PendingFile> file_;
    std::optional<FileError> failure_;
    std::int64_t size_ = 0;
    Bytes head_;
};

ModelDownloadService::ModelDownloadService(Machine machine, ModelRegistryService& registry,
                                           ModelUpdateService& updates, ModelEndpoint endpoint)
    : machine_(machine),
      registry_(registry),
      updates_(updates),
      endpoint_(std::move(endpoint)),
      installer_{machine.files, machine.compression, registry.modelsDirectory()},
      workers_(machine.queues.makeQueue("com.kelvaris.models", 1)) {
    // What another running program has in there is left alone.
    if (machine_.files.exists(installer_.stagingFolder()) && takeStaging()) {
        static_cast<void>(machine_.files.removeTree(installer_.stagingFolder()));
        releaseStaging();
    }
}

ModelDownloadService::~ModelDownloadService() {
    *isEnding_ = true;
    for (const auto& [id, job] : jobs_) {
        job->cancelled = true;
        if (job->transfer) job->transfer->cancel();
    }
}

// --- The queue

void ModelDownloadService::enqueue(ModelID id, Source source, Completion completion) {
    const auto state = activeDownloads_.find(id);
    if (state != activeDownloads_.end() && state->second.kind != Kind::failed) return;
    setState(id, {Kind::queued});
    pendingQueue_.push_back({id, std::move(source), std::move(completion)});
    log::info(category, "Queued download: {}", rawValue(id));
    processQueue();
}

void ModelDownloadService::processQueue() {
    if (isProcessingQueue_ || pendingQueue_.empty()) return;
    isProcessingQueue_ = true;
    Pending next = std::move(pendingQueue_.front());
    pendingQueue_.pop_front();
    download(next.id, std::move(next.source),
             [this, completion = std::move(next.completion)](DownloadResult<void> result) {
                 if (completion) completion(std::move(result));
                 isProcessingQueue_ = false;
                 processQueue();
             });
}

void ModelDownloadService::update(ModelID id, Completion completion) {
    const auto found = updates_.availableUpdates().find(id);
    if (found == updates_.availableUpdates().end()) return;
    const RemoteModelInfo remote = found->second;
    download(id, {remote.url, remote.version, remote.sha256},
             [this, completion = std::move(completion)](DownloadResult<void> result) {
                 if (result) updates_.computeAvailableUpdates();
                 if (completion) completion(std::move(result));
             });
}

void ModelDownloadService::cancel(ModelID id) {
    std::shared_ptr<Job> job;
    if (const auto found = jobs_.find(id); found != jobs_.end()) job = found->second;
    std::erase_if(pendingQueue_, [id](const Pending& pending) { return pending.id == id; });
    clearState(id);
    log::info(category, "Cancelled download: {}", rawValue(id));
    if (!job) return;
    job->cancelled = true;
    if (job->transfer) job->transfer->cancel();
    removeArchive(id);
    finish(job, Unexpected(DownloadError{Code::cancelled}));
}

// --- One download, step by step

void ModelDownloadService::download(ModelID id, Source source, Completion completion) {
    const auto state = activeDownloads_.find(id);
    const bool isOnItsWay = state != activeDownloads_.end() && state->second.kind != Kind::failed &&
                            state->second.kind != Kind::queued;
    if (isOnItsWay || jobs_.contains(id)) {
        log::info(category, "Download already in progress: {}", rawValue(id));
        if (completion) completion({});
        return;
    }
    auto remote = updates_.remoteInfo(id);
    auto job = std::make_shared<Job>();
    job->id = id;
    job->url = source.url ? *source.url : remote ? remote->url : endpoint_.archive(id);
    if (remote && remote->url != job->url) remote.reset();
    job->version = source.version.value_or(remote ? remote->version : modelFacts(id).defaultVersion);
    job->expectedHash = source.expectedSHA256;
    if (!job->expectedHash && remote) job->expectedHash = remote->sha256;
    job->completion = std::move(completion);
    jobs_[id] = job;

    const std::int64_t needed = modelFacts(id).diskSpace;
    const std::int64_t available = machine_.files.freeSpace(registry_.modelsDirectory()).value_or(0);
    if (available >= 1 && available < needed) {
        return fail(job, fmt::format("Not enough disk space. Need {}.", byteCountText(needed)),
                    {Code::insufficientSpace});
    }
    if (!takeStaging()) {
        const DownloadError error{Code::anotherInstance};
        return fail(job, error.errorDescription(), error);
    }
    startTransfer(job);
}

void ModelDownloadService::startTransfer(const std::shared_ptr<Job>& job) {
    setState(job->id, {Kind::downloading});
    log::info(category, "Starting download: {} from {}", rawValue(job->id), job->url);
    auto receiver =
        std::make_shared<Receiver>(machine_.files, installer_.stagingFolder(), archivePath(job->id), job);
    const WeakToken alive = lifetime_.weak();
    MainQueue& main = machine_.main;
    HttpHandlers handlers;
    handlers.body = [receiver](ByteView piece) { return receiver->take(piece); };
    handlers.progress = [this, job, alive, &main](std::int64_t received, std::int64_t expected) {
        job->receivedBytes = received;
        job->expectedBytes = expected;
        if (job->progressIsPosted.exchange(true)) return;  // the main thread sees the newest, not each
        main.post([this, job, alive] {
            job->progressIsPosted = false;
            if (!alive.lock() || !isCurrent(job)) return;
            const auto state = activeDownloads_.find(job->id);
            if (state == activeDownloads_.end() || state->second.kind != Kind::downloading) return;
            setState(job->id, {Kind::downloading, job->progress()});
        });
    };
    handlers.completion = [this, job, alive, &main, receiver](HttpResult<int> status) {
        auto result = receiver->finish(status);
        main.post([this, job, alive, result = std::move(result)] {
            if (alive.lock()) received(job, result);
        });
    };
    job->transfer = machine_.http.get(job->url, std::move(handlers));
}

void ModelDownloadService::received(const std::shared_ptr<Job>& job, DownloadResult<void> result) {
    if (!isCurrent(job)) {
        if (result && !jobs_.contains(job->id)) removeArchive(job->id);
        return;
    }
    if (!result) {
        const std::string text = result.error().errorDescription();
        return fail(job, text, result.error());
    }
    if (job->expectedHash) {
        startHashing(job);
    } else {
        startExtracting(job);
    }
}

void ModelDownloadService::startHashing(const std::shared_ptr<Job>& job) {
    workers_->add([this, job, alive = lifetime_.weak(), &main = machine_.main, &files = machine_.files,
                   &digests = machine_.digests, path = archivePath(job->id)] {
        const auto hash = sha256Hex(files, digests, path, job->cancelled);
        main.post([this, job, alive, hash] {
            if (!alive.lock() || !isCurrent(job)) return;
            if (hash && asciiLowercased(*hash) == asciiLowercased(*job->expectedHash))
                return startExtracting(job);
            log::error(category, "SHA256 mismatch for {}: expected {}, got {}", rawValue(job->id),
                       *job->expectedHash, hash.value_or("unreadable file"));
            removeArchive(job->id);
            fail(job, "Checksum mismatch. Download may be corrupted.", {Code::checksumMismatch});
        });
    });
}

void ModelDownloadService::startExtracting(const std::shared_ptr<Job>& job) {
    setState(job->id, {Kind::extracting});
    log::info(category, "Extracting: {}", rawValue(job->id));
    workers_->add([this, job, alive = lifetime_.weak(), &main = machine_.main, installer = installer_,
                   path = archivePath(job->id)] {
        const ModelID wanted[] = {job->id};
        const auto installed = installer.install(path, wanted, job->cancelled);
        const auto result =
            installed ? DownloadResult<void>() : DownloadResult<void>(Unexpected(installed.error()));
        main.post([this, job, alive, result] {
            if (alive.lock()) extracted(job, result);
        });
    });
}

void ModelDownloadService::extracted(const std::shared_ptr<Job>& job, const DownloadResult<void>& result) {
    if (!isCurrent(job)) {
        // Called off too late: the new files stand, so the registry must tell their version.
        if (result) noteInstalled(job->id, job->version);
        return;
    }
    removeArchive(job->id);
    if (!result) {
        log::error(category, "Extraction failed for {}: {}", rawValue(job->id),
                   result.error().errorDescription());
        return fail(job, "Download may be corrupted. Please try again.", result.error());
    }
    if (!registry_.isAvailable(job->id)) {
        const DownloadError error{Code::verificationFailed};
        log::error(category, "{}", error.errorDescription());
        return fail(job, error.errorDescription(), error);
    }
    noteInstalled(job->id, job->version);
    clearState(job->id);
    log::info(category, "Download complete: {} v{}", rawValue(job->id), job->version);
    finish(job, {});
}

// --- Ends

void ModelDownloadService::fail(const std::shared_ptr<Job>& job, const std::string& stateMessage,
                                DownloadError error) {
    setState(job->id, {Kind::failed, 0, stateMessage});
    finish(job, Unexpected(std::move(error)));
}

void ModelDownloadService::finish(const std::shared_ptr<Job>& job, DownloadResult<void> result) {
    jobs_.erase(job->id);
    releaseStaging();
    if (const auto completion = std::exchange(job->completion, nullptr)) completion(std::move(result));
}

void ModelDownloadService::noteInstalled(ModelID id, std::int64_t version) {
    registry_.registerModel(id, version);
    registry_.resetService(id);
}

bool ModelDownloadService::isCurrent(const std::shared_ptr<Job>& job) const {
    const auto found = jobs_.find(job->id);
    return found != jobs_.end() && found->second == job;
}

void ModelDownloadService::setState(ModelID id, DownloadState state) {
    const auto [found, isNew] = activeDownloads_.try_emplace(id, state);
    if (!isNew && found->second == state) return;
    found->second = std::move(state);
    notify(ModelDownloadField::activeDownloads);
}

void ModelDownloadService::clearState(ModelID id) {
    if (activeDownloads_.erase(id) > 0) notify(ModelDownloadField::activeDownloads);
}

Path ModelDownloadService::archivePath(ModelID id) const {
    return installer_.stagingFolder() / fmt::format("{}.tar.gz", rawValue(id));
}

void ModelDownloadService::removeArchive(ModelID id) {
    static_cast<void>(machine_.files.removeFile(archivePath(id)));
}

/// @return false when another process is at work in the staging folder.
bool ModelDownloadService::takeStaging() {
    if (stagingLock_) return true;
    auto taken = machine_.files.lock(registry_.modelsDirectory() / ".staging.lock");
    if (!taken) return taken.error().code != FileError::Code::inUse;
    stagingLock_ = std::move(*taken);
    return true;
}

void ModelDownloadService::releaseStaging() {
    if (jobs_.empty() && localInstalls_ == 0) stagingLock_.reset();
}

// --- Local archives

void ModelDownloadService::installArchive(const Path& archive, InstallCompletion completion) {
    if (!takeStaging()) {
        if (completion) completion(Unexpected(DownloadError{Code::anotherInstance}));
        return;
    }
    ++localInstalls_;
    log::info(category, "Installing from {}", archive.string());
    workers_->add([this, archive, completion = std::move(completion), alive = lifetime_.weak(),
                   &main = machine_.main, installer = installer_, isEnding = isEnding_] {
        std::vector<ModelID> all;
        for (const auto& [id, word] : RawValues<ModelID>::rows) all.push_back(id);
        auto installed = installer.install(archive, all, *isEnding);
        main.post([this, archive, completion, alive, installed = std::move(installed)] {
            if (!alive.lock()) return;
            --localInstalls_;
            releaseStaging();
            if (installed) {
                for (const ModelID id : *installed) noteInstalled(id, versionFromName(archive, id));
                updates_.computeAvailableUpdates();
            }
            if (completion) completion(installed);
        });
    });
}

}  // namespace kelvaris
