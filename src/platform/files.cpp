#include "platform/files.h"

namespace kelvaris {

bool isPendingFileName(std::string_view name) {
    return name.starts_with(".kelvaris-") && name.ends_with(".tmp");
}

FileResult<void> Files::writeAtomically(const Path& path, ByteView bytes, Durability durability) {
    auto pending = beginWrite(path, durability);
    if (!pending) return Unexpected(pending.error());
    if (auto written = (*pending)->write(bytes); !written) return written;
    return (*pending)->commit();
}

bool Files::isDirectory(const Path& path) const {
    const auto found = info(path);
    return found && found->isDirectory;
}

}  // namespace kelvaris
