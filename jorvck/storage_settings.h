#pragma once

#include <cstdint>

namespace Corvane::Kst::Marlow::JorvCk {

/// Bytes of file offsets that one mapping table covers, read from the storage library's
/// configuration under a shared hold of its lock. Not guarded against 0: a table walk would then
/// ask for the same table for ever, and it is the library's business to refuse such a setting.
std::uint64_t ReadTableSpanBytes();

/// Whether tables carry a DCID list and a bloom filter, read likewise.
bool ReadDcidBloomEnabled();

}  // namespace Corvane::Kst::Marlow::JorvCk
