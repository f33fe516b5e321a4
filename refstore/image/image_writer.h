#pragma once

#include <cstddef>
#include <vector>

#include "refstore/image/image_record.h"

namespace refstore {

/// The bytes of an image file.
std::vector<std::byte> EncodeImage(const ImageRecord& record);

}  // namespace refstore
