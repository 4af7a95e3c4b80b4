#include "deidentify/rewriting/MethodAttributes.h"

#include <stdexcept>
#include <string>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcsequen.h"
#include "deidentify/rewriting/Pseudonyms.h"

namespace radvex::deidentify {

namespace {

void require(const OFCondition& condition) {
    if (condition.bad()) {
        throw std::runtime_error(std::string("what was done cannot be written into it: ") + condition.text());
    }
}

void put(DcmItem& item, const DcmTag& tag, std::string_view text) {
    require(item.putAndInsertString(tag, std::string(text).c_str()));
}

bool hasCode(DcmDataset& dataset, std::string_view code) {
    DcmSequenceOfItems* codes = nullptr;
    if (dataset.findAndGetSequence(DCM_DeidentificationMethodCodeSequence, codes).bad()) {
        return false;
    }
    for (unsigned long index = 0; index < codes->card(); ++index) {
        OFString value;
        if (codes->getItem(index)->findAndGetOFString(DCM_CodeValue, value).good() &&
            code == std::string_view(value.c_str(), value.size())) {
            return true;
        }
    }
    return false;
}

/// One value for the profile, one for each option, and one for all settings.
std::string methodOf(const ProfileOptions& options, const std::string& settings) {
    std::string method("PS3.15 E ");
    method += options.describe("\\");
    return settings.empty() ? method : method.append("\\settings ").append(settings);
}

std::string methodIn(DcmDataset& dataset) {
    OFString method;
    (void)dataset.findAndGetOFStringArray(DCM_DeidentificationMethod, method);
    return std::string(withoutPadding({method.c_str(), method.size()}));
}

/// A run that leaves dates as they are does not bring back what an earlier one removed or moved.
const char* datesAfter(DcmDataset& dataset, const ProfileOptions& options) {
    OFString earlier;
    (void)dataset.findAndGetOFString(DCM_LongitudinalTemporalInformationModified, earlier);
    if (options.removesDates() || earlier == "REMOVED") {
        return "REMOVED";
    }
    return options.has(ProfileOption::FullDates) && earlier != "MODIFIED" ? "UNMODIFIED" : "MODIFIED";
}

} // namespace

bool isMadeWith(DcmDataset& dataset, const ProfileOptions& options, const std::string& settings) {
    const std::string said = '\\' + methodIn(dataset);
    return said.ends_with('\\' + methodOf(options, settings));
}

void addMethodCode(DcmDataset& dataset, std::string_view code, std::string_view meaning) {
    if (hasCode(dataset, code)) {
        return;
    }
    DcmItem* item = nullptr;
    require(dataset.findOrCreateSequenceItem(DCM_DeidentificationMethodCodeSequence, item, -2));
    put(*item, DCM_CodeValue, code);
    put(*item, DCM_CodingSchemeDesignator, "DCM");
    put(*item, DCM_CodeMeaning, meaning);
}

void addMethod(DcmDataset& dataset, const ProfileOptions& options, const std::string& settings) {
    put(dataset, DCM_PatientIdentityRemoved, "YES");
    if (!isMadeWith(dataset, options, settings)) {
        const std::string before = methodIn(dataset);
        put(dataset, DCM_DeidentificationMethod,
            before.empty() ? methodOf(options, settings) : before + '\\' + methodOf(options, settings));
    }
    addMethodCode(dataset, "113100", "Basic Application Confidentiality Profile");
    for (const ProfileOptionNames& names : profileOptionNames()) {
        if (options.has(names.option)) {
            addMethodCode(dataset, names.code, names.meaning);
        }
    }
    put(dataset, DCM_LongitudinalTemporalInformationModified, datesAfter(dataset, options));
}

} // namespace radvex::deidentify
