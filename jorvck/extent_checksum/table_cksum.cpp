#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>

#include "jorvck/console/console.h"
#include "jorvck/dcid/dcid.h"
#include "jorvck/extent_checksum/extnode_check.h"
#include "jorvck/extent_checksum/messages.h"
#include "jorvck/extent_checksum/read_buffer.h"
#include "jorvck/extent_checksum/sample_cksum.h"
#include "jorvck/paths/endless_file.h"

namespace Corvane::Kst::Marlow::JorvCk {

namespace messages = ExtentChecksumMessages;

namespace {

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

/// Clears the part of the buffer that is read into when the read is over, however it ended: no data
/// of one extent may take part in the next one's checksum. The rest of the buffer is clear already:
/// nothing was read into it since it was cleared last.
class BufferHold {
  public:
    explicit BufferHold(std::span<unsigned char> buffer) : buffer_(buffer) {}
    ~BufferHold() { std::fill(buffer_.begin(), buffer_.end(), 0); }
    BufferHold(const BufferHold&) = delete;
    BufferHold& operator=(const BufferHold&) = delete;

  private:
    std::span<unsigned char> buffer_;
};

}  // namespace

int ExtNodeCheck::ExtNodeCheck_Cksum_File_Table(Jorv::CMappingTable* table,
                                                const std::string& mapPath,
                                                const std::string& stuPath) {
    bool stuLookedAt = false;
    for (auto cursor = table->begin(); !cursor.Equals(table->end()); cursor.Next()) {
        Jorv::Ext* const extent = cursor.operator->();
        const std::uint64_t start = extent->GetStartOffset();
        const std::uint64_t end = extent->GetEndOffset();
        const std::int64_t dataOffset = extent->GetDataOffset();
        const std::uint64_t dcid = extent->GetDCID().dcid;
        const std::uint64_t soRef = extent->GetSORef();
        // Announced only; storage objects and containers are not looked at here.
        if (soRef != 0 || dcid >= kFirstContainerDcid) {
            WriteErrorLine(messages::kStorageObject);
        }
        if (dcid != kLocalDcid) {
            continue;
        }
        // Once per table; a file that turns into one between two extents is not worth a call
        // per extent.
        if (!stuLookedAt && IsEndlessFile(stuPath)) {
            return -1;
        }
        stuLookedAt = true;
        if (CheckLocalExtent(extent, start, end, dataOffset, mapPath, stuPath) != 0) {
            return -1;
        }
    }
    return 0;
}

int ExtNodeCheck::CheckLocalExtent(Jorv::Ext* extent, std::uint64_t start, std::uint64_t end,
                                   std::int64_t dataOffset, const std::string& mapPath,
                                   const std::string& stuPath) {
    // Opened anew for every extent, so that no handle outlives one.
    const std::unique_ptr<std::FILE, CloseFile> file(::fopen64(stuPath.c_str(), "rb"));
    if (file == nullptr) {
        // Silent on purpose: a storage unit that cannot be opened ends the table without a line.
        // Scripts read these lines, and one more would be a finding that they do not know.
        return -1;
    }
    // Longer than the buffer, or with its end before its start (a length that wraps): a sound share
    // has no such extent. One that is there is told as unreadable, and nothing is read for it.
    const std::uint64_t length = end - start;
    const std::span<unsigned char> buffer(readBuffer.get(), length <= kReadBufferSize ? length : 0);
    const BufferHold hold(buffer);
    // One read straight into the buffer; the stream's own would be made and freed for it.
    std::setvbuf(file.get(), nullptr, _IONBF, 0);
    if (::fseeko64(file.get(), dataOffset, SEEK_SET) != 0) {
        WriteErrorLine(messages::SeekFailed(mapPath));
        return -1;
    }
    std::uint32_t count = 0;
    if (length <= kReadBufferSize) {
        count = static_cast<std::uint32_t>(std::fread(buffer.data(), 1, length, file.get()));
    }
    if (count == 0) {
        WriteErrorLine(messages::ReadFailed(mapPath));
        return -1;
    }
    // A short read is no error: the checksum covers what was there.
    if (ComputeSampleCksum(buffer.first(count)) != extent->GetCksum()) {
        WriteErrorLine(messages::ChecksumFailed(mapPath));
        return -1;
    }
    return 0;
}

}  // namespace Corvane::Kst::Marlow::JorvCk
