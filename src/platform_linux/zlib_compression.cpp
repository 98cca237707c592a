#include "platform_linux/zlib_compression.h"

#include <zlib.h>

#include <algorithm>
#include <limits>

namespace kelvaris {

namespace {

constexpr int rawWindow = -MAX_WBITS;  // zlib's sign for a stream without a wrapping

uInt clamped(std::size_t size) {
    return static_cast<uInt>(std::min<std::size_t>(size, std::numeric_limits<uInt>::max()));
}

class ZlibStream final : public InflateStream {
public:
    ZlibStream() { isOpen_ = inflateInit2(&stream_, rawWindow) == Z_OK; }
    ~ZlibStream() override {
        if (isOpen_) inflateEnd(&stream_);
    }
    ZlibStream(const ZlibStream&) = delete;
    ZlibStream& operator=(const ZlibStream&) = delete;

    bool isOpen() const { return isOpen_; }

    Step process(ByteView input, std::span<std::uint8_t> output) override {
        const uInt inputSize = clamped(input.size());
        const uInt outputSize = clamped(output.size());
        stream_.next_in = const_cast<Bytef*>(input.data());
        stream_.avail_in = inputSize;
        stream_.next_out = output.data();
        stream_.avail_out = outputSize;
        const int code = inflate(&stream_, Z_NO_FLUSH);
        Step step{Status::failed, inputSize - stream_.avail_in, outputSize - stream_.avail_out};
        if (code == Z_STREAM_END) step.status = Status::finished;
        if (code == Z_OK || code == Z_BUF_ERROR) step.status = Status::goesOn;
        return step;
    }

private:
    z_stream stream_{};
    bool isOpen_ = false;
};

}  // namespace

std::unique_ptr<InflateStream> ZlibCompression::makeInflateStream() const {
    auto stream = std::make_unique<ZlibStream>();
    if (!stream->isOpen()) return nullptr;
    return stream;
}

}  // namespace kelvaris
