#include "deidentify/rewriting/ProfileRewriter.h"

#include <algorithm>
#include <optional>
#include <set>
#include <vector>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcsequen.h"
#include "deidentify/pixels/Masking.h"
#include "deidentify/pixels/OverlayBits.h"
#include "deidentify/pixels/PixelRemains.h"
#include "deidentify/pixels/PixelRisks.h"
#include "deidentify/profile/AttributeTypes.h"
#include "deidentify/profile/ConfidentialityTable.h"
#include "deidentify/rewriting/AttributeKinds.h"
#include "deidentify/rewriting/DatasetWalk.h"
#include "deidentify/rewriting/DateShift.h"
#include "deidentify/rewriting/DummyValues.h"
#include "deidentify/rewriting/IdentifierCollector.h"
#include "deidentify/rewriting/MethodAttributes.h"
#include "deidentify/rewriting/TextCleaner.h"
#include "deidentify/rewriting/UidKinds.h"

namespace radvex::deidentify {

namespace {

/// An item and where it stands.
struct Place {
    DcmItem& item;
    std::string prefix;       ///< "ContentSequence[1]."; empty for the dataset
    std::string characterSet; ///< in effect in the item
    bool isCleaned = false;   ///< an option keeps the item only after cleaning its texts
    bool isDummy = false;     ///< the item is a dummy: its texts say nothing
};

/// An attribute that an item may have only beside another one.
struct Companion {
    DcmTagKey key{};
    DcmTagKey needed{};
};

const std::vector<Companion> kCompanions{
    {DCM_ResponsiblePersonRole, DCM_ResponsiblePerson}, // PS3.3, table C.7-1
    {DCM_ClinicalTrialProtocolEthicsCommitteeName,
     DCM_ClinicalTrialProtocolEthicsCommitteeApprovalNumber}, // PS3.3, table C.7-2b
};

bool isOne(DcmEVR vr, std::initializer_list<DcmEVR> types) { return std::ranges::find(types, vr) != types.end(); }

/// Applies the profile to one file.
class FileRewriting {
  public:
    FileRewriting(DcmFileFormat& file, const ProfileTools& tools, TextDecoder& decoder)
        : mDataset(*file.getDataset()),
          mTools(tools),
          mDecoder(decoder),
          mWriter(mDataset, decoder),
          mPatient(patientOf(mDataset, decoder)),
          mDays(tools.pseudonyms.daysToShift(mPatient)),
          mCleaner(tools.finder, [this](const Identifier& identifier, std::string_view found) {
              return newTextOf(identifier, found);
          }) {
        OFString sopClass;
        (void)mDataset.findAndGetOFString(DCM_SOPClassUID, sopClass);
        mSopClass = std::string(withoutPadding({sopClass.c_str(), sopClass.size()}));
    }

    RewrittenFile run(DcmFileFormat& file) {
        treatPixels(file); // while the attributes say what the original said
        rewrite({mDataset, "", characterSetOf(mDataset, "")});
        mWriter.finish();
        addMethod(mDataset, mTools.settings.options, mTools.settingsMark);
        if (mHasCleanPixels) {
            addMethodCode(mDataset, "113101", "Clean Pixel Data Option");
        }
        return std::move(mResult);
    }

  private:
    const ProfileOptions& options() const { return mTools.settings.options; }

    void note(const Place& place, const DcmTagKey& key, const char* action, std::string rule) {
        mResult.steps.push_back({place.prefix + nameOf(key), action, std::move(rule)});
    }

