#pragma once

#include <string>
#include <vector>

#include "tests/campaign/child.h"
#include "tests/campaign/known_lines.h"
#include "tests/campaign/mutation.h"
#include "tests/campaign/sound_lines.h"

namespace campaign {

enum class Outcome : std::uint8_t {
    kFound,        ///< a finding about the file
    kSame,         ///< the lines of a sound share
    kEnded,        ///< the run ended with its one line and 255
    kUnexplained,  ///< whatever should not be
};
inline constexpr std::size_t kOutcomes = 4;

struct Judgement {
    Outcome outcome = Outcome::kUnexplained;
    std::string why;  ///< of kUnexplained
};

/// Says what a run over a damaged scene must and must not do.
class Oracle {
  public:
    explicit Oracle(const Scene& scene);

    /// @param changed whether the bytes are others than before; `imageList`: vcopy.dat as it is.
    [[nodiscard]] Judgement Judge(const Victim& victim, const Mutation& mutation, bool changed,
                                  const std::string& imageList, const Ended& ended) const;

  private:
    [[nodiscard]] std::string Upright(const std::string& imageList, const Ended& ended) const;
    [[nodiscard]] bool IsRefusal(const Victim& victim, const Lines& lines) const;
    [[nodiscard]] std::string OthersDiffer(const Victim& victim, const Mutation& mutation,
                                           const Lines& lines) const;
    [[nodiscard]] std::string SaysTooMuch(const Victim& victim, const Lines& lines) const;
    [[nodiscard]] Judgement JudgeObject(const Victim& victim, const Mutation& mutation,
                                        const Lines& lines, const Ended& ended) const;
    [[nodiscard]] Judgement JudgeConfiguration(const Lines& lines, const Ended& ended) const;

    const Scene& scene_;
    KnownLines known_;
    Lines sound_;
};

}  // namespace campaign
