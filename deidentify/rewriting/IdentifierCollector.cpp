#include "deidentify/rewriting/IdentifierCollector.h"

#include <algorithm>
#include <map>
#include <optional>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcmetinf.h"
#include "dcmtk/dcmdata/dcsequen.h"
#include "deidentify/identifiers/AsciiText.h"
#include "deidentify/profile/ConfidentialityTable.h"
#include "deidentify/rewriting/DatasetWalk.h"
#include "deidentify/rewriting/NameSpelling.h"
#include "deidentify/rewriting/Pseudonyms.h"
#include "deidentify/rewriting/UidKinds.h"

namespace radvex::deidentify {

namespace {

using Kinds = std::map<DcmTagKey, IdentifierKind>;

const Kinds& kindsOfAttributes() {
    using enum IdentifierKind;
    static const Kinds kinds{
        {DCM_PatientID, PatientId},
        {DCM_RETIRED_OtherPatientIDs, PatientId},
        {DCM_PatientName, PatientName},
        {DCM_OtherPatientNames, PatientName},
        {DCM_PatientBirthName, PatientName},
        {DCM_PatientMotherBirthName, PatientName},
        {DCM_ResponsiblePerson, PatientName},
        {DCM_PatientBirthDate, BirthDate},
        {DCM_AccessionNumber, OtherId},
        {DCM_StudyID, OtherId},
        {DCM_AdmissionID, OtherId},
        {DCM_ServiceEpisodeID, OtherId},
        {DCM_RequestedProcedureID, OtherId},
        {DCM_ScheduledProcedureStepID, OtherId},
        {DCM_PerformedProcedureStepID, OtherId},
        {DCM_PlacerOrderNumberImagingServiceRequest, OtherId},
        {DCM_RETIRED_PlacerOrderNumberProcedure, OtherId},
        {DCM_RETIRED_FillerOrderNumberProcedure, OtherId},
        {DCM_FillerOrderNumberImagingServiceRequest, OtherId},
        {DCM_RETIRED_InsurancePlanIdentification, OtherId},
        {DCM_RETIRED_MedicalRecordLocator, OtherId},
        {DCM_ClinicalTrialSubjectID, OtherId},
        {DCM_ClinicalTrialSubjectReadingID, OtherId},
        {DCM_RETIRED_SpecimenAccessionNumber, OtherId},
        {DCM_SpecimenIdentifier, OtherId},
        {DCM_ContainerIdentifier, OtherId},
        {DCM_RETIRED_SlideIdentifier, OtherId},
        {DCM_RETIRED_InterpretationID, OtherId},
        {DCM_RETIRED_ResultsID, OtherId},
        {DCM_BarcodeValue, OtherId},
        {DCM_PatientAddress, Address},
        {DCM_PersonAddress, Address},
        {DCM_ReferringPhysicianAddress, Address},
        {DCM_InstitutionAddress, Address},
        {DCM_PatientInstitutionResidence, Address},
        {DCM_PatientTelephoneNumbers, Telephone},
        {DCM_PatientTelecomInformation, Telephone},
        {DCM_PersonTelephoneNumbers, Telephone},
        {DCM_PersonTelecomInformation, Telephone},
        {DCM_ReferringPhysicianTelephoneNumbers, Telephone},
        {DCM_OrderCallbackPhoneNumber, Telephone},
        {DCM_OrderCallbackTelecomInformation, Telephone},
        {DCM_InstitutionName, Organization},
        {DCM_ResponsibleOrganization, Organization},
        {DCM_ClinicalTrialSiteName, Organization},
        {DCM_ClinicalTrialCoordinatingCenterName, Organization},
        {DCM_HumanPerformerOrganization, Organization},
        {DCM_VerifyingOrganization, Organization},
        {DCM_StationName, Device},
        {DCM_DeviceSerialNumber, Device},
        {DCM_GantryID, Device},
        {DCM_GeneratorID, Device},
        {DCM_DetectorID, Device},
        {DCM_PlateID, Device},
        {DCM_CassetteID, Device},
        {DCM_StationAETitle, Device},
        {DCM_ScheduledStationName, Device},
        {DCM_PerformedStationName, Device},
        {DCM_ScheduledStationAETitle, Device},
        {DCM_PerformedStationAETitle, Device},
        {DCM_SourceApplicationEntityTitle, Device},
        {DCM_SendingApplicationEntityTitle, Device},
        {DCM_ReceivingApplicationEntityTitle, Device},
    };
    return kinds;
}

bool isKept(const DcmTagKey& key, const ProfileOptions& options) {
    const ConfidentialityRow* row = ConfidentialityTable::instance().find(key.getGroup(), key.getElement());
    return row != nullptr && decide(*row, options, 0).action == Action::Keep;
}

/// Kind of what the attribute holds; nothing when it identifies nobody, or is kept.
std::optional<IdentifierKind> kindOf(DcmElement& element, const ProfileOptions& options) {
    const DcmTagKey key = element.getTag().getXTag();
    if (isKept(key, options)) {
        return std::nullopt;
    }
    const auto known = kindsOfAttributes().find(key);
    if (known != kindsOfAttributes().end()) {
        // An institution or a device that is kept may stand in other attributes too.
        const bool isKeptToo =
            (known->second == IdentifierKind::Organization && options.has(ProfileOption::Institution)) ||
            (known->second == IdentifierKind::Device && options.has(ProfileOption::Device));
        return isKeptToo ? std::nullopt : std::optional(known->second);
    }
    switch (meantType(element)) {
    case EVR_UI:
        return namesAKind(key) || options.has(ProfileOption::Uids) ? std::nullopt : std::optional(IdentifierKind::Uid);
    case EVR_PN: return IdentifierKind::OtherName;
    case EVR_DA:
    case EVR_DT: return options.has(ProfileOption::FullDates) ? std::nullopt : std::optional(IdentifierKind::OtherDate);
    default: return std::nullopt;
    }
}

/// The first eight digits of a date or date-time, which may have points between them; empty for no full date.
std::string dayOf(std::string value) {
    if (value.size() == 10 && value[4] == '.' && value[7] == '.') {
        value.erase(7, 1).erase(4, 1);
    }
    return value.size() >= 8 && std::ranges::all_of(value.substr(0, 8), isDigit) ? value.substr(0, 8) : "";
}

class Collector {
  public:
    Collector(const ProfileOptions& options, TextDecoder& decoder) : mOptions(options), mDecoder(decoder) {}

