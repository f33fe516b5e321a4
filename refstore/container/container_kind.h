#pragma once

#include "refstore/base/envelope.h"

namespace refstore {

/// The envelope that the index of a data container is kept in.
inline constexpr EnvelopeKind kContainerIndexKind{"JORVCIDX", 1, "container index"};

}  // namespace refstore
