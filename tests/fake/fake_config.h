#pragma once

#include "storage/config.h"

namespace storage_fake {

/// The configuration singletons, reached without a line in the record.
Corvane::Kst::Marlow::Jorv::JorvConfig& LayoutConfig();
Corvane::Kst::Marlow::Jorv::FileSystemDaemonConfig& DaemonConfig();

}  // namespace storage_fake
