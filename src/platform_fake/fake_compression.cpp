#include "platform_fake/fake_compression.h"

#include <algorithm>

namespace kelvaris {

namespace {

constexpr std::size_t headerSize = 5;
constexpr std::size_t largestBlock = 0xFFFF;

class StoredStream final : public InflateStream {
public:
    Step process(ByteView input, std::span<std::uint8_t> output) override {
        Step step{Status::goesOn, 0, 0};
        while (step.status == Status::goesOn) {
            if (blockLeft_ > 0) {
                const std::size_t count =
                    std::min({blockLeft_, input.size() - step.consumed, output.size() - step.produced});
                std::copy_n(input.begin() + step.consumed, count, output.begin() + step.produced);
                step.consumed += count;
                step.produced += count;
                blockLeft_ -= count;
                if (blockLeft_ > 0) return step;
            }
            if (isLast_) {
                step.status = Status::finished;
                return step;
            }
            while (headerFilled_ < headerSize && step.consumed < input.size()) {
                header_[headerFilled_++] = input[step.consumed++];
            }
            if (headerFilled_ < headerSize) return step;
            step.status = openBlock();
        }
        return step;
    }

private:
    Status openBlock() {
        headerFilled_ = 0;
        const int length = header_[1] | header_[2] << 8;
        const int complement = header_[3] | header_[4] << 8;
        if (header_[0] > 1 || length != (~complement & 0xFFFF)) return Status::failed;
        isLast_ = header_[0] == 1;
        blockLeft_ = static_cast<std::size_t>(length);
        return Status::goesOn;
    }

    std::uint8_t header_[headerSize] = {};
    std::size_t headerFilled_ = 0;
    std::size_t blockLeft_ = 0;
    bool isLast_ = false;
};

}  // namespace

std::unique_ptr<InflateStream> FakeCompression::makeInflateStream() const {
    return makesStreams ? std::make_unique<StoredStream>() : nullptr;
}

Bytes storedDeflate(ByteView bytes) {
    Bytes stream;
    do {
        const ByteView block = bytes.first(std::min(bytes.size(), largestBlock));
        bytes = bytes.subspan(block.size());
        const auto low = static_cast<std::uint8_t>(block.size());
        const auto high = static_cast<std::uint8_t>(block.size() >> 8);
        const std::uint8_t header[] = {static_cast<std::uint8_t>(bytes.empty()), low, high,
                                       static_cast<std::uint8_t>(~low), static_cast<std::uint8_t>(~high)};
        stream.insert(stream.end(), std::begin(header), std::end(header));
        stream.insert(stream.end(), block.begin(), block.end());
    } while (!bytes.empty());
    return stream;
}

}  // namespace kelvaris
