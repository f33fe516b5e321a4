#include "jorvaudit/parts.h"

#include "jorvaudit/listing.h"

namespace jorvaudit {

std::vector<Unit> UnitsOf(const std::string& share, bool tables, const Part& part) {
    constexpr int kMostLevels = 3;
    // Enough for the parts to be of much the same size.
    constexpr std::size_t kUnitsPerPart = 8;
    std::vector<Unit> units = {{.path = "", .withBelow = true}};
    if (part.of == 1) {
        return units;
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
    std::vector<Unit> own;
    for (std::size_t i = part.index - 1; i < units.size(); i += part.of) {
        own.push_back(units[i]);
    }
    return own;
}

}  // namespace jorvaudit
