#pragma once

#include <cstddef>
#include <vector>

#include "refstore/header/header_record.h"

namespace refstore {

/// The bytes of a header file.
std::vector<std::byte> EncodeHeader(const HeaderRecord& record);

}  // namespace refstore
