#pragma once

#include <cstdint>

#include "storage/fingerprint.h"

namespace Corvane::Kst::Marlow::Jorv {

/// Container and fingerprint of an extent's data.
struct ExtDcid {
    /// Data-container identifier. Values below 64 are reserved; 1 means that the data lies in the
    /// file's own storage-unit file.
    std::uint64_t dcid;
    /// Fingerprint of the extent's data.
    crfp_digest_t fp;
};

/// Extent record of one mapping-table entry.
///
/// The table or its cursor owns it, and the caller never frees it. Valid until the cursor that
/// returned it moves or is destroyed. One thread at a time.
///
/// Each operation is followed by one slot that the checker does not use. The slot order is fixed,
/// because a storage library may be built separately from the checker.
class Ext {
  public:
    /// The extent's DCID and fingerprint.
    virtual ExtDcid GetDCID() = 0;
    virtual void ReservedAfterGetDCID() {}

    /// Storage-object reference, 0 when the extent has none.
    virtual std::uint64_t GetSORef() = 0;
    virtual void ReservedAfterGetSORef() {}

    /// Checksum recorded for the extent's data; compared as a whole 64-bit value.
    virtual std::uint64_t GetCksum() = 0;
    virtual void ReservedAfterGetCksum() {}

    /// Byte offset of the extent's data in the storage-unit file, used as a seek position.
    virtual std::int64_t GetDataOffset() = 0;
    virtual void ReservedAfterGetDataOffset() {}

    /// Offset in the file where the extent begins, in bytes.
    virtual std::uint64_t GetStartOffset() = 0;
    virtual void ReservedAfterGetStartOffset() {}

    /// Offset in the file just after the extent, in bytes; the length is end minus start.
    virtual std::uint64_t GetEndOffset() = 0;
    virtual void ReservedAfterGetEndOffset() {}

  protected:
    Ext() = default;
    ~Ext() = default;
    Ext(const Ext&) = default;
    Ext& operator=(const Ext&) = default;
};

}  // namespace Corvane::Kst::Marlow::Jorv
