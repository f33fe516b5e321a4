#pragma once

#include <memory>
#include <string>

#include "refstore/table/table_environment.h"

namespace refstore {

// The environment that a thread loaded last stays at hand, until it loads another: two checks ask
// for the same directory one after the other, through objects that know nothing of each other. That
// saves the second load and changes nothing: what may have changed since is loaded again.

/// Loads and checks `directory`, as TableEnvironment::Load and RequireSteppable do; may run out of
/// memory with std::bad_alloc besides.
std::shared_ptr<const TableEnvironment> LoadEnvironment(const std::string& directory);

/// What this thread loaded last, if that was `directory` and its data.mdb has certainly not changed
/// since; else null.
std::shared_ptr<const TableEnvironment> KeptEnvironment(const std::string& directory);

}  // namespace refstore