    void treatPixels(DcmFileFormat& file) {
        const std::vector<PixelRisk> risks = pixelRisks(mDataset);
        // Rules match what the original says, and a mask may change what it says of burnt-in text.
        const bool willBeMasked = !mTools.masks.matching(mDataset).empty() && mDataset.tagExists(DCM_PixelData);
        mResult.leaks.merge(pixelLeaks(mDataset, mTools.settings, willBeMasked));
        if (!mTools.masks.empty() && mask(file, mTools.masks)) {
            mResult.steps.push_back({"PixelData", "masked", "rules of the user"});
            OFString text;
            mHasCleanPixels = mDataset.findAndGetOFString(DCM_BurnedInAnnotation, text).good() && text == "NO";
        }
        for (const PixelRisk& risk : risks) {
            if (mTools.settings.acceptedPixels.contains(risk.pixelClass)) {
                mResult.steps.push_back({"PixelData", "kept", "accepted by the user: " + risk.pixelClass});
            }
        }
        const PixelRemains remains = clearPixelRemains(mDataset);
        if (remains.areCleared) {
            mResult.steps.push_back({"PixelData", "bytes that are no pixels cleared", "around the pixels"});
        }
        if (!remains.problem.empty()) {
            mResult.leaks.insert("pixels (metadata): " + remains.problem);
        }
        const OverlayBits bits = clearOverlayBits(mDataset);
        if (bits.cleared != 0) {
            mResult.steps.push_back({"PixelData", "overlay bits cleared", "basic X"});
        }
        if (!bits.problem.empty()) {
            mResult.leaks.insert("pixels (overlay): " + bits.problem);
        }
    }

    void remove(const Place& place, DcmElement& element, const std::string& rule) {
        note(place, element.getTag().getXTag(), "removed", rule);
        mWriter.forget(element);
        delete place.item.remove(&element);
    }

    void rewrite(const Place& place) {
        std::vector<DcmElement*> elements;
        for (DcmObject* object = place.item.nextInContainer(nullptr); object != nullptr;
             object = place.item.nextInContainer(object)) {
            if (auto* element = dynamic_cast<DcmElement*>(object)) {
                elements.push_back(element);
            }
        }
        const std::set<DcmTagKey> keptCreators = creatorsToKeep(place, elements);
        const std::set<Uint16> overlays = overlaysToKeep(place.item, options());
        for (DcmElement* element : elements) {
            const DcmTagKey key = element->getTag().getXTag();
            if (isPrivateCreator(key)) {
                if (!keptCreators.contains(key)) {
                    remove(place, *element, "private attribute");
                }
            } else if (isOverlay(key) && !overlays.contains(key.getGroup())) {
                remove(place, *element, "basic X");
            } else {
                rewrite(place, *element);
            }
        }
        removeWhatStandsAlone(place);
    }

    /// What is left without the attribute that it belongs to would make the file illegal, and says nothing.
    void removeWhatStandsAlone(const Place& place) {
        for (const Companion& companion : kCompanions) {
            DcmElement* element = nullptr;
            if (place.item.tagExists(companion.needed) || mTools.given.contains(companion.key) ||
                place.item.findAndGetElement(companion.key, element).bad()) {
                continue;
            }
            const ConfidentialityRow* row =
                ConfidentialityTable::instance().find(companion.key.getGroup(), companion.key.getElement());
            const bool isKept = row != nullptr && decide(*row, options(), 0).action == Action::Keep;
            if (!isKept) {
                remove(place, *element, "without the attribute that it belongs to");
            }
        }
    }

    /// Creators of private attributes that the user lets stay.
    std::set<DcmTagKey> creatorsToKeep(const Place& place, const std::vector<DcmElement*>& elements) {
        std::set<DcmTagKey> creators;
        if (mTools.settings.keptPrivates.empty()) {
            return creators;
        }
        for (DcmElement* element : elements) {
            const DcmTagKey key = element->getTag().getXTag();
            if (isKeptPrivate(place, key)) {
                creators.insert({key.getGroup(), static_cast<Uint16>(key.getElement() >> 8)});
            }
        }
        return creators;
    }

    bool isKeptPrivate(const Place& place, const DcmTagKey& key) const {
        return deidentify::isKeptPrivate(place.item, key, mTools.settings.keptPrivates);
    }

    void rewrite(const Place& place, DcmElement& element) {
        const DcmTagKey key = element.getTag().getXTag();
        const auto given = mTools.given.find(key);
        if (given != mTools.given.end()) {
            mWriter.put(element, given->second);
            note(place, key, "set", "given value");
            return;
        }
        const bool isPrivate = key.getGroup() % 2 == 1;
        if (holdsPixels(element) && !place.prefix.empty()) {
            remove(place, element, "pixels in a sequence, which no mask reaches");
            return;
        }
        if (holdsPixels(element) || (key.getElement() == 0 && !isPrivate)) {
            return; // lengths of groups are written anew
        }
        if (isPrivate && isKeptPrivate(place, key)) {
            keepPrivate(place, element);
        } else if (isPrivate) {
            remove(place, element, "private attribute");
        } else if (const auto decision = decisionOf(element)) {
            apply(place, element, *decision);
        } else {
            remove(place, element, "attribute that no dictionary knows");
        }
    }

