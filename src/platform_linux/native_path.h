#pragma once

#include <string>
#include <string_view>

#include "base/path.h"

namespace kelvaris {

/// The bytes that the kernel knows the path by: escaped bytes become themselves again. A path with a
/// zero in it, which the kernel would cut there, becomes the empty one, which leads nowhere.
std::string nativePath(const Path& path);

/// A name or path of the kernel in UTF-8. Bytes that are none, and characters that an escaped byte could
/// be mistaken for, are escaped one by one, so that nativePath leads back.
std::string pathTextFromNative(std::string_view native);

/// The path from the root, free of "." and "..", without a look at what is there.
Path absolutePath(const Path& path);

}  // namespace kelvaris
