#pragma once

#include <string>

namespace Corvane::Kst::Marlow::Jorv {

class JorvUtils {
  public:
    /// Name of the directory level between the metadata root and the directory of the share
    /// `shareId`; opaque to the checker. May throw SysException. Any thread may call it.
    static std::string GetShareDir(const std::string& shareId);
};

}  // namespace Corvane::Kst::Marlow::Jorv
