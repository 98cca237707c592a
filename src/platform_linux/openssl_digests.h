#pragma once

#include "platform/digest.h"

namespace kelvaris {

class OpensslDigests final : public Digests {
public:
    std::unique_ptr<Digest> makeSha256() const override;
};

}  // namespace kelvaris
