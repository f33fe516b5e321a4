#pragma once

#include "refstore/base/envelope.h"

namespace refstore {

/// The envelope that a container image is kept in.
inline constexpr EnvelopeKind kImageKind{"JORVIMAG", 1, "container image"};

}  // namespace refstore
