#pragma once

#include <string>
#include <string_view>

namespace refstore {

/// Throws SysException(code) with the one-line message
/// "<what> <path>: <why> (errno <code>)". The path is raw, whatever bytes it holds.
///
/// @param what kind of structure, e.g. "header file".
[[noreturn]] void ThrowError(int code, std::string_view what, const std::string& path,
                             std::string_view why);

/// As ThrowError, with the system's text for `code` as the reason.
[[noreturn]] void ThrowErrno(int code, std::string_view what, const std::string& path);

/// A stored structure that is damaged: ThrowError with EBADMSG.
[[noreturn]] void ThrowDamage(std::string_view what, const std::string& path, std::string_view why);

}  // namespace refstore
