#include "refstore/base/file_checksum.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <memory>
#include <span>
#include <vector>

#include "refstore/base/errors.h"
#include "refstore/base/xxh3.h"

namespace refstore {

namespace {

constexpr std::uint64_t kPart = std::uint64_t{1} << 20;

}  // namespace

void RunningChecksum::FreeState::operator()(XXH3_state_s* state) const {
    XXH3_freeState(state);
}

RunningChecksum::RunningChecksum(std::string_view what, const std::string& path)
    : state_(XXH3_createState()) {
    if (state_ == nullptr || XXH3_64bits_reset(state_.get()) != XXH_OK) {
        ThrowErrno(ENOMEM, what, path);
    }
}

void RunningChecksum::Add(std::span<const std::byte> piece) {
    XXH3_64bits_update(state_.get(), piece.data(), piece.size());
}

std::uint64_t RunningChecksum::Value() const {
    return XXH3_64bits_digest(state_.get());
}

std::uint64_t ChecksumOf(const RegularFile& file, std::uint64_t length, std::string_view what,
                         const std::string& path) {
    RunningChecksum checksum(what, path);
    auto buffer = OrOutOfMemory(what, path, [length] {
        return std::vector<std::byte>(static_cast<std::size_t>(std::min(length, kPart)));
    });
    for (std::uint64_t offset = 0; offset < length;) {
        const auto part = std::span(buffer).first(
            static_cast<std::size_t>(std::min<std::uint64_t>(length - offset, buffer.size())));
        file.ReadAt(offset, part);
        checksum.Add(part);
        offset += part.size();
    }
    return checksum.Value();
}

}  // namespace refstore
