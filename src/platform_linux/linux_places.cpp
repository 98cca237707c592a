#include "platform_linux/linux_places.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "platform_linux/native_path.h"

namespace kelvaris {

namespace {

class Environment {
public:
    explicit Environment(const PlacesOptions& options) : read_(options.environment) {}

    /// The absolute folder that a variable names; a relative one does not count.
    std::optional<Path> folder(const char* name) const {
        const auto value = read_ ? read_(name) : own(name);
        if (!value || !value->starts_with('/')) return std::nullopt;
        return Path(pathTextFromNative(*value));
    }

private:
    static std::optional<std::string> own(const char* name) {
        const char* const value = std::getenv(name);
        return value ? std::optional<std::string>(value) : std::nullopt;
    }
    std::function<std::optional<std::string>(const char* name)> read_;
};

std::optional<Path> registeredHome() {
    const passwd* const user = getpwuid(getuid());
    if (!user || !user->pw_dir || user->pw_dir[0] != '/') return std::nullopt;
    return Path(pathTextFromNative(user->pw_dir));
}

Path resourcesFolder(const Environment& environment) {
    if (const auto named = environment.folder("KELVARIS_RESOURCES")) return *named;
    std::error_code failed;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", failed);
    const auto beside = (program.parent_path() / "../share/kelvaris").lexically_normal();
    if (!failed && std::filesystem::is_directory(beside, failed))
        return Path(pathTextFromNative(beside.native()));
#ifdef KELVARIS_SOURCE_RESOURCES
    return Path(KELVARIS_SOURCE_RESOURCES);
#else
    return Path("/usr/share/kelvaris");
#endif
}

}  // namespace

bool isDevelopmentBuild() {
#ifdef KELVARIS_DEVELOPMENT
    return true;
#else
    return false;
#endif
}

Places linuxPlaces(const PlacesOptions& options) {
    const Environment environment(options);
    Places places;
    places.temporary = environment.folder("TMPDIR").value_or(Path("/tmp"));
    auto home = environment.folder("HOME");
    if (!home) home = options.registeredHome ? options.registeredHome() : registeredHome();
    places.home = home.value_or(places.temporary);
    places.resources = resourcesFolder(environment);
    if (options.root) {
        places.data = absolutePath(*options.root);
        places.caches = places.data / "caches";
        places.config = places.data / "config";
        places.state = places.data / "state";
        return places;
    }
    struct Row {
        Path Places::*place;
        const char* variable;
        const char* fallback;
        bool mustLast;
    };
    constexpr Row rows[] = {
        {&Places::data, "XDG_DATA_HOME", ".local/share", true},
        {&Places::caches, "XDG_CACHE_HOME", ".cache", false},
        {&Places::config, "XDG_CONFIG_HOME", ".config", true},
        {&Places::state, "XDG_STATE_HOME", ".local/state", false},
    };
    const char* const name = options.isDevelopment ? "Kelvaris-dev" : "Kelvaris";
    for (const Row& row : rows) {
        const auto named = environment.folder(row.variable);
        places.*row.place = named.value_or(places.home / row.fallback) / name;
        if (row.mustLast && !home && !named) places.isLasting = false;
    }
    return places;
}

}  // namespace kelvaris
