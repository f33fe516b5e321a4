#include "jorvshare/damage/metadata_run.h"

#include "jorvshare/damage/findings.h"
#include "jorvshare/damage/image_check.h"
#include "jorvshare/damage/map_check.h"

namespace jorvshare::damage {

void EndMetadataRun(const Scene& scene, Report* report) {
    constexpr int failed = 255;
    const ImageLines images = SoundImageLines(scene);
    report->Expect(Mode::kMetadata, Stream::kOutput, std::string(finding::kUnhandled));
    report->ExpectStatus(Mode::kMetadata, failed);
    report->Compare(Mode::kMetadata, Stream::kError, MapLines(scene), {});
    report->Compare(Mode::kMetadata, Stream::kError, images.errors, {});
    report->Compare(Mode::kMetadata, Stream::kOutput, images.output, {});
}

}  // namespace jorvshare::damage
