#pragma once

#include <cstddef>
#include <span>

#include "storage/fingerprint.h"

namespace refstore {

/// Fingerprint of an extent's data: its SHA-256. SysException when the cryptographic library lacks
/// it. Any thread may call it.
crfp_digest_t Fingerprint(std::span<const std::byte> data);

}  // namespace refstore
