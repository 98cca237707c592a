#include <algorithm>
#include <cstdlib>

#include "models/tar_reader.h"
#include "platform_fake/fake_machine.h"

namespace {

class ViewStream final : public kelvaris::ByteStream {
public:
    explicit ViewStream(kelvaris::ByteView bytes) : rest_(bytes) {}
    kelvaris::DownloadResult<std::size_t> read(std::span<std::uint8_t> target) override {
        const std::size_t count = std::min(rest_.size(), target.size());
        std::copy_n(rest_.begin(), count, target.begin());
        rest_ = rest_.subspan(count);
        return count;
    }

private:
    kelvaris::ByteView rest_;
};

}  // namespace

/// Whatever an archive names, nothing outside the destination changes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kelvaris;
    const FakeClock clock;
    FakeFiles files(clock.wall());
    const Path destination("/data/staging/models");
    files.addFolder(destination);
    files.addFile(Path("/data/staging/kept"), "kept");
    ViewStream stream(ByteView(data, size));
    static_cast<void>(extractTar(stream, files, destination, Durability::cache));
    for (const Path& path : files.allFiles()) {
        if (path.string() == "/data/staging/kept") continue;
        if (!path.string().starts_with(destination.string() + "/")) std::abort();
    }
    if (files.contents(Path("/data/staging/kept")) != "kept") std::abort();
    return 0;
}
