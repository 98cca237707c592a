#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/lifetime.h"
#include "base/observable.h"
#include "base/operation_queue.h"
#include "models/model_install.h"
#include "models/model_updates.h"
#include "platform/digest.h"

namespace kelvaris {

/// What a model's row shows while it is on its way.
struct DownloadState {
    enum class Kind { queued, downloading, extracting, failed };
    Kind kind = Kind::queued;
    double progress = 0;  ///< of downloading, 0 to 1
    std::string message;  ///< of failed

    bool operator==(const DownloadState&) const = default;
};

enum class ModelDownloadField { activeDownloads };

/// Fetches, checks and installs models, one at a time from a queue. Main thread only. An earlier install
/// of a model stays whole whatever happens to a later one.
class ModelDownloadService final : public Observable<ModelDownloadField> {
public:
    struct Machine {
        MainQueue& main;
        OperationQueueFactory& queues;
        Files& files;
        Http& http;
        const Compression& compression;
        const Digests& digests;
    };
    /// Where to fetch a model instead of the manifest's or the build's place.
    struct Source {
        std::optional<std::string> url;
        std::optional<std::int64_t> version;
        std::optional<std::string> expectedSHA256;
    };
    using Completion = std::function<void(DownloadResult<void>)>;
    using InstallCompletion = std::function<void(DownloadResult<std::vector<ModelID>>)>;

    /// Removes what an earlier run left in the staging folder.
    ModelDownloadService(Machine machine, ModelRegistryService& registry, ModelUpdateService& updates,
                         ModelEndpoint endpoint);
    ~ModelDownloadService();

    const std::map<ModelID, DownloadState>& activeDownloads() const { return activeDownloads_; }

    /// Downloads and installs at once. Does nothing, and completes well, when the model is on its way.
    void download(ModelID id, Source source = {}, Completion completion = nullptr);
    /// Puts the model in the queue, unless it is in there or on its way; then nothing completes.
    void enqueue(ModelID id, Source source = {}, Completion completion = nullptr);
    /// Downloads the newest version that the manifest told; does nothing when there is none.
    void update(ModelID id, Completion completion = nullptr);
    /// The row returns to its start; whoever waits gets Code::cancelled, the queue's waiters nothing.
    void cancel(ModelID id);

    /// Installs every model that the local archive holds, through the same readers and tests; its size is
    /// not tested, since models of the user's own may be small. The version comes from a file name of the
    /// form "<model>-v<version>.tar.gz", else it is the model's default.
    void installArchive(const Path& archive, InstallCompletion completion);

private:
    struct Pending {
        ModelID id;
        Source source;
        Completion completion;
    };
    struct Job;
    class Receiver;

    void processQueue();
    void startTransfer(const std::shared_ptr<Job>& job);
    void received(const std::shared_ptr<Job>& job, DownloadResult<void> result);
    void startHashing(const std::shared_ptr<Job>& job);
    void startExtracting(const std::shared_ptr<Job>& job);
    void extracted(const std::shared_ptr<Job>& job, const DownloadResult<void>& result);
    void fail(const std::shared_ptr<Job>& job, const std::string& stateMessage, DownloadError error);
    void finish(const std::shared_ptr<Job>& job, DownloadResult<void> result);
    bool isCurrent(const std::shared_ptr<Job>& job) const;
    void setState(ModelID id, DownloadState state);
    void clearState(ModelID id);
    void removeArchive(ModelID id);
    Path archivePath(ModelID id) const;
    bool takeStaging();
    void releaseStaging();
    void noteInstalled(ModelID id, std::int64_t version);

    Machine machine_;
    ModelRegistryService& registry_;
    ModelUpdateService& updates_;
    const ModelEndpoint endpoint_;
    const ModelInstaller installer_;
    std::map<ModelID, DownloadState> activeDownloads_;
    std::deque<Pending> pendingQueue_;
    bool isProcessingQueue_ = false;
    std::map<ModelID, std::shared_ptr<Job>> jobs_;
    int localInstalls_ = 0;
    std::unique_ptr<FileLock> stagingLock_;
    std::shared_ptr<std::atomic<bool>> isEnding_ = std::make_shared<std::atomic<bool>>(false);
    Lifetime lifetime_;
    std::unique_ptr<OperationQueue> workers_;
};

/// "560 MB": decimal units, as the user's file manager counts.
std::string byteCountText(std::int64_t bytes);

}  // namespace kelvaris
