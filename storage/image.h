#pragma once

/// Validates one container image of the mounted container file system.
///
/// @param policy     policy that the image belongs to.
/// @param backupTime backup time of the image.
/// @param imageName  name of the image.
/// @return 0 when the image is valid, else a code that the library defines and the checker prints.
///
/// The three texts are NUL-terminated and not null. Main thread only.
int validate_image(const char* policy, const char* backupTime, const char* imageName);
