#include "jorvaudit/parts.h"

#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/uuid_io.hpp>

#include "jorvaudit/listing.h"

namespace jorvaudit {

namespace {

// A name-based UUID is a digest that needs no library to link.
std::string DigestOf(const std::vector<Unit>& units) {
    std::string all;
    for (const Unit& unit : units) {
        all += unit.path + '\0' + (unit.withBelow ? '+' : '-');
    }
    return to_string(boost::uuids::name_generator_sha1(boost::uuids::ns::oid())(all));
}

}  // namespace

Division Divide(const std::string& share, bool tables, const Part& part) {
    constexpr int kMostLevels = 3;
    // Enough for the parts to be of much the same size.
    constexpr std::size_t kUnitsPerPart = 8;
    std::vector<Unit> units = {{.path = "", .withBelow = true}};
    if (part.of == 1) {
        return {.units = std::move(units), .digest = {}};
    }
    for (int level = 0; level < kMostLevels && units.size() < kUnitsPerPart * part.of; ++level) {
        std::vector<Unit> divided;
        for (const Unit& unit : units) {
            divided.push_back({.path = unit.path, .withBelow = false});
            if (unit.withBelow) {
                for (const std::string& name :
                     ListDirectory(share, unit.path, tables).directories) {
                    divided.push_back({.path = Below(unit.path, name), .withBelow = true});
                }
            }
        }
        units = std::move(divided);
    }
    Division division = {.units = {}, .digest = DigestOf(units)};
    for (std::size_t i = part.index - 1; i < units.size(); i += part.of) {
        division.units.push_back(units[i]);
    }
    return division;
}

}  // namespace jorvaudit
