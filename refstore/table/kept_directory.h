#pragma once

#include <memory>
#include <string>

#include "refstore/table/table_directory.h"

namespace refstore {

/// The mapping tables of `directory`, as TableDirectory::Load.
///
/// What a thread loaded last stays at hand until it loads another: two checks ask for the same
/// directory one after the other, through objects that know nothing of each other. It is taken only
/// where the file's identity, size and times show that it has certainly not changed since.
std::shared_ptr<const TableDirectory> LoadDirectory(const std::string& directory);

}  // namespace refstore
