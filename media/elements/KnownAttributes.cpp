#include "media/elements/KnownAttributes.h"

#include <algorithm>
#include <string_view>
#include <tuple>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdicent.h"
#include "dcmtk/dcmdata/dcdict.h"
#include "media/elements/ElementReader.h"

namespace radvex::media {

namespace {

void add(std::vector<KnownAttribute>& attributes, const DcmDictEntry& entry) {
    if (entry.getPrivateCreator() != nullptr || entry.getTagName() == nullptr) {
        return;
    }
    const DcmVR vr(DcmVR(entry.getEVR()).getValidEVR());
    attributes.push_back({entry.getGroup(), entry.getElement(), vr.getVRName(), plainKeyword(entry.getTagName())});
}

} // namespace

std::vector<KnownAttribute> listKnownAttributes() {
    DcmDataDictionary dictionary(OFTrue, OFFalse); // the one that is built in, as in the library
    std::vector<KnownAttribute> attributes;
    for (auto entry = dictionary.normalBegin(); entry != dictionary.normalEnd(); ++entry) {
        add(attributes, **entry);
    }
    for (auto entry = dictionary.repeatingBegin(); entry != dictionary.repeatingEnd(); ++entry) {
        add(attributes, **entry);
    }
    std::ranges::sort(attributes, {}, [](const KnownAttribute& attribute) {
        return std::tuple(attribute.group, attribute.number, std::string_view(attribute.keyword));
    });
    return attributes;
}

} // namespace radvex::media
