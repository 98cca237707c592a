#pragma once

#include <cstddef>
#include <string>

#include "vocabulary/cloud_storage_provider.h"

namespace kelvaris {

/// What is said of one roll that lives in a synced folder.
std::string cloudWarning(CloudStorageProvider provider);

/// What is said at start of all restored rolls of a provider together.
std::string cloudWarning(CloudStorageProvider provider, std::size_t rollCount);

}  // namespace kelvaris
