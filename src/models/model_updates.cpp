#include "models/model_updates.h"

#include <fmt/format.h>

#include "base/log.h"
#include "vocabulary/json_record.h"

namespace kelvaris {

namespace {
constexpr const char* category = "ModelUpdate";
constexpr std::size_t largestManifest = 1 << 20;
}  // namespace

ModelUpdateService::ModelUpdateService(MainQueue& main, Http& http, const Clock& clock,
                                       const ModelRegistryService& registry, ModelEndpoint endpoint)
    : main_(main), http_(http), clock_(clock), registry_(registry), endpoint_(std::move(endpoint)) {}

ModelUpdateService::~ModelUpdateService() {
    if (transfer_) transfer_->cancel();
}

void ModelUpdateService::checkForUpdates(std::function<void()> completion) {
    if (isChecking_) {
        if (completion) completion();
        return;
    }
    assign(ModelUpdateField::isChecking, isChecking_, true);
    assign(ModelUpdateField::checkError, checkError_, std::nullopt);
    auto body = std::make_shared<std::string>();
    HttpHandlers handlers;
    handlers.body = [body](ByteView piece) {
        body->append(asText(piece));
        return body->size() <= largestManifest;
    };
    handlers.completion = [this, body, completion = std::move(completion), alive = lifetime_.weak(),
                           &main = main_](HttpResult<int> status) {
        main.post([this, body, completion, alive, status = std::move(status)] {
            if (!alive.lock()) return;
            transfer_.reset();
            finish(status, *body);
            assign(ModelUpdateField::isChecking, isChecking_, false);
            if (completion) completion();
        });
    };
    transfer_ = http_.get(endpoint_.manifest(), std::move(handlers));
}

void ModelUpdateService::finish(const HttpResult<int>& status, const std::string& body) {
    if (!status) return fail(status.error().message);
    if (*status == 404) {
        log::info(category, "Model manifest not published yet (404). Treating as no updates available.");
        assign(ModelUpdateField::availableUpdates, availableUpdates_, std::map<ModelID, RemoteModelInfo>());
        assign(ModelUpdateField::lastCheckDate, lastCheckDate_, clock_.now());
        return;
    }
    if (*status < 200 || *status > 299) {
        return fail(fmt::format("Failed to fetch model manifest (HTTP {})", *status));
    }
    auto manifest = decodedJson<ModelManifest>(body);
    if (!manifest) return fail("The model manifest could not be read.");
    assign(ModelUpdateField::cachedManifest, cachedManifest_, std::move(manifest));
    computeAvailableUpdates();
    assign(ModelUpdateField::lastCheckDate, lastCheckDate_, clock_.now());
    log::info(category, "Model update check complete. {} update(s) available.", availableUpdates_.size());
}

void ModelUpdateService::fail(const std::string& text) {
    assign(ModelUpdateField::checkError, checkError_, text);
    log::error(category, "Failed to check for model updates: {}", text);
}

std::optional<RemoteModelInfo> ModelUpdateService::remoteInfo(ModelID id) const {
    if (!cachedManifest_) return std::nullopt;
    const auto found = cachedManifest_->models.find(std::string(rawValue(id)));
    if (found == cachedManifest_->models.end()) return std::nullopt;
    return found->second;
}

void ModelUpdateService::computeAvailableUpdates() {
    std::map<ModelID, RemoteModelInfo> updates;
    for (const auto& [id, word] : RawValues<ModelID>::rows) {
        const auto remote = remoteInfo(id);
        if (!remote || !registry_.isAvailable(id)) continue;
        // Files of unknown age count as the first version.
        if (remote->version > registry_.installedVersion(id).value_or(1)) updates.emplace(id, *remote);
    }
    assign(ModelUpdateField::availableUpdates, availableUpdates_, std::move(updates));
}

bool ModelUpdateService::hasUpdate(ModelID id) const {
    const auto found = availableUpdates_.find(id);
    return found != availableUpdates_.end() && remoteInfo(id) == found->second;
}

}  // namespace kelvaris