    /// Where the file does not tell the type of a private attribute, its bytes do, as far as they can.
    void keepPrivate(const Place& place, DcmElement& element) {
        const std::string rule = "retain safe private C";
        if (!isOfUnknownType(element)) {
            apply(place, element,
                  {asSequence(element) != nullptr ? Action::Clean : cleanedByType(element.ident()), rule});
            return;
        }
        const std::string text(withoutPadding(mDecoder.utf8(element, place.characterSet)));
        const bool isUid =
            text.find_first_not_of("0123456789.") == std::string::npos && std::ranges::count(text, '.') > 2;
        if (isUid && !options().has(ProfileOption::Uids)) {
            putText(element, newUids(text));
            note(place, element.getTag(), "new UID", rule);
        } else if (!isReadable(text) || text.find('^') != std::string::npos) {
            remove(place, element, rule + ", of a type that the file does not tell");
        } else {
            note(place, element.getTag(), "cleaned", rule);
            if (const auto after = mCleaner.clean(text, EVR_UT, Cleaning::Descriptions)) {
                putText(element, *after);
            }
            if (mCleaner.nameInBytes(textOf(element), Cleaning::Descriptions)) {
                putText(element, std::string(kRemovedText));
            }
        }
    }

    /// A kept text is cleaned, since nobody knows what makers write into it.
    Action cleanedByType(DcmEVR vr) const {
        const Action action = actionByType(vr, options());
        return action == Action::Keep && isFreeText(vr) ? Action::Clean : action;
    }

    /// @return nothing for an attribute of which nobody knows what it holds
    std::optional<Decision> decisionOf(DcmElement& element) const {
        const DcmTagKey key = element.getTag().getXTag();
        if (key == DCM_EncryptedAttributesSequence) {
            return Decision{Action::Remove, "encrypted attributes of an earlier file"};
        }
        if (const ConfidentialityRow* row = ConfidentialityTable::instance().find(key.getGroup(), key.getElement())) {
            return decide(*row, options(), attributeType(key.getGroup(), key.getElement(), mSopClass));
        }
        if (!isKnownToDictionary(key) || isOfOtherPlaces(key)) {
            return std::nullopt;
        }
        const DcmEVR vr = meantType(element);
        const Action action = namesAKind(key) || key == DCM_URNCodeValue ? Action::Keep : actionByType(vr, options());
        return Decision{action, action == Action::Keep ? "" : std::string("type ") + DcmVR(vr).getVRName()};
    }

    void apply(const Place& place, DcmElement& element, const Decision& decision) {
        switch (decision.action) {
        case Action::Remove: remove(place, element, decision.rule); break;
        case Action::Empty: empty(place, element, decision.rule); break;
        case Action::Dummy: putDummyValue(place, element, decision.rule); break;
        case Action::NewUid: renew(place, element, decision.rule); break;
        case Action::Keep: keep(place, element, decision.rule); break;
        case Action::Clean: clean(place, element, decision.rule); break;
        }
    }

    void empty(const Place& place, DcmElement& element, const std::string& rule) {
        const DcmTagKey key = element.getTag().getXTag();
        if (key == DCM_PatientName || key == DCM_PatientID) {
            putPseudonym(place, element, rule);
        } else if (DcmSequenceOfItems* sequence = asSequence(element)) {
            sequence->clear();
            note(place, key, "emptied", rule);
        } else {
            (void)element.putString("");
            note(place, key, "emptied", rule);
        }
    }

    /// The dataset's own patient gets a name that tells patients apart and nothing else.
    void putPseudonym(const Place& place, DcmElement& element, const std::string& rule) {
        const std::string before(withoutPadding(mDecoder.utf8(element, place.characterSet)));
        if (before.empty()) {
            return;
        }
        const bool isName = element.getTag() == DCM_PatientName;
        const bool isOwn = place.prefix.empty();
        const std::string patient = isName ? (isOwn ? mPatient : "") : before;
        const PatientPseudonym pseudonym = pseudonymOf(mTools, patient);
        const std::string after = isName ? pseudonym.name : pseudonym.id;
        mWriter.put(element, after.empty() ? dummyText(element.ident()) : after);
        note(place, element.getTag(), "pseudonym", rule);
    }

