#include "refstore/base/errors.h"

#include <cerrno>
#include <system_error>

#include "storage/exception.h"

namespace refstore {

void ThrowError(int code, std::string_view what, const std::string& path, std::string_view why) {
    std::string message;
    // A path with a NUL byte is shown up to it: what() would end there and lose the reason.
    message.append(what).append(" ").append(path.c_str()).append(": ").append(why);
    message.append(" (errno ").append(std::to_string(code)).append(")");
    // No stack trace: damage is met by the thousand in a broken share, and the message says where.
    throw Corvane::Kst::Marlow::Jorv::SysException(code, {}, std::move(message));
}

void ThrowErrno(int code, std::string_view what, const std::string& path) {
    ThrowError(code, what, path, std::generic_category().message(code));
}

void ThrowDamage(std::string_view what, const std::string& path, std::string_view why) {
    ThrowError(EBADMSG, what, path, why);
}

void RequireNoNul(std::string_view what, const std::string& path) {
    if (path.find('\0') != std::string::npos) {
        ThrowError(EINVAL, what, path, "path holds a NUL byte");
    }
}

}  // namespace refstore
