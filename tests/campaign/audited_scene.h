#pragma once

#include <set>
#include <string>

#include "tests/campaign/mutation.h"
#include "tests/campaign/oracle.h"
#include "tests/campaign/scene.h"

namespace campaign {

/// The audit of a scene, held against what it says of the sound one.
class AuditedScene {
  public:
    /// Audits the scene, which is still sound.
    ///
    /// @param program jorvaudit
    /// @param output directory of the reports; each takes the place of the one before
    AuditedScene(const Scene& scene, std::string program, std::string output);

    /// Audits the scene with one damaged file.
    ///
    /// @param changed whether the file's bytes are others than before
    /// @param outcome what the checker alone made of it
    /// @param ended the checker's run
    /// @return what is wrong about the audit; empty when it names exactly the damaged file, or, for
    ///     one that no user file belongs to, has another finding where the checker has other lines.
    ///     A list of images may be whole and name others: there only findings count.
    [[nodiscard]] std::string WhatIsWrong(const Victim& victim, const Mutation& mutation,
                                          bool changed, Outcome outcome,
                                          const model::Ended& ended) const;

  private:
    struct Result {
        std::string wrong;               ///< it did not end as an audit does
        std::set<std::string> files;     ///< that have a finding
        std::set<std::string> findings;  ///< by kind and name
        std::string text;
    };
    [[nodiscard]] Result Audit() const;

    const Scene& scene_;
    std::string program_;
    std::string output_;
    Result sound_;
};

}  // namespace campaign
