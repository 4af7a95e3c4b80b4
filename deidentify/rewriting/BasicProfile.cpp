#include "deidentify/rewriting/BasicProfile.h"

#include "dcmtk/dcmdata/dctag.h"
#include "deidentify/rewriting/ConfidentialAttributes.h"
#include "deidentify/rewriting/DatasetWalk.h"

namespace radvex::deidentify {

namespace {

bool isText(DcmEVR vr) {
    switch (vr) {
    case EVR_AE:
    case EVR_AS:
    case EVR_CS:
    case EVR_DA:
    case EVR_DS:
    case EVR_DT:
    case EVR_IS:
    case EVR_LO:
    case EVR_LT:
    case EVR_PN:
    case EVR_SH:
    case EVR_ST:
    case EVR_TM:
    case EVR_UC:
    case EVR_UR:
    case EVR_UT: return true;
    default: return false;
    }
}

/// Valid for its type and the same for everyone.
std::string dummyOf(DcmEVR vr) {
    switch (vr) {
    case EVR_AS: return "000Y";
    case EVR_DA: return "19000101";
    case EVR_DS:
    case EVR_IS: return "0";
    case EVR_DT: return "19000101000000";
    case EVR_TM: return "000000";
    default: return "ANONYMIZED"; // capitals: a code string has no others
    }
}

} // namespace

Profile basicProfileRules() {
    Profile profile;
    for (const ConfidentialAttribute& attribute : confidentialAttributes()) {
        const std::string name = nameOf(attribute.key);
        const DcmEVR vr = DcmTag(attribute.key).getEVR();
        if (!isText(vr)) {
            profile.notExpressible.push_back(name);
        } else {
            profile.rules.push_back({name, attribute.action == Confidentiality::Dummy ? dummyOf(vr) : ""});
        }
    }
    // Nothing that a file lacks is added, so it cannot say either what was done.
    for (const char* group : {"private attributes", "curves (groups 50xx)", "overlay planes, comments and labels",
                              "text in pixels", "PatientIdentityRemoved", "DeidentificationMethod"}) {
        profile.notExpressible.emplace_back(group);
    }
    return profile;
}

} // namespace radvex::deidentify
