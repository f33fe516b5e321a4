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

bool LosesLines(FileKind kind, Object object) {
    switch (kind) {
        case FileKind::kHeader:
            return object == Object::kDirectory || object == Object::kLinkLoop;
        case FileKind::kExtentFile:
        case FileKind::kTables:
            return object == Object::kDirectory || object == Object::kSocket;
        default:
            return false;
    }
}

Expected ExpectedOf(FileKind kind, Object object, bool fileData) {
    switch (kind) {
        case FileKind::kHeader:
            return OfHeader(object, fileData);
        case FileKind::kExtentFile:
        case FileKind::kTables:
            // A status that cannot be read ends the run, unless a finding has ended the walk
            // before.
            return object == Object::kLinkLoop && !fileData ? Expected::kNamedOrEnds
                                                            : Expected::kNamed;
        case FileKind::kImage:
            return Expected::kNamed;
        case FileKind::kConfiguration:
            return Expected::kEnds;
        case FileKind::kImageList:
            return object == Object::kLinkLoop ? Expected::kEnds : Expected::kNamed;
        case FileKind::kVolumeTable:
        case FileKind::kContainerIndex:
            return Expected::kAny;
    }
    return Expected::kAny;
}

}  // namespace campaign
