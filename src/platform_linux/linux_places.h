#pragma once

#include <functional>
#include <optional>
#include <string>

#include "platform/places.h"

namespace kelvaris {

struct PlacesOptions {
    /// Holds everything in place of the user's folders: data at its top, the rest in folders beside.
    std::optional<Path> root;
    /// A development build keeps apart from the user's own library.
    bool isDevelopment = false;
    /// Reads an environment variable; the process's own when empty.
    std::function<std::optional<std::string>(const char* name)> environment;
    /// The home folder in the machine's list of users; the process's own user is looked up when empty.
    std::function<std::optional<Path>()> registeredHome;
};

/// Whether this program was built for development.
bool isDevelopmentBuild();

/// The user's data, cache, config and state folders plus "Kelvaris" or "Kelvaris-dev"; where no home is
/// known, the temporary folder stands in for it. Resources come
/// from KELVARIS_RESOURCES, else from beside the program ("../share/kelvaris"), else, in a development
/// build, from the source tree.
Places linuxPlaces(const PlacesOptions& options);

}  // namespace kelvaris
