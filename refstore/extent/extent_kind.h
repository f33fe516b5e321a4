#pragma once

#include "refstore/base/envelope.h"

namespace refstore {

/// Envelope of an extent file.
inline constexpr EnvelopeKind kExtentFileKind = {"JORVEXTF", 1, "extent file"};

}  // namespace refstore
