#pragma once

#include "jorvck/driver/messages.h"
#include "jorvck/extent_checksum/messages.h"
#include "jorvck/file_data/messages.h"
#include "jorvck/share_metadata/messages.h"
#include "jorvck/virtual_copy/messages.h"

/// The checker's messages, under short names.
namespace campaign::messages {

namespace jorvck = Corvane::Kst::Marlow::JorvCk;
namespace share = jorvck::ShareMetadataMessages;
namespace extent = jorvck::ExtentChecksumMessages;
namespace vcopy = jorvck::VirtualCopyMessages;
namespace data = jorvck::FileDataMessages;

}  // namespace campaign::messages
