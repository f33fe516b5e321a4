#pragma once

#include "jorvshare/pack/pack_options.h"
#include "jorvshare/report/wording.h"

namespace jorvshare {

/// Packs the files of a directory into a new share.
///
/// Either the whole share is there afterwards, durable, or nothing of it: on every failure
/// (ToolError, the library's exceptions, Interrupted) all that was made is removed again. A file
/// that cannot be read fails the whole run, since a share that lacks it in silence is a loss.
/// What is no file or directory is skipped with a warning line.
wording::PackSummary Pack(const PackOptions& options);

}  // namespace jorvshare
