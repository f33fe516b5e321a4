#include "refstore/base/file_checksum.h"

#include <xxhash.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <memory>
#include <span>
#include <vector>

#include "refstore/base/errors.h"

namespace refstore {

namespace {

constexpr std::uint64_t kPart = std::uint64_t{1} << 20;

struct FreeState {
    void operator()(XXH3_state_t* state) const { XXH3_freeState(state); }
};

}  // namespace

std::uint64_t ChecksumOf(const RegularFile& file, std::uint64_t length, std::string_view what,
                         const std::string& path) {
    const std::unique_ptr<XXH3_state_t, FreeState> state(XXH3_createState());
    if (state == nullptr || XXH3_64bits_reset(state.get()) != XXH_OK) {
        ThrowErrno(ENOMEM, what, path);
    }
    auto buffer = OrOutOfMemory(what, path, [length] {
        return std::vector<std::byte>(static_cast<std::size_t>(std::min(length, kPart)));
    });
    for (std::uint64_t offset = 0; offset < length;) {
        const auto part = std::span(buffer).first(
            static_cast<std::size_t>(std::min<std::uint64_t>(length - offset, buffer.size())));
        file.ReadAt(offset, part);
        XXH3_64bits_update(state.get(), part.data(), part.size());
        offset += part.size();
    }
    return XXH3_64bits_digest(state.get());
}

}  // namespace refstore