    void putDummyValue(const Place& place, DcmElement& element, const std::string& rule) {
        const DcmTagKey key = element.getTag().getXTag();
        if (key == DCM_PatientID) {
            putPseudonym(place, element, rule);
        } else if (meantType(element) == EVR_UI) {
            renew(place, element, rule);
        } else if (key == DCM_EncapsulatedDocument) {
            replaceDocument(place, element, rule);
        } else if (key == DCM_ContentSequence) {
            putDummyContent(place.item, key);
            note(place, key, "dummy value", rule);
        } else if (DcmSequenceOfItems* sequence = asSequence(element)) {
            while (sequence->card() > 1) {
                delete sequence->remove(sequence->card() - 1);
            }
            note(place, key, "dummy value", rule);
            rewriteItems(place, *sequence, false, true);
        } else if (element.getLengthField() > 0) {
            putDummy(element);
            note(place, key, "dummy value", rule);
        }
    }

    void replaceDocument(const Place& place, DcmElement& element, const std::string& rule) {
        if (mTools.settings.acceptedPixels.contains("document")) {
            note(place, element.getTag(), "kept", "accepted by the user");
            mResult.leaks.insert("encapsulated document, which nothing here can read");
            return;
        }
        putDummyDocument(place.item);
        note(place, element.getTag(), "dummy value", rule);
        DcmElement* instance = nullptr;
        if (place.item.findAndGetElement(DCM_HL7InstanceIdentifier, instance).good()) {
            mWriter.put(*instance, dummyText(instance->ident()));
            note(place, DCM_HL7InstanceIdentifier, "dummy value", "names the removed document");
        }
        DcmElement* title = nullptr;
        if (place.item.findAndGetElement(DCM_DocumentTitle, title).good()) {
            replaceIdentifiers(place, *title, Cleaning::Descriptions);
        }
    }

    std::string newUids(const std::string& values) const {
        std::string result;
        for (std::size_t begin = 0; begin <= values.size();) {
            const std::size_t end = std::min(values.find('\\', begin), values.size());
            const std::string before(withoutPadding(std::string_view(values).substr(begin, end - begin)));
            result += (begin > 0 ? "\\" : "") + (isWellKnownUid(before) ? before : mTools.pseudonyms.uid(before));
            begin = end + 1;
        }
        return result;
    }

    void renew(const Place& place, DcmElement& element, const std::string& rule) {
        const DcmTagKey key = element.getTag().getXTag();
        if (DcmSequenceOfItems* sequence = asSequence(element)) {
            rewriteItems(place, *sequence, place.isCleaned, place.isDummy);
        } else if (meantType(element) == EVR_UI && !namesAKind(key)) {
            const std::string before = textOf(element);
            const std::string after = newUids(before);
            if (after != before) {
                putText(element, after);
                note(place, key, "new UID", rule);
            }
        }
    }

    /// How much of a text goes that stays. @param rule  of the option that keeps it; empty when none names it
    Cleaning cleaningOf(const Place& place, DcmElement& element, const std::string& rule) const {
        if (rule.starts_with("retain institution")) {
            return Cleaning::Patient;
        }
        if (holdsVocabulary(place.item, element.getTag())) {
            return Cleaning::Vocabulary;
        }
        if (place.isCleaned || isOverlay(element.getTag())) {
            return Cleaning::Descriptions;
        }
        return rule.empty() && options().has(ProfileOption::Descriptors) ? Cleaning::Texts : Cleaning::Identifiers;
    }

    void keep(const Place& place, DcmElement& element, const std::string& rule) {
        if (!rule.empty()) {
            note(place, element.getTag(), "kept", rule);
        }
        if (DcmSequenceOfItems* sequence = asSequence(element)) {
            rewriteItems(place, *sequence, place.isCleaned, place.isDummy);
        } else if (place.isDummy && isFreeText(element.ident()) && !textOf(element).empty()) {
            putDummy(element);
            note(place, element.getTag(), "dummy value", "item of a dummy");
        } else if (place.isDummy && meantType(element) == EVR_UI) {
            renew(place, element, "item of a dummy");
        } else if (!holdsCode(place.item, element.getTag()) && element.getTag() != DCM_URNCodeValue) {
            replaceIdentifiers(place, element, cleaningOf(place, element, rule));
        }
    }

