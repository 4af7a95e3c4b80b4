#include "deidentify/pixels/BodyParts.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcsequen.h"
#include "deidentify/pixels/AttributeText.h"

namespace radvex::deidentify {

namespace {

/// Beginnings of words. Longer words may follow, as in HEADNECK or CRANIAL.
constexpr std::array<std::string_view, 31> kHead{
    "HEAD",  "BRAIN",   "NEURO",   "FACE",   "FACIAL", "NECK",    "SKULL",   "CRANI",  "CEREBR", "CEREBEL", "ORBIT",
    "SINUS", "NASAL",   "PARANAS", "MAXILL", "MANDIB", "CSPINE",  "CERVICA", "PITUIT", "TEMPOR", "DENT",    "PHARYN",
    "LARYN", "WHOLEBO", "THYROID", "CAROTI", "ZYGOMA", "SCHAEDE", "SCHADEL", "KOPF",   "HIRN"};

/// Short words that many others begin with.
constexpr std::array<std::string_view, 21> kHeadWords{"EYE",  "EYES", "EAR",    "EARS",  "NOSE",  "JAW",     "TMJ",
                                                      "IAC",  "IAM",  "SELLA",  "TEETH", "MOUTH", "TONGUE",  "HALS",
                                                      "TETE", "COU",  "CABEZA", "TESTA", "CRANE", "CERVEAU", "WB"};

/// A word too few here warns once too often; a word too many would hide a head. So none begins other words too: CORON
/// would take every coronal slice for a heart.
constexpr std::array<std::string_view, 42> kOthers{
    "CHEST",    "THORA",    "LUNG",    "HEART",   "CARDIA",  "CORONAR", "BREAST", "MAMMO",  "ABDO",
    "LIVER",    "HEPAT",    "KIDNEY",  "RENAL",   "PANCRE",  "SPLEEN",  "COLON",  "BOWEL",  "RECTUM",
    "RECTAL",   "PELV",     "PROSTAT", "UTERUS",  "OVAR",    "FEMUR",   "KNEE",   "TIBIA",  "ANKLE",
    "SHOULDER", "HUMER",    "ELBOW",   "FOREARM", "WRIST",   "FINGER",  "LSPINE", "TSPINE", "LUMBAR",
    "SACRUM",   "EXTREMIT", "THIGH",   "BLADDER", "PHANTOM", "AORT"};

constexpr std::array<std::string_view, 14> kOtherWords{"HIP",   "HIPS", "LEG",  "LEGS", "ARM",  "ARMS",   "HAND",
                                                       "HANDS", "FOOT", "FEET", "TOE",  "TOES", "BECKEN", "KNIE"};

bool beginsWithAny(std::string_view word, const auto& beginnings) {
    return std::any_of(beginnings.begin(), beginnings.end(),
                       [&](std::string_view beginning) { return word.starts_with(beginning); });
}

bool isAnyOf(std::string_view word, const auto& words) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

struct Named {
    bool isHead = false;
    bool isOther = false;
};

void look(std::string_view capitals, Named& named) {
    const auto isLetter = [](char letter) { return letter >= 'A' && letter <= 'Z'; };
    for (std::size_t begin = 0; begin < capitals.size();) {
        std::size_t end = begin;
        while (end < capitals.size() && isLetter(capitals[end])) {
            ++end;
        }
        const std::string_view word = capitals.substr(begin, end - begin);
        named.isHead = named.isHead || beginsWithAny(word, kHead) || isAnyOf(word, kHeadWords);
        named.isOther = named.isOther || beginsWithAny(word, kOthers) || isAnyOf(word, kOtherWords);
        begin = end + 1;
    }
}

/// "C SPINE" and "WHOLE BODY" are two words each.
std::string withPairsJoined(std::string text) {
    constexpr std::array<std::string_view, 4> kPairs{"C SPINE", "C-SPINE", "WHOLE BODY", "WHOLE-BODY"};
    for (const std::string_view pair : kPairs) {
        for (std::size_t at = text.find(pair); at != std::string::npos; at = text.find(pair, at)) {
            text.erase(pair.find_first_of(" -") + at, 1);
        }
    }
    return text;
}

/// Whole body, head, head and neck, neck, face, skull, brain: by SNOMED CT and by the older identifiers (PS3.16 annex
/// L).
bool isCodeOfHead(std::string_view code) {
    constexpr std::array<std::string_view, 14> kCodes{"38266002", "69536005", "774007",  "45048000", "89545001",
                                                      "89546000", "12738006", "T-D0010", "T-D1100",  "T-D1000",
                                                      "T-D1600",  "T-D1200",  "T-11100", "T-A0100"};
    return std::find(kCodes.begin(), kCodes.end(), code) != kCodes.end();
}

void forEachItem(DcmItem& item, const DcmTagKey& key, const auto& body) {
    DcmSequenceOfItems* sequence = nullptr;
    if (item.findAndGetSequence(key, sequence, OFFalse).bad() || sequence == nullptr) {
        return;
    }
    for (DcmObject* object = sequence->nextInContainer(nullptr); object != nullptr;
         object = sequence->nextInContainer(object)) {
        if (auto* inner = dynamic_cast<DcmItem*>(object)) {
            body(*inner);
        }
    }
}

/// @return whether a part of the body is named at all, known or not
bool lookAtRegions(DcmItem& item, Named& named) {
    bool isNamed = false;
    forEachItem(item, DCM_AnatomicRegionSequence, [&](DcmItem& region) {
        isNamed = true;
        named.isHead = named.isHead || isCodeOfHead(capitals(wholeText(region, DCM_CodeValue)));
        look(withPairsJoined(capitals(wholeText(region, DCM_CodeMeaning))), named);
    });
    return isNamed;
}

bool lookAtParts(DcmItem& dataset, Named& named) {
    const std::string part = withPairsJoined(capitals(wholeText(dataset, DCM_BodyPartExamined)));
    look(part, named);
    bool isNamed = !part.empty();
    isNamed = lookAtRegions(dataset, named) || isNamed;
    forEachItem(dataset, DCM_SharedFunctionalGroupsSequence, [&](DcmItem& group) {
        forEachItem(group, DCM_FrameAnatomySequence,
                    [&](DcmItem& anatomy) { isNamed = lookAtRegions(anatomy, named) || isNamed; });
    });
    return isNamed;
}

} // namespace

HeadInView headInView(DcmItem& dataset) {
    Named named;
    if (lookAtParts(dataset, named)) {
        return named.isHead ? HeadInView::Yes : HeadInView::No;
    }
    for (const DcmTagKey& key : {DCM_StudyDescription, DCM_SeriesDescription, DCM_ProtocolName,
                                 DCM_RequestedProcedureDescription, DCM_PerformedProcedureStepDescription}) {
        look(withPairsJoined(capitals(wholeText(dataset, key))), named);
    }
    return named.isHead ? HeadInView::Yes : named.isOther ? HeadInView::No : HeadInView::Unclear;
}

} // namespace radvex::deidentify
