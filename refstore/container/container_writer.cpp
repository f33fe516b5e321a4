#include "refstore/container/container_writer.h"

#include <unistd.h>

#include <stdexcept>
#include <utility>

#include "refstore/base/checksum.h"
#include "refstore/base/envelope_writer.h"
#include "refstore/base/file_writer.h"
#include "refstore/container/container_format_generated.h"

namespace refstore {

namespace {

// It holds the data of all users' files, also of those that only their owner may read.
constexpr mode_t kDataMode = 0600;

}  // namespace

std::vector<std::byte> EncodeContainerIndex(const ContainerIndex& index) {
    RequireFits(kContainerIndexKind, index.entries.size() * sizeof(container_format::Entry));
    std::vector<container_format::Entry> entries;
    entries.reserve(index.entries.size());
    for (const ContainerEntry& entry : index.entries) {
        entries.emplace_back(flatbuffers::span<const std::uint8_t, 32>(entry.fp.bytes),
                             entry.offset, entry.length);
    }
    flatbuffers::FlatBufferBuilder builder;
    const auto stored = builder.CreateVectorOfStructs(entries);
    const container_format::Data data(index.dcid, index.binSize, index.binSeal);
    builder.Finish(container_format::CreateIndex(builder, &data, stored));
    return SealRecord(kContainerIndexKind, builder);
}

ContainerWriter::ContainerWriter(std::string directory, std::uint64_t dcid, std::string dataEnding)
    : directory_(std::move(directory)), dataEnding_(std::move(dataEnding)) {
    index_.dcid = dcid;
}

ContainerEntry ContainerWriter::Add(const crfp_digest_t& fp, std::span<const std::byte> data) {
    if (finished_) {
        throw std::logic_error("container is finished");
    }
    if (data.size() > kMaxContainerPiece) {
        throw std::length_error("piece of data is too long for a container");
    }
    index_.entries.push_back({fp, data_.size(), data.size()});
    data_.insert(data_.end(), data.begin(), data.end());
    return index_.entries.back();
}

void ContainerWriter::Finish() {
    if (finished_) {
        throw std::logic_error("container is finished");
    }
    finished_ = true;
    index_.binSize = data_.size();
    index_.binSeal = Checksum(data_);
    const std::string base = directory_ + "/" + std::to_string(index_.dcid);
    const std::string bhd = base + ".bhd";
    // Data without an index is a damaged container to the checker, an index without data is none:
    // the index comes first and goes last.
    WriteNewFile(bhd, EncodeContainerIndex(index_));
    try {
        WriteNewFile(base + dataEnding_, data_, kDataMode);
    } catch (...) {
        ::unlink(bhd.c_str());
        throw;
    }
    data_ = {};
}

}  // namespace refstore
