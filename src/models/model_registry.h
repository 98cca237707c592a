#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/instant.h"
#include "models/model_id.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/places.h"

namespace kelvaris {

enum class ModelAvailability { notDownloaded, downloaded };

/// When a model was installed, and in which version.
struct ModelRegistryEntry {
    Instant installedAt;
    std::string modelID;
    std::string version;  ///< in decimal digits
};

template <class Visitor>
void describe(Visitor& visitor, ModelRegistryEntry& record) {
    visitor.required("installedAt", record.installedAt, "When the model was installed");
    visitor.required("modelID", record.modelID, "The model's name, which is also its folder's");
    visitor.required("version", record.version, "The installed version");
}

struct ModelRegistry {
    std::vector<ModelRegistryEntry> models;
};

template <class Visitor>
void describe(Visitor& visitor, ModelRegistry& record) {
    visitor.required("models", record.models, "The installed models");
}

/// What the settings show of the disk's use, in bytes.
struct StorageInfo {
    std::int64_t appBytes = 0;
    std::int64_t preferencesBytes = 0;
    std::int64_t cacheBytes = 0;
    std::int64_t modelsBytes = 0;
};

/// The sum of the sizes of all files below the folder, 0 when it is not there.
std::int64_t directorySize(const Files& files, const Path& folder);

/// "models" in the data folder; a folder among the short-lived files where there is none.
Path modelsDirectory(const Places& places);

/// Which models are installed. The file system is the truth; the registry file only remembers versions.
/// Main thread, except availability and the sizes, which any thread may ask.
class ModelRegistryService {
public:
    /// Makes the folder and reads "registry.json" in it; a file that can not be read is an empty registry.
    ModelRegistryService(Files& files, const Clock& clock, Path modelsDirectory);

    const Path& modelsDirectory() const { return modelsDirectory_; }
    Path folder(ModelID id) const { return modelsDirectory_ / rawValue(id); }

    /// Downloaded when every required file is in the model's folder.
    ModelAvailability availability(ModelID id) const;
    bool isAvailable(ModelID id) const { return availability(id) == ModelAvailability::downloaded; }
    /// Nothing without an entry, and when the entry's version is no number.
    std::optional<std::int64_t> installedVersion(ModelID id) const;
    /// Notes the version of a model whose files are there.
    void registerModel(ModelID id, std::int64_t version);

    std::int64_t sizeOnDisk(ModelID id) const;
    std::int64_t totalModelSize() const;

    /// Removes the model's folder and its entry, and tells its service to drop what it loaded.
    /// @return false when the folder could not be removed; then nothing else changed.
    bool offload(ModelID id);
    /// Tells the model's service to drop the loaded model, so that the next use loads it anew.
    void resetService(ModelID id) const;
    void setResetHandler(std::function<void(ModelID)> handler) { resetHandler_ = std::move(handler); }

private:
    void saveRegistry();
    Path registryPath() const { return modelsDirectory_ / "registry.json"; }

    Files& files_;
    const Clock& clock_;
    const Path modelsDirectory_;
    ModelRegistry registry_;
    std::function<void(ModelID)> resetHandler_;
};

/// Whether every required file of the model is in the folder.
bool holdsModel(const Files& files, const Path& folder, ModelID id);

}  // namespace kelvaris
