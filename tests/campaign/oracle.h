#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "tests/campaign/confinement.h"
#include "tests/campaign/mutation.h"
#include "tests/campaign/scene.h"
#include "tests/campaign/seal.h"
#include "tests/model/checker_run.h"

namespace campaign {

enum class Outcome : std::uint8_t {
    kOther,        ///< other lines than those of the sound share, and the model's
    kSame,         ///< the lines of the sound share, and the model's
    kEnded,        ///< the run ended with its one line and 255, as the model's
    kUnexplained,  ///< anything that should not be
};
inline constexpr std::size_t kOutcomes = 4;

struct Judgement {
    Outcome outcome = Outcome::kUnexplained;
    Layer layer = Layer::kNone;  ///< which layer judged the file
    std::string why;             ///< of kUnexplained
};

/// Holds runs over a damaged scene against the model.
class Oracle {
  public:
    /// @param scene still sound.
    explicit Oracle(const Scene& scene);

    /// Judges a run, while the file is as the run found it.
    ///
    /// @param changed whether the file's bytes are others than before.
    /// @param confinement of the run, or null.
    [[nodiscard]] Judgement Judge(const Victim& victim, const Mutation& mutation, bool changed,
                                  const model::Ended& ended, const Confinement* confinement) const;

    /// Whether a damaged table of volumes names what is outside of the site, as a path that was cut
    /// short may: then the run must be confined.
    [[nodiscard]] bool LeadsOut(const Victim& victim, const Mutation& mutation) const;

  private:
    const std::string site_;
    const model::Invocation& invocation_;
    model::Prediction sound_;
};

}  // namespace campaign
