#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "lines/lines.h"
#include "refstore/config/settings.h"
#include "refstore/table/table_directory.h"
#include "tests/model/model.h"

namespace model {

inline constexpr std::uint64_t kFirstContainer = 64;

/// One predicted run: collects what it prints. An exception that none of its checks expects ends
/// it, as it ends the checker.
class Run {
  public:
    explicit Run(std::string configuration) : configuration_(std::move(configuration)) {}

    void Say(const lines::Line& line, std::initializer_list<std::string_view> values = {});

    /// Read when it is first asked for. Where it cannot be used, the library's line is printed and
    /// std::runtime_error thrown.
    const refstore::Settings& Settings();

    /// Several threads write from here on.
    void LoseOrder() { printed_.isOrdered = false; }

    /// Makes the prediction: what `checks` prints, and what the program adds when it throws.
    Prediction Of(const std::function<void()>& checks);

  private:
    std::string configuration_;
    std::optional<refstore::Settings> settings_;
    Prediction printed_;
};

/// Type bits of what is at the path, links followed; 0 where nothing is there. Throws
/// std::system_error when that cannot be found out.
mode_t TypeOf(const std::string& path);

/// The tables that are met by asking for the offsets 0, S, 2S and so on, S the span of the
/// settings, until no table covers the offset. Ends early when `visit` returns false.
void ForEachTable(const refstore::TableDirectory& directory, const refstore::Settings& settings,
                  const std::function<bool(const refstore::StoredTableView&)>& visit);

// The checks of the two modes, each in a file of its own.
void CheckHeaders(Run& run, const std::string& sharePath);
void CheckStorageUnits(Run& run, const std::string& sharePath);
void CheckImages(Run& run, const std::string& sharePath);
void CheckFileData(Run& run, const std::string& shareId, std::int64_t hours);

}  // namespace model
