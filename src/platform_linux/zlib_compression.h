#pragma once

#include "platform/compression.h"

namespace kelvaris {

class ZlibCompression final : public Compression {
public:
    std::unique_ptr<InflateStream> makeInflateStream() const override;
};

}  // namespace kelvaris
