#pragma once

#include <string>

#include "jorvshare/site/site_layout.h"

namespace jorvshare {

/// The image named by "POLICY:TIME:NAME": the policy ends at the first colon and the name begins
/// behind the last, so that a time may hold colons. Names that could not stand in a path or in
/// vcopy.dat are refused with ToolError.
ImageName ParseVirtualCopy(const std::string& text);

}  // namespace jorvshare
