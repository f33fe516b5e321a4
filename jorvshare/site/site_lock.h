#pragma once

#include <string>

#include "refstore/base/posix.h"

namespace jorvshare {

/// Exclusive hold of a site, so that two packs cannot mix. It is a lock on the directory itself:
/// no file is left behind by a run that is killed.
class SiteLock {
  public:
    /// Takes the lock or fails at once with ToolError; never waits.
    explicit SiteLock(const std::string& site);

  private:
    refstore::Descriptor directory_;
};

}  // namespace jorvshare
