#pragma once

#include <list>
#include <string>

namespace Corvane::Kst::Marlow::JorvCk {

/// One image to validate: three texts exactly as read, nothing trimmed or checked.
struct validateImageInfo {
    std::string policy;
    std::string backupTime;
    std::string imageName;
};

/// Reads the image list of a share, the file "vcopy.dat" in `sharePath`: groups of three lines,
/// the policy, the backup time, and image names each closed by a ";".
///
/// @param images records are appended in file order; also those of the groups before a failure.
/// @return 0 when the whole file was read, -1 otherwise, with one line on standard error.
///
/// Writes each image's name to standard output as it is met. Main thread only.
int getImageList(const char* sharePath, std::list<validateImageInfo>* images);

}  // namespace Corvane::Kst::Marlow::JorvCk
