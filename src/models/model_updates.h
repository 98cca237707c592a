#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>

#include "base/instant.h"
#include "base/lifetime.h"
#include "base/main_queue.h"
#include "base/observable.h"
#include "models/model_registry.h"
#include "platform/http.h"

namespace kelvaris {

/// A model as the endpoint offers it.
struct RemoteModelInfo {
    std::int64_t version = 0;
    std::string url;
    std::int64_t size = 0;
    std::string sha256;

    bool operator==(const RemoteModelInfo&) const = default;
};

template <class Visitor>
void describe(Visitor& visitor, RemoteModelInfo& record) {
    visitor.required("version", record.version, "The newest version");
    visitor.required("url", record.url, "Where its archive is");
    visitor.required("size", record.size, "Bytes of the archive");
    visitor.required("sha256", record.sha256, "The archive's SHA-256 in hexadecimal digits");
}

struct ModelManifest {
    std::int64_t manifestVersion = 0;
    std::map<std::string, RemoteModelInfo> models;

    bool operator==(const ModelManifest&) const = default;
};

template <class Visitor>
void describe(Visitor& visitor, ModelManifest& record) {
    visitor.required("manifestVersion", record.manifestVersion, "Version of this file's form");
    visitor.required("models", record.models, "The models by name");
}

enum class ModelUpdateField { availableUpdates, lastCheckDate, isChecking, checkError, cachedManifest };

/// Which installed models have a newer version on the endpoint. Main thread only.
class ModelUpdateService final : public Observable<ModelUpdateField> {
public:
    ModelUpdateService(MainQueue& main, Http& http, const Clock& clock, const ModelRegistryService& registry,
                       ModelEndpoint endpoint);
    ~ModelUpdateService();

    /// Fetches the manifest. After a failure the older manifest and updates stand, and checkError tells.
    /// @param completion runs at the end of the check; at once when one is under way.
    void checkForUpdates(std::function<void()> completion = nullptr);
    /// Works the updates out of the manifest again, as after an install.
    void computeAvailableUpdates();

    const std::map<ModelID, RemoteModelInfo>& availableUpdates() const { return availableUpdates_; }
    /// An entry that the manifest no longer holds so does not count.
    bool hasUpdate(ModelID id) const;
    /// What the manifest tells of the model.
    std::optional<RemoteModelInfo> remoteInfo(ModelID id) const;

    const std::optional<ModelManifest>& cachedManifest() const { return cachedManifest_; }
    std::optional<Instant> lastCheckDate() const { return lastCheckDate_; }
    bool isChecking() const { return isChecking_; }
    const std::optional<std::string>& checkError() const { return checkError_; }

private:
    void finish(const HttpResult<int>& status, const std::string& body);
    void fail(const std::string& text);

    MainQueue& main_;
    Http& http_;
    const Clock& clock_;
    const ModelRegistryService& registry_;
    const ModelEndpoint endpoint_;
    std::map<ModelID, RemoteModelInfo> availableUpdates_;
    std::optional<Instant> lastCheckDate_;
    bool isChecking_ = false;
    std::optional<std::string> checkError_;
    std::optional<ModelManifest> cachedManifest_;
    std::shared_ptr<HttpTransfer> transfer_;
    Lifetime lifetime_;
};

}  // namespace kelvaris
