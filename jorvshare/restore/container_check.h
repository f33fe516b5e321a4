#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "jorvshare/site/keep_going.h"
#include "refstore/container/container_reader.h"
#include "terminal/progress.h"

namespace jorvshare {

/// Reads the containers that are asked for whole, each once, and holds them against their seals and
/// every piece of data against its fingerprint. One thread.
class ContainerCheck {
  public:
    /// @param damaged gets a line "damaged container <dcid>: <why>" for each that is not sound.
    ContainerCheck(const std::vector<std::string>& volumes, KeepGoing* damaged,
                   terminal::Progress* progress);

    /// Throws ToolError unless the container holds sound data of that fingerprint and length.
    void RequireSound(std::uint64_t dcid, const crfp_digest_t& fp, std::uint64_t length);

    [[nodiscard]] std::uint64_t Bytes() const { return bytes_; }

  private:
    /// What is known of a container that was read.
    struct State {
        std::vector<refstore::ContainerEntry> sound;  ///< sorted by fingerprint
        std::string fault;                            ///< empty where none
    };
    const State& StateOf(std::uint64_t dcid);
    void Read(std::uint64_t dcid, State* state);

    const std::map<std::uint64_t, refstore::ContainerFiles> files_;
    KeepGoing* damaged_;
    terminal::Progress* progress_;
    std::map<std::uint64_t, State> states_;
    std::uint64_t bytes_ = 0;
};

}  // namespace jorvshare
