#pragma once

#include <string>

namespace jorvshare {

struct VerifyOptions {
    std::string site;
    std::string shareId;
    std::string path;  ///< one file or folder of the share; empty: all
};

/// Reads all data of the files of a share, and the containers that it lies in whole, and holds it
/// against fingerprints and seals. A line of error names each damaged file and each damaged
/// container. Prints a summary and returns the exit status: 1 when anything was damaged. Writes
/// nothing.
int Verify(const VerifyOptions& options);

}  // namespace jorvshare
