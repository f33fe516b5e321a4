#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "refstore/container/container_writer.h"
#include "storage/fingerprint.h"

namespace jorvshare {

/// The first bytes of a fingerprint are as good a hash as any.
struct FingerprintHash {
    std::size_t operator()(const crfp_digest_t& fp) const {
        std::size_t hash = 0;
        std::memcpy(&hash, fp.bytes.data(), sizeof hash);
        return hash;
    }
};

template <typename Value>
using FingerprintMap = std::unordered_map<crfp_digest_t, Value, FingerprintHash>;

/// Where data lies.
struct DataPlace {
    std::uint64_t dcid = 0;
    std::int64_t offset = 0;
};

/// Keeps data once each in containers, which go to the directories in turn. One container is in
/// memory at a time. One thread.
class ContainerStore {
  public:
    /// @param places   directories that are there; not empty.
    /// @param lastDcid largest DCID in use.
    /// @param dataEnding of the names of data, as in ContainerWriter.
    ContainerStore(std::vector<std::string> places, std::uint64_t lastDcid,
                   std::uint64_t maxContainerBytes, std::string dataEnding);

    /// Place of the data, stored now unless it was before. Throws SysException, or ToolError when
    /// no DCID is left.
    DataPlace Put(const crfp_digest_t& fp, std::span<const std::byte> data);

    /// Writes what is still in memory. Nothing may be put afterwards.
    void Finish();

    [[nodiscard]] const std::vector<std::uint64_t>& Dcids() const { return dcids_; }
    [[nodiscard]] std::uint64_t StoredBytes() const { return storedBytes_; }

  private:
    void Begin();

    std::vector<std::string> places_;
    std::uint64_t lastDcid_;
    std::uint64_t maxContainerBytes_;
    std::string dataEnding_;
    std::optional<refstore::ContainerWriter> open_;
    FingerprintMap<DataPlace> stored_;
    std::vector<std::uint64_t> dcids_;
    std::uint64_t storedBytes_ = 0;
};

}  // namespace jorvshare
