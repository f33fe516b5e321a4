#pragma once

namespace Corvane::Kst::Marlow::JorvCk {

/// Virtual-copy check: reads the share's image list, mounts the container file system, has every
/// image validated up to the first that fails, and unmounts. Reports on both standard streams and
/// returns nothing. Once per process, main thread only.
///
/// @param sharePath the share's path exactly as given on the command line.
void checkVcopy(const char* sharePath);

}  // namespace Corvane::Kst::Marlow::JorvCk
