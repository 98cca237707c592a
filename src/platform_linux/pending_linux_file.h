#pragma once

#include "platform/files.h"

namespace kelvaris {

/// Begins a hidden file in the target's folder, with the permissions of the file it will replace.
FileResult<std::unique_ptr<PendingFile>> beginPendingFile(const Path& target, Durability durability);

/// Flushes a folder's names to the disk; file systems that know no such thing count as flushed.
FileResult<void> flushFolder(int descriptor);

}  // namespace kelvaris
