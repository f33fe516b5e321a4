#pragma once

#include <string>
#include <string_view>

#include "refstore/config/settings.h"

namespace refstore {

/// The settings that the configuration text `text` gives.
///
/// @param path the file that the text comes from: relative paths in it are relative to its
///             directory, and messages name it.
///
/// A text that breaks a rule throws Exception, its what() "<path>:<line>: <reason>". Of several
/// faults it names the first one in the text.
Settings ParseSettings(std::string_view text, const std::string& path);

}  // namespace refstore
