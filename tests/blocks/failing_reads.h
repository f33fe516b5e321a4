#pragma once

#include <string>

#include "tests/blocks/failing_files.h"

namespace blocks {

/// For machines without FUSE: reads of this program itself fail, and those of its forks. Only reads
/// by pread are seen, which the reference library makes: of storage units and vcopy.dat none fails,
/// nor of a program that is executed.
class FailingReads : public FailingFiles {
  public:
    /// @param place absolute path of the directory of the files
    explicit FailingReads(const std::string& place);
    ~FailingReads() override;
};

}  // namespace blocks
