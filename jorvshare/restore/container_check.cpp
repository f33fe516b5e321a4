#include "jorvshare/restore/container_check.h"

#include <algorithm>
#include <cstddef>
#include <span>

#include "refstore/base/file_checksum.h"
#include "refstore/base/regular_file.h"
#include "refstore/fingerprint/sha256.h"
#include "terminal/interrupt.h"
#include "terminal/tool_error.h"

namespace jorvshare {

namespace {

using refstore::ContainerEntry;
using terminal::ToolError;

constexpr const char* kWhat = "container data";
constexpr std::uint64_t kPart = std::uint64_t{1} << 20U;

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

// Pieces lie one after the other in a container that packing wrote; here they may lie anywhere.
// What is read for the pieces in the order of their places goes into the seal as well.
void ContainerCheck::Read(std::uint64_t dcid, State* state) {
    const auto found = files_.find(dcid);
    if (found == files_.end()) {
        throw ToolError("not on any volume");
    }
    refstore::ContainerIndex index = refstore::LoadContainerIndex(found->second.bhd);
    if (index.dcid != dcid) {
        throw ToolError(found->second.bhd + ": names another container");
    }
    const std::string& path = found->second.bin;
    const refstore::RegularFile data(kWhat, path);
    refstore::RunningChecksum seal(kWhat, path);
    std::vector<std::byte> buffer;
    std::uint64_t sealed = 0;
    const auto read = [&](std::uint64_t offset, std::uint64_t length) {
        terminal::CheckInterrupt();
        buffer.resize(length);
        data.ReadAt(offset, buffer);
        bytes_ += length;
        progress_->Advance(0, length);
        if (offset <= sealed && offset + length > sealed) {
            seal.Add(std::span(buffer).subspan(sealed - offset));
            sealed = offset + length;
        }
    };
    const auto sealUpTo = [&](std::uint64_t end) {
        while (sealed < end) {
            read(sealed, std::min(kPart, end - sealed));
        }
    };
    std::string fault = data.Size() == index.binSize ? "" : "size differs from the index";
    std::ranges::sort(index.entries, {}, &ContainerEntry::offset);
    for (const ContainerEntry& entry : index.entries) {
        if (entry.length > refstore::kMaxContainerPiece || entry.length > data.Size() ||
            entry.offset > data.Size() - entry.length) {
            fault = "data lies outside the container";
            continue;
        }
        sealUpTo(entry.offset);
        read(entry.offset, entry.length);
        if (refstore::Fingerprint(buffer) == entry.fp) {
            state->sound.push_back(entry);
        } else {
            fault = "data at " + std::to_string(entry.offset) + " does not have its fingerprint";
        }
    }
    std::ranges::sort(state->sound, {}, kByFingerprint);
    sealUpTo(data.Size());
    if (fault.empty() && seal.Value() != index.binSeal) {
        fault = "checksum mismatch";
    }
    if (!fault.empty()) {
        throw ToolError(std::string(kWhat) + " " + path + ": " + fault);
    }
}

}  // namespace jorvshare
