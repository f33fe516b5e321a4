#pragma once

#include <vector>

#include "storage/mapping_table.h"
#include "text_file.h"

namespace text_storage {

using Corvane::Kst::Marlow::Jorv::CMappingTable;
using Corvane::Kst::Marlow::Jorv::DcidEntry;
using Corvane::Kst::Marlow::Jorv::Ext;
using Corvane::Kst::Marlow::Jorv::ExtDcid;

/// One extent, in the order in which a file names its parts.
class TextExt final : public Ext {
  public:
    explicit TextExt(TextFile* file);

    ExtDcid GetDCID() override { return dcid_; }
    std::uint64_t GetSORef() override { return soRef_; }
    std::uint64_t GetCksum() override { return cksum_; }
    std::int64_t GetDataOffset() override { return dataOffset_; }
    std::uint64_t GetStartOffset() override { return start_; }
    std::uint64_t GetEndOffset() override { return end_; }

  private:
    std::uint64_t start_;
    std::uint64_t end_;
    ExtDcid dcid_;
    std::uint64_t soRef_;
    std::uint64_t cksum_;
    std::int64_t dataOffset_;
};

/// A table in memory.
class TextTable final : public CMappingTable {
  public:
    iterator begin() override;
    iterator end() override;
    std::int32_t Open(const std::string& path, bool onKlfs, std::string name) override;
    std::int32_t GetDcidList(std::vector<DcidEntry>* dcids,
                             std::unique_ptr<BloomFilter>* filter) override;

    /// Replaces the extents by the rest of `file`; they stay as they were when it is damaged.
    void ReadExtents(TextFile* file);

  private:
    std::vector<TextExt> extents_;
};

/// The file in a directory of mapping tables; the checker asks for it by this name.
std::string DataFile(const std::string& directory);

}  // namespace text_storage
