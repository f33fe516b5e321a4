#include "tests/campaign/oracle.h"

#include <algorithm>
#include <vector>

#include "storage/vol_mgr.h"
#include "tests/campaign/object.h"

namespace campaign {

namespace {

Judgement Unexplained(std::string why) {
    return {Outcome::kUnexplained, Layer::kNone, std::move(why)};
}

bool IsUnreadable(const Mutation& mutation) {
    return mutation.change == Change::kObject &&
           static_cast<Object>(mutation.first) == Object::kUnreadable;
}

}  // namespace

Oracle::Oracle(const Scene& scene)
    : site_(scene.site), invocation_(scene.invocation), sound_(model::Predict(scene.invocation)) {
    // What comes back to its place may be listed at another one.
    sound_.isOrdered = false;
}

bool Oracle::LeadsOut(const Victim& victim, const Mutation& mutation) const {
    using Corvane::Kst::Marlow::Jorv::VolMgr;
    std::vector<VolMgr::MntEnt> entries;
    if (victim.kind != FileKind::kVolumeTable || mutation.change == Change::kObject ||
        VolMgr::LoadGlobalFstab(victim.path, &entries) != 0) {
        return false;
    }
    return std::ranges::any_of(entries, [this](const VolMgr::MntEnt& entry) {
        return !entry.mountPath.starts_with(site_ + "/");
    });
}

Judgement Oracle::Judge(const Victim& victim, const Mutation& mutation, bool changed,
                        const model::Ended& ended, const Confinement* confinement) const {
    // First: what ends the checker may end the model, which has the library's readers from it.
    if (ended.hung) {
        return Unexplained("did not end within " + std::to_string(model::kLimitSeconds) + " s");
    }
    if (ended.signal != 0) {
        return Unexplained("ended by signal " + std::to_string(ended.signal));
    }
    const model::Prediction predicted = confinement != nullptr ? confinement->Predict(invocation_)
                                        : IsUnreadable(mutation)
                                            ? model::PredictAsNobody(invocation_)
                                            : model::Predict(invocation_);
    std::string difference = model::Difference(predicted, ended.out, ended.err, ended.status);
    if (!difference.empty()) {
        return Unexplained("not what the model says\n" + difference);
    }
    const Layer layer =
        mutation.change == Change::kObject ? Layer::kNone : LayerOf(victim.kind, victim.path);
    if (changed && !mutation.sealed && layer == Layer::kLoaded) {
        return Unexplained("loads, although its seal does not fit");
    }
    const bool isSame = model::Difference(sound_, ended.out, ended.err, ended.status).empty();
    return {ended.status != 0 ? Outcome::kEnded
            : isSame          ? Outcome::kSame
                              : Outcome::kOther,
            layer,
            {}};
}

}  // namespace campaign