    void clean(const Place& place, DcmElement& element, const std::string& rule) {
        const DcmTagKey key = element.getTag().getXTag();
        if (DcmSequenceOfItems* sequence = asSequence(element)) {
            note(place, key, "cleaned", rule);
            rewriteItems(place, *sequence, true, place.isDummy);
        } else if (isShared(key)) {
            const ConfidentialityRow* row = ConfidentialityTable::instance().find(key.getGroup(), key.getElement());
            apply(place, element, row == nullptr ? Decision{Action::Dummy, rule} : decide(*row, {}, 0));
        } else if (isOne(meantType(element), {EVR_DA, EVR_DT})) {
            shift(place, element, rule);
        } else if (meantType(element) == EVR_TM) {
            note(place, key, "kept", rule); // whole days leave the time of day
        } else if (isOverlay(key) && !isFreeText(element.ident())) {
            note(place, key, "kept", rule);
        } else if (holdsText(element) && !isOfUnknownType(element)) {
            note(place, key, "cleaned", rule);
            replaceIdentifiers(place, element, Cleaning::Descriptions);
        } else { // bytes cannot be cleaned
            const ConfidentialityRow* row = ConfidentialityTable::instance().find(key.getGroup(), key.getElement());
            apply(place, element, row == nullptr ? Decision{} : decide(*row, {}, 0));
        }
    }

    /// Dates of code tables and machines are the same in files of many patients: moved, they would tell by how much.
    static bool isShared(const DcmTagKey& key) {
        static const std::set<DcmTagKey> keys{
            DCM_ContextGroupVersion,
            DCM_ContextGroupLocalVersion,
            DCM_RETIRED_TemplateVersion,
            DCM_RETIRED_TemplateLocalVersion,
            DCM_CalibrationDate,
            DCM_CalibrationDateTime,
            DCM_DateOfLastCalibration,
            DCM_DateTimeOfLastCalibration,
            DcmTagKey(0x0018, 0x1204), // of manufacture
            DcmTagKey(0x0018, 0x1205), // of installation
            DCM_DateOfLastDetectorCalibration,
        };
        return keys.contains(key);
    }

    void shift(const Place& place, DcmElement& element, const std::string& rule) {
        const std::string before(withoutPadding(textOf(element)));
        const auto after = shiftDates(before, mDays);
        putText(element, after ? *after : dummyText(element.ident()));
        note(place, element.getTag(), after ? "date shifted" : "dummy value", rule);
    }

    void rewriteItems(const Place& outer, DcmSequenceOfItems& sequence, bool isCleaned, bool isDummy) {
        std::size_t number = 0;
        const std::string path = outer.prefix + nameOf(sequence.getTag());
        for (DcmObject* object = sequence.nextInContainer(nullptr); object != nullptr;
             object = sequence.nextInContainer(object)) {
            ++number;
            if (auto* item = dynamic_cast<DcmItem*>(object)) {
                rewrite({*item, path + '[' + std::to_string(number) + "].", characterSetOf(*item, outer.characterSet),
                         isCleaned, isDummy});
            }
        }
    }

    void replaceIdentifiers(const Place& place, DcmElement& element, Cleaning cleaning) {
        const DcmEVR vr = element.ident();
        if (isFreeText(vr)) {
            const bool isDoubtful = mDecoder.isDoubtful(textOf(element), vr, place.characterSet);
            auto after = mCleaner.clean(mDecoder.utf8(element, place.characterSet), vr, cleaning);
            if (after) {
                mWriter.put(element, *after);
            }
            if (isDoubtful && mCleaner.nameInBytes(textOf(element), cleaning)) {
                after = kRemovedText; // nobody knows what the other bytes say
                mWriter.put(element, *after);
            }
            if (after) {
                note(place, element.getTag(), "cleaned", "identifier of the run");
            }
        } else if (vr == EVR_AE || vr == EVR_CS) {
            const bool isVocabulary = vr == EVR_CS && element.getTag() != DCM_ContentLabel;
            cleanCodes(place, element, isVocabulary ? Cleaning::Vocabulary : cleaning);
        } else if ((vr == EVR_OB || isOfUnknownType(element)) &&
                   (holdsIdentifier(element) || showsIdentifier(place, element))) {
            remove(place, element, "identifier of the run in its bytes");
        }
    }

