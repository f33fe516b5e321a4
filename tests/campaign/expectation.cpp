#include "tests/campaign/expectation.h"

namespace campaign {

namespace {

Expected OfHeader(Object object, bool fileData) {
    if (fileData) {
        // Only regular files count as headers; a listing that cannot go on is told as such.
        return object == Object::kUnreadable ? Expected::kNamed : Expected::kAny;
    }
    switch (object) {
        case Object::kNothing:
        case Object::kDirectory:
            return Expected::kSilent;
        case Object::kLinkLoop:
            // A status that cannot be read ends the run.
            return Expected::kEnds;
        default:
            return Expected::kNamed;
    }
}

}  // namespace

Expected ExpectedOf(FileKind kind, Object object, bool fileData) {
    const bool isMissing = object == Object::kNothing || object == Object::kDanglingLink;
    switch (kind) {
        case FileKind::kHeader:
            return OfHeader(object, fileData);
        case FileKind::kExtentFile:
        case FileKind::kTables:
        case FileKind::kImage:
            return Expected::kNamed;
        case FileKind::kConfiguration:
            // A missing configuration means the defaults.
            return isMissing ? Expected::kAny : Expected::kEnds;
        case FileKind::kImageList:
        case FileKind::kVolumeTable:
        case FileKind::kContainerIndex:
            return Expected::kAny;
    }
    return Expected::kAny;
}

}  // namespace campaign
