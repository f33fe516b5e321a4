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
/// The lines and records have a budget of 256 MiB together; std::bad_alloc leaves beyond it. Writes
/// each image's name to standard output as it is read. Main thread only.
int getImageList(const char* sharePath, std::list<validateImageInfo>* images);

/// Virtual-copy check: reads the share's image list, mounts the container file system, has every
/// image validated up to the first that fails, and unmounts. Reports on both standard streams and
/// returns nothing. Once per process, main thread only.
///
/// @param sharePath the share's path exactly as given on the command line.
void checkVcopy(const char* sharePath);

}  // namespace Corvane::Kst::Marlow::JorvCk
