#pragma once

#include <string>

namespace refstore {

/// Results of CheckImage and validate_image that are not plain error numbers of a failed read.
inline constexpr int kImageSound = 0;
inline constexpr int kImageMissing = 2;
inline constexpr int kImageDamaged = 5;
inline constexpr int kImageBadName = 22;

/// Checks the image at <root>/<policy>/<backupTime>/<name>. An empty root holds no image.
///
/// @return kImageSound; kImageMissing; kImageDamaged when its bytes or the three texts in it are
///         not those of this image; kImageBadName when a text is empty, ".", ".." or holds a slash;
///         the error number of the failing call when it cannot be read.
int CheckImage(const std::string& root, const std::string& policy, const std::string& backupTime,
               const std::string& name);

}  // namespace refstore