    /// Values that have room for capital letters only.
    void cleanCodes(const Place& place, DcmElement& element, Cleaning cleaning) {
        const std::string before = textOf(element);
        std::string after;
        for (std::size_t begin = 0; begin <= before.size();) {
            const std::size_t end = std::min(before.find('\\', begin), before.size());
            const std::string value = before.substr(begin, end - begin);
            after += begin > 0 ? "\\" : "";
            after += mCleaner.clean(value, element.ident(), cleaning) ? "REMOVED" : value;
            begin = end + 1;
        }
        if (after != before) {
            putText(element, after);
            note(place, element.getTag(), "cleaned", "identifier of the run");
        }
    }

    /// Bytes of an unknown type that may be a text.
    bool showsIdentifier(const Place& place, DcmElement& element) {
        constexpr Uint32 kLongestText = 1U << 16;
        if (!isOfUnknownType(element) || element.getLengthField() > kLongestText) {
            return false;
        }
        const std::string text = mDecoder.utf8(element, place.characterSet);
        return isReadable(text) && mCleaner.clean(text, EVR_UT, Cleaning::Identifiers).has_value();
    }

    bool holdsIdentifier(DcmElement& element) const {
        Uint8* bytes = nullptr;
        return element.getUint8Array(bytes).good() && bytes != nullptr &&
               mTools.finder.findInBytes({reinterpret_cast<const char*>(bytes), element.getLength()}).has_value();
    }

    std::string newTextOf(const Identifier& identifier, std::string_view found) const {
        const bool isDate = identifier.kind == IdentifierKind::OtherDate;
        if (identifier.kind == IdentifierKind::Uid) {
            return mTools.pseudonyms.uid(identifier.text);
        }
        if (identifier.kind == IdentifierKind::PatientId) {
            return pseudonymOf(mTools, identifier.text).id;
        }
        if (isDate && options().has(ProfileOption::ModifiedDates)) {
            const std::string moved = shiftDates(identifier.text, mDays).value_or("");
            if (moved.empty()) { // eight digits that are no date
                return std::string(kRemovedText);
            }
            const bool isPlain = found.size() == moved.size();
            return isPlain ? moved : moved.substr(0, 4) + '-' + moved.substr(4, 2) + '-' + moved.substr(6, 2);
        }
        return std::string(kRemovedText);
    }

    DcmDataset& mDataset;
    const ProfileTools& mTools;
    TextDecoder& mDecoder;
    TextWriter mWriter;
    std::string mPatient;
    int mDays;
    TextCleaner mCleaner;
    std::string mSopClass{};
    bool mHasCleanPixels = false; ///< a mask left no text, as its rule says
    RewrittenFile mResult{};
};

} // namespace

PatientPseudonym pseudonymOf(const ProfileTools& tools, const std::string& patient) {
    const auto assigned = tools.assigned.find(patient);
    if (assigned != tools.assigned.end()) {
        return assigned->second;
    }
    const std::string id = tools.pseudonyms.id("PatientID", patient);
    return {id, id};
}

Leaks pixelLeaks(DcmDataset& dataset, const ProfileSettings& settings, bool isMasked) {
    Leaks leaks;
    for (const PixelRisk& risk : pixelRisks(dataset)) {
        const bool isBeyondMasks = risk.pixelClass == "face" || risk.pixelClass == "unclear-face";
        const bool isAnswered = settings.acceptedPixels.contains(risk.pixelClass) || (isMasked && !isBeyondMasks);
        if (!isAnswered && risk.pixelClass != "document") { // a document is replaced, or listed where it is kept
            leaks.insert("pixels (" + risk.pixelClass + "): " + risk.reason);
        }
    }
    return leaks;
}

RewrittenFile applyProfile(DcmFileFormat& file, const ProfileTools& tools, TextDecoder& decoder) {
    return FileRewriting(file, tools, decoder).run(file);
}

} // namespace radvex::deidentify
