#pragma once

#include "refstore/base/envelope.h"

namespace refstore {

/// The envelope that a header file is kept in.
inline constexpr EnvelopeKind kHeaderKind{"JORVHEAD", 1, "header file"};

}  // namespace refstore
