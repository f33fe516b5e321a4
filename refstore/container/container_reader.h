#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "refstore/base/regular_file.h"
#include "refstore/container/container_record.h"

namespace refstore {

/// Paths of a container's two files.
struct ContainerFiles {
    std::string bin;
    std::string bhd;
};

/// All containers below the directories `volumes`, by DCID: every regular file with the name
/// "<dcid>.bhd", the DCID in decimal without a leading zero. Symbolic links to directories are not
/// followed. Where one DCID has several, the first volume's and there the least path counts. A
/// directory that cannot be read gives SysException.
std::map<std::uint64_t, ContainerFiles> FindContainers(const std::vector<std::string>& volumes);

/// Reads pieces of data out of the containers of some volumes. An index is loaded when it is first
/// asked for and then kept. One thread at a time.
class ContainerReader {
  public:
    /// Finds the containers, as FindContainers.
    explicit ContainerReader(const std::vector<std::string>& volumes);

    /// The `length` bytes with the fingerprint `fp` of container `dcid`. SysException: ENOENT when
    /// there is no such container or no such piece in it, EBADMSG when the index or the data is
    /// damaged, the piece has another length, or the bytes do not have the fingerprint.
    std::vector<std::byte> Read(std::uint64_t dcid, const crfp_digest_t& fp, std::uint64_t length);

  private:
    struct Container {
        ContainerFiles files;
        // Sorted by fingerprint once loaded.
        std::optional<ContainerIndex> index;
    };
    const ContainerIndex& IndexOf(std::uint64_t dcid, Container& container);
    const RegularFile& DataOf(std::uint64_t dcid, const Container& container);

    std::map<std::uint64_t, Container> containers_;
    // The data file that was read last stays open: neighbouring pieces mostly share a container.
    std::optional<RegularFile> data_;
    std::uint64_t dataOf_ = 0;
};

}  // namespace refstore
