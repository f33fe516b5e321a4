#pragma once

#include <string>

#include "refstore/config/settings.h"

namespace refstore {

/// The TOML text of `settings`, every key with a comment. Paths are written as they stand in
/// `settings`; relative ones are read relative to the file.
std::string EncodeSettings(const Settings& settings);

}  // namespace refstore
