#pragma once

#include <cstdint>
#include <set>
#include <string>

#include "jorvck/file_data/file_check_manager.h"

namespace manager_state {

using Corvane::Kst::Marlow::JorvCk::FileCheckManager;

// What a manager has gathered is its own affair; the tests look at it all the same. An explicit
// instantiation may name private members.

inline const std::set<std::string>& Volumes(const FileCheckManager& manager);
inline const std::set<std::string>& Headers(const FileCheckManager& manager);
inline const std::set<std::uint64_t>& Dcids(const FileCheckManager& manager);
inline std::uint64_t TotalFiles(const FileCheckManager& manager);
inline std::uint64_t CheckedFiles(const FileCheckManager& manager);

template <auto volumes, auto headers, auto dcids, auto total, auto checked>
struct Reach {
    friend const std::set<std::string>& Volumes(const FileCheckManager& manager) {
        return manager.*volumes;
    }
    friend const std::set<std::string>& Headers(const FileCheckManager& manager) {
        return manager.*headers;
    }
    friend const std::set<std::uint64_t>& Dcids(const FileCheckManager& manager) {
        return manager.*dcids;
    }
    friend std::uint64_t TotalFiles(const FileCheckManager& manager) { return manager.*total; }
    friend std::uint64_t CheckedFiles(const FileCheckManager& manager) { return manager.*checked; }
};

template struct Reach<&FileCheckManager::volumes, &FileCheckManager::headers,
                      &FileCheckManager::dcids, &FileCheckManager::totalFiles,
                      &FileCheckManager::checkedFiles>;

}  // namespace manager_state
