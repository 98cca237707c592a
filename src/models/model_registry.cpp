#include "models/model_registry.h"

#include <algorithm>
#include <set>

#include "base/log.h"
#include "base/text.h"
#include "vocabulary/json_record.h"

namespace kelvaris {

namespace {

constexpr const char* category = "ModelRegistry";
constexpr std::int64_t largestRegistry = 1 << 20;

using Visited = std::set<std::pair<std::uint64_t, std::uint64_t>>;

std::int64_t sizeBelow(const Files& files, const Path& folder, Visited& visited) {
    const auto entries = files.list(folder, false);
    if (!entries) return 0;
    std::int64_t sum = 0;
    for (const FolderEntry& entry : *entries) {
        if (!entry.info) continue;
        if (!entry.info->isDirectory) {
            sum += entry.info->size;
        } else if (visited.emplace(entry.info->device, entry.info->inode).second) {  // links may lead round
            sum += sizeBelow(files, entry.path, visited);
        }
    }
    return sum;
}

}  // namespace

std::int64_t directorySize(const Files& files, const Path& folder) {
    Visited visited;
    return sizeBelow(files, folder, visited);
}

Path modelsDirectory(const Places& places) {
    return places.data.empty() ? places.temporary / "Kelvaris-models" : places.data / "models";
}

bool holdsModel(const Files& files, const Path& folder, ModelID id) {
    const auto& required = modelFacts(id).requiredFiles;
    return std::all_of(required.begin(), required.end(),
                       [&](std::string_view name) { return files.exists(folder / name); });
}

ModelRegistryService::ModelRegistryService(Files& files, const Clock& clock, Path modelsDirectory)
    : files_(files), clock_(clock), modelsDirectory_(std::move(modelsDirectory)) {
    log::info(category, "Models directory: {}", modelsDirectory_.string());
    if (auto made = files_.createDirectories(modelsDirectory_); !made) {
        log::error(category, "Failed to create {}: {}", modelsDirectory_.string(), made.error().message);
    }
    if (const auto bytes = files_.read(registryPath(), largestRegistry)) {
        registry_ = decodedJson<ModelRegistry>(asText(*bytes)).value_or(ModelRegistry());
    }
}

ModelAvailability ModelRegistryService::availability(ModelID id) const {
    return holdsModel(files_, folder(id), id) ? ModelAvailability::downloaded
                                              : ModelAvailability::notDownloaded;
}

std::optional<std::int64_t> ModelRegistryService::installedVersion(ModelID id) const {
    for (const ModelRegistryEntry& entry : registry_.models) {
        if (entry.modelID == rawValue(id)) return parseInteger(entry.version);
    }
    return std::nullopt;
}

void ModelRegistryService::registerModel(ModelID id, std::int64_t version) {
    if (!isAvailable(id)) {
        log::error(category, "Cannot register {}: files not found", rawValue(id));
        return;
    }
    const Instant now(std::chrono::floor<std::chrono::seconds>(clock_.now().sinceEpoch()));
    ModelRegistryEntry entry{now, std::string(rawValue(id)), std::to_string(version)};
    auto& models = registry_.models;
    const auto old = std::find_if(models.begin(), models.end(),
                                  [&](const auto& each) { return each.modelID == entry.modelID; });
    if (old != models.end()) {
        *old = std::move(entry);
    } else {
        models.push_back(std::move(entry));
    }
    saveRegistry();
    log::info(category, "Registered model: {} v{}", rawValue(id), version);
}

std::int64_t ModelRegistryService::sizeOnDisk(ModelID id) const { return directorySize(files_, folder(id)); }

std::int64_t ModelRegistryService::totalModelSize() const {
    std::int64_t sum = 0;
    for (const auto& [id, word] : RawValues<ModelID>::rows) sum += sizeOnDisk(id);
    return sum;
}

bool ModelRegistryService::offload(ModelID id) {
    if (const auto removed = files_.removeTree(folder(id)); !removed) {
        log::error(category, "Failed to offload {}: {}", rawValue(id), removed.error().message);
        return false;
    }
    std::erase_if(registry_.models, [&](const auto& entry) { return entry.modelID == rawValue(id); });
    saveRegistry();
    resetService(id);
    log::info(category, "Offloaded model: {}", rawValue(id));
    return true;
}

void ModelRegistryService::resetService(ModelID id) const {
    if (resetHandler_) resetHandler_(id);
}

void ModelRegistryService::saveRegistry() {
    const std::string text = encodedJson(registry_).dump(2);
    if (const auto saved = files_.writeAtomically(registryPath(), asBytes(text)); !saved) {
        log::error(category, "Failed to save registry: {}", saved.error().message);
    }
}

}  // namespace kelvaris
