#pragma once

#include <sys/types.h>

#include <string>

#include "tests/blocks/failing_files.h"

namespace blocks {

/// Shows the files below one directory read-only below another one, through a file system of this
/// process's own: what fails there fails for every program.
class FailingMount : public FailingFiles {
  public:
    /// @param source and @param place are absolute; both are directories.
    /// Throws std::runtime_error when the file system cannot be mounted.
    FailingMount(const std::string& source, const std::string& place);
    /// Unmounts it.
    ~FailingMount() override;

  private:
    pid_t server_;
};

}  // namespace blocks
