#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <vector>

#include "refstore/base/envelope_writer.h"
#include "storage/exception.h"

// What the fuzz targets have in common. A target ends the process where the library's promise is
// broken; the sanitizers see to the rest.
namespace fuzz {

/// A file in memory. One thread.
class MemoryFile {
  public:
    MemoryFile() : fd_(::memfd_create("fuzz", MFD_CLOEXEC)) { Require(fd_ >= 0); }
    ~MemoryFile() { ::close(fd_); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    /// Replaces the contents; returns the path that they are read by.
    [[nodiscard]] std::string Put(std::span<const std::byte> bytes) const {
        Require(::ftruncate(fd_, 0) == 0);
        Require(::pwrite(fd_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
        return "/proc/self/fd/" + std::to_string(fd_);
    }

  private:
    static void Require(bool done) {
        if (!done) {
            std::abort();
        }
    }
    int fd_;
};

/// Calls `load`, which must return or find damage.
template <typename Load>
void ExpectLoadedOrDamaged(const Load& load) {
    try {
        load();
    } catch (const Corvane::Kst::Marlow::Jorv::SysException& failure) {
        if (failure.GetErrorNumber() != EBADMSG) {
            std::abort();
        }
    }
}

/// Loads a record file of `kind` made of the input: its first byte says whether the rest is the
/// whole file (even) or a payload in an envelope that fits (odd).
template <typename Load>
void FuzzRecord(const refstore::EnvelopeKind& kind, std::span<const std::byte> input,
                const Load& load) {
    static const MemoryFile file;
    if (input.empty()) {
        return;
    }
    const bool sealed = (std::to_integer<unsigned>(input[0]) & 1U) != 0;
    input = input.subspan(1);
    const std::string path =
        sealed ? file.Put(refstore::SealEnvelope(kind, input)) : file.Put(input);
    ExpectLoadedOrDamaged([&] { load(path); });
}

}  // namespace fuzz
