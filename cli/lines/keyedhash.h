// A hash of texts that nobody can predict, so that no file can be made whose lines collide.
#pragma once
#include "common/siphash.h"

namespace tramo::cli {

/// SipHash with a random key of the process.
class KeyedHash : public SipHash {
public:
    KeyedHash();
    explicit KeyedHash(const Key& chosen) : SipHash(chosen) {}
};

}  // namespace tramo::cli
