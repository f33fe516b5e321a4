#pragma once

#include <cstdint>
#include <string>

namespace Corvane::Kst::Marlow::JorvCk {

/// The command line's parameters, one object for the whole process. Main thread only while it is
/// filled; read-only afterwards.
class EnvParam {
  public:
    /// The one object, made with the defaults below on first use and never destroyed.
    static EnvParam& GetInstance();

    /// Parses main's own arguments into the one object. argv[0] is skipped.
    ///
    /// @return true when the checks may run, false when the usage text is to be printed instead.
    ///         On false, the values that were parsed up to then have been stored.
    static bool ParseArgv(int argc, char** argv);

    /// Writes the usage text, four lines, to standard error.
    static void PrintUsage();

    /// The share's directory.
    std::string sharePath;
    /// The share's identifier; text, never turned into a number.
    std::string shareId;
    /// Verify the share's files against the data containers.
    bool verifyData = false;
    /// Age limit of the file data check in hours, 0 for none; never negative.
    std::int32_t olderThanHours = 0;

    static EnvParam* s_pInstance;

    EnvParam(const EnvParam&) = delete;
    EnvParam& operator=(const EnvParam&) = delete;

  private:
    EnvParam() = default;
};

}  // namespace Corvane::Kst::Marlow::JorvCk
