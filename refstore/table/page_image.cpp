#include "refstore/table/page_image.h"

#include "refstore/base/errors.h"

namespace refstore {

void PageImage::Damage(std::string_view why) const {
    ThrowDamage(kMappingTableName, path_, why);
}

void PageImage::Damage(std::uint64_t page, std::string_view why) const {
    std::string text = "page " + std::to_string(page) + ": ";
    text.append(why);
    Damage(text);
}

}  // namespace refstore
