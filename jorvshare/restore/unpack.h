#pragma once

#include <string>

namespace jorvshare {

struct UnpackOptions {
    std::string site;
    std::string shareId;
    std::string destination;
    std::string path;        ///< one file or folder of the share; empty: all
    bool keepGoing = false;  ///< past files that are damaged
};

/// Writes the user files of a share into a directory that is not there or is empty: contents, with
/// holes as holes, permission bits and modification times. Owners are not kept in a share, so
/// set-id bits are not restored; directories are open to their owner alone. Prints a summary and
/// returns the exit status: 1 when a file was passed over.
///
/// The data of every extent is held against its fingerprint. Damage is an InputError that names the
/// file; nothing is then left of the destination, unless the run is to keep going.
int Unpack(const UnpackOptions& options);

}  // namespace jorvshare
