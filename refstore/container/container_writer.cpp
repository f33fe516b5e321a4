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

// The data of all users' files, whatever the modes of these.
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

ContainerWriter::ContainerWriter(std::string directory, std::uint64_t dcid)
    : directory_(std::move(directory)) {
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
    const std::string bin = base + ".bin";
    const std::string bhd = base + ".bhd";
    // A .bin without its .bhd is a damaged container, and the checker says so. The .bhd appears
    // first, so that a run that is killed leaves no .bin alone. Whatever step fails, what the steps
    // before it made is taken away, and nothing that was there before is touched.
    std::vector<std::string> made;
    const auto keep = [&made](const std::string& path) { made.push_back(path); };
    try {
        WriteNewFile(bin + ".new", data_, kDataMode);
        keep(bin + ".new");
        WriteNewFile(bhd + ".new", EncodeContainerIndex(index_));
        keep(bhd + ".new");
        RenameNew(bhd + ".new", bhd);
        keep(bhd);
        RenameNew(bin + ".new", bin);
    } catch (...) {
        for (const std::string& path : made) {
            ::unlink(path.c_str());
        }
        throw;
    }
    data_ = {};
}

}  // namespace refstore
