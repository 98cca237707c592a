#pragma once

#include <memory>

#include "platform/files.h"

namespace kelvaris {

/// Maps an opened regular file. The kernel ends a process that touches mapped bytes which the file no
/// longer has (cut short, or on a disk that was pulled out); here such bytes read as zeros instead.
/// @param descriptor stays the caller's.
FileResult<std::unique_ptr<MappedFile>> mapDescriptor(int descriptor, std::size_t size);

}  // namespace kelvaris
