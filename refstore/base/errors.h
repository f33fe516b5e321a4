#pragma once

#include <cerrno>
#include <new>
#include <string>
#include <string_view>

namespace refstore {

/// Throws SysException(code) with the one-line message
/// "<what> <path>: <why> (errno <code>)". The path is raw: all its bytes up to a NUL.
///
/// @param what kind of structure, e.g. "header file".
[[noreturn]] void ThrowError(int code, std::string_view what, const std::string& path,
                             std::string_view why);

/// As ThrowError, with the system's text for `code` as the reason.
[[noreturn]] void ThrowErrno(int code, std::string_view what, const std::string& path);

/// A stored structure that is damaged: ThrowError with EBADMSG.
[[noreturn]] void ThrowDamage(std::string_view what, const std::string& path, std::string_view why);

/// Refuses a path with a NUL byte inside (EINVAL): the C library would cut it there and name
/// another file.
void RequireNoNul(std::string_view what, const std::string& path);

/// Returns what `load` returns. Running out of memory in it becomes SysException(ENOMEM): a load
/// fails with nothing else.
template <typename Load>
auto OrOutOfMemory(std::string_view what, const std::string& path, const Load& load)
    -> decltype(load()) {
    try {
        return load();
    } catch (const std::bad_alloc&) {
        ThrowErrno(ENOMEM, what, path);
    }
}

}  // namespace refstore