    void collect(DcmItem& dataset) {
        forEachText(dataset, "",
                    [this](DcmElement& element, const std::string& characterSet) { collect(element, characterSet); });
    }

    LearntFile learnt{};

  private:
    void collect(DcmElement& element, const std::string& characterSet) {
        const auto kind = kindOf(element, mOptions);
        if (!kind || element.getLengthField() > kLongest) {
            return;
        }
        if (*kind == IdentifierKind::PatientName || *kind == IdentifierKind::OtherName) {
            learnNameBytes(*kind, textOf(element), characterSet, mDecoder, learnt.identifiers);
        }
        for (const std::string& value : valuesOf(mDecoder.utf8(element, characterSet), element.ident())) {
            add(*kind, value, element.getTag().getXTag());
        }
    }

    void add(IdentifierKind kind, const std::string& value, const DcmTagKey& key) {
        const bool isDate = kind == IdentifierKind::BirthDate || kind == IdentifierKind::OtherDate;
        const std::string text = isDate ? dayOf(value) : value;
        if (text.empty() || (kind == IdentifierKind::Uid && isWellKnownUid(text))) {
            return;
        }
        learnt.identifiers.add(kind, text);
        if (key == DCM_PatientID) {
            learnt.patients.insert(text);
        }
        if (kind == IdentifierKind::Telephone && value.find('@') != std::string::npos) {
            learnt.identifiers.add(IdentifierKind::OtherId, value);
        }
    }

    static constexpr Uint32 kLongest = 1024; // no identifier, but a text

    const ProfileOptions& mOptions;
    TextDecoder& mDecoder;
};

std::string textAt(DcmItem& item, const DcmTagKey& key, const std::string& characterSet, TextDecoder& decoder) {
    DcmElement* element = nullptr;
    const bool isHeld = item.findAndGetElement(key, element).good() && element != nullptr;
    return isHeld ? std::string(withoutPadding(decoder.utf8(*element, characterSet))) : "";
}

} // namespace

std::optional<IdentifierKind> kindOfAttribute(const DcmTagKey& key) {
    const auto known = kindsOfAttributes().find(key);
    return known == kindsOfAttributes().end() ? std::nullopt : std::optional(known->second);
}

std::vector<std::string> valuesOf(const std::string& text, DcmEVR vr) {
    if (vr == EVR_ST || vr == EVR_LT || vr == EVR_UT) {
        return {std::string(withoutPadding(text))};
    }
    std::vector<std::string> values;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find('\\', begin), text.size());
        values.emplace_back(withoutPadding(std::string_view(text).substr(begin, end - begin)));
        begin = end + 1;
    }
    return values;
}

std::string patientOf(DcmDataset& dataset, TextDecoder& decoder) {
    const std::string characterSet = characterSetOf(dataset, "");
    std::string id = textAt(dataset, DCM_PatientID, characterSet, decoder);
    if (!id.empty()) {
        return id;
    }
    const std::string name = textAt(dataset, DCM_PatientName, characterSet, decoder);
    return name.empty() ? textAt(dataset, DCM_StudyInstanceUID, characterSet, decoder)
                        : name + '\\' + textAt(dataset, DCM_PatientBirthDate, characterSet, decoder);
}

LearntFile learnIdentifiers(DcmFileFormat& file, const ProfileOptions& options, TextDecoder& decoder) {
    Collector collector(options, decoder);
    collector.collect(*file.getMetaInfo());
    collector.collect(*file.getDataset());
    OFString instance;
    if (file.getDataset()->findAndGetOFString(DCM_SOPInstanceUID, instance).good()) {
        collector.learnt.instance = withoutPadding({instance.c_str(), instance.size()});
    }
    return std::move(collector.learnt);
}

} // namespace radvex::deidentify
