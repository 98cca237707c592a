#pragma once

#include <memory>
#include <optional>

#include "analysis/photo_analysis_service.h"
#include "application/app_view_model.h"
#include "application/discovery.h"
#include "application/discovery_refresh.h"
#include "application/gear_advice.h"
#include "base/path.h"
#include "models/model_download.h"
#include "models/model_registry.h"
#include "models/model_updates.h"
#include "platform/places.h"
#include "platform_linux/console_shell.h"
#include "platform_linux/curl_http.h"
#include "platform_linux/openssl_digests.h"
#include "platform_linux/zlib_compression.h"

namespace kelvaris {

/// The services that fetch and keep models. Main thread.
struct ModelParts {
    ModelParts(const Places& places, MainQueue& main, OperationQueueFactory& queues, Files& files,
               const Clock& clock);

    ZlibCompression compression;
    OpensslDigests digests;
    CurlHttp http;
    ModelEndpoint endpoint;
    ModelRegistryService registry;
    ModelUpdateService updates;
    ModelDownloadService downloads;
};

struct SystemOptions {
    /// Holds everything in place of the user's own folders.
    std::optional<Path> root;
    VaultService::Access access = VaultService::Access::readWrite;
    /// Ends the program; may be empty.
    std::function<void()> terminate;
};

/// The folders of this program for this user, or those below a root of its own. Nothing is made.
Places systemPlaces(const std::optional<Path>& root);

/// The running system on this machine: every adapter and service, made in order and taken down in reverse.
/// The thread that makes it is the main thread.
class KelvarisSystem {
public:
    explicit KelvarisSystem(const SystemOptions& options);
    ~KelvarisSystem();
    KelvarisSystem(const KelvarisSystem&) = delete;
    KelvarisSystem& operator=(const KelvarisSystem&) = delete;

    MainQueue& main();
    AppViewModel& app();
    VaultService& vault();
    MirrorState& mirrorState();
    UserPreferences& preferences();
    Files& files();
    const Language& language();
    const Places& places();
    ConsoleShell& shell();
    ImageCodec& images();
    PhotoAnalysisService& analysis();
    DiscoveryRefresh& discoveryRefresh();
    /// What the searches use to understand words, pictures and faces.
    DiscoveryModels discoveryModels();
    /// Made when first asked for.
    ModelParts& models();
    /// Read when first asked for, as is the advice that is drawn from it.
    const CatalogService& catalog();
    GearAdvice& gearAdvice();

    /// A path as the user wrote it, made absolute and free of "." and "..".
    Path absolutePath(const Path& path) const;
    /// Runs what is due on the main queue.
    void settle();

private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

}  // namespace kelvaris
