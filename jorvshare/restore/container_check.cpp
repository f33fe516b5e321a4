#include "jorvshare/restore/container_check.h"

#include <algorithm>
#include <cstddef>

#include "refstore/base/checksum.h"
#include "refstore/base/regular_file.h"
#include "refstore/fingerprint.h"
#include "storage/exception.h"
#include "terminal/interrupt.h"
#include "terminal/tool_error.h"

namespace jorvshare {

namespace {

using Corvane::Kst::Marlow::Jorv::SysException;
using refstore::ContainerEntry;
using terminal::ToolError;

constexpr const char* kWhat = "container data";

const auto kByFingerprint = [](const ContainerEntry& entry) { return entry.fp.bytes; };

}  // namespace

ContainerCheck::ContainerCheck(const std::vector<std::string>& volumes, KeepGoing* damaged,
                               terminal::Progress* progress)
    : files_(refstore::FindContainers(volumes)), damaged_(damaged), progress_(progress) {}

void ContainerCheck::RequireSound(std::uint64_t dcid, const crfp_digest_t& fp,
                                  std::uint64_t length) {
    const State& state = StateOf(dcid);
    const auto entry = std::ranges::lower_bound(state.sound, fp.bytes, {}, kByFingerprint);
    if (entry == state.sound.end() || entry->fp != fp || entry->length != length) {
        throw ToolError("container " + std::to_string(dcid) + ": " +
                        (state.fault.empty() ? "no such data" : state.fault));
    }
}

const ContainerCheck::State& ContainerCheck::StateOf(std::uint64_t dcid) {
    const auto [place, isNew] = states_.try_emplace(dcid);
    State& state = place->second;
    if (isNew) {
        damaged_->Try("damaged container " + std::to_string(dcid) + ": ", progress_, [&] {
            try {
                OrInputError([&] { Read(dcid, &state); });
            } catch (const InputError& error) {
                state.fault = error.Message();
                throw;
            }
        });
    }
    return state;
}

void ContainerCheck::Read(std::uint64_t dcid, State* state) {
    const auto found = files_.find(dcid);
    if (found == files_.end()) {
        throw ToolError("not on any volume");
    }
    const refstore::ContainerIndex index = refstore::LoadContainerIndex(found->second.bhd);
    if (index.dcid != dcid) {
        throw ToolError(found->second.bhd + ": names another container");
    }
    const std::string& path = found->second.bin;
    const refstore::RegularFile data(kWhat, path);
    std::vector<std::byte> piece;
    for (const ContainerEntry& entry : index.entries) {
        terminal::CheckInterrupt();
        if (entry.length > refstore::kMaxContainerPiece || entry.length > data.Size() ||
            entry.offset > data.Size() - entry.length) {
            continue;
        }
        piece.resize(entry.length);
        try {
            data.ReadAt(entry.offset, piece);
        } catch (const SysException&) {
            continue;  // a bad sector costs the pieces on it
        }
        if (refstore::Fingerprint(piece) == entry.fp) {
            state->sound.push_back(entry);
        }
    }
    std::ranges::sort(state->sound, {}, kByFingerprint);
    bytes_ += data.Size();
    progress_->Advance(0, data.Size());
    const auto fail = [&](const std::string& fault) {
        throw ToolError(std::string(kWhat) + " " + path + ": " + fault);
    };
    if (data.Size() != index.binSize) {
        fail("size differs from the index");
    }
    // The second look at the same bytes finds them in memory.
    if (refstore::Checksum(data, data.Size()) != index.binSeal) {
        fail("checksum mismatch");
    }
    if (state->sound.size() != index.entries.size()) {
        fail("index does not match the data");
    }
}

}  // namespace jorvshare
