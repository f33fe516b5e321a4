#include "refstore/base/errors.h"

#include <cerrno>
#include <system_error>

#include "storage/exception.h"

namespace refstore {

void ThrowError(int code, std::string_view what, const std::string& path, std::string_view why) {
    std::string message;
    message.append(what).append(" ").append(path).append(": ").append(why);
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

}  // namespace refstore
