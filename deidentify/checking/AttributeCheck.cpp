#include "deidentify/checking/AttributeCheck.h"

#include <algorithm>
#include <set>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcmetinf.h"
#include "dcmtk/dcmdata/dcsequen.h"
#include "deidentify/checking/DummyRecognition.h"
#include "deidentify/checking/FileFacts.h"
#include "deidentify/identifiers/SuspiciousText.h"
#include "deidentify/profile/AttributeTypes.h"
#include "deidentify/profile/ConfidentialityTable.h"
#include "deidentify/rewriting/AttributeKinds.h"
#include "deidentify/rewriting/DatasetWalk.h"
#include "deidentify/rewriting/IdentifierCollector.h"
#include "deidentify/rewriting/Pseudonyms.h"
#include "deidentify/rewriting/TextCleaner.h"
#include "deidentify/rewriting/UidKinds.h"

namespace radvex::deidentify {

namespace {

/// An item and what is asked of it.
struct Place {
    DcmItem& item;
    std::string characterSet{};  ///< in effect in the item
    bool isCleaned = false;      ///< an option keeps the item only after cleaning its texts
    bool isDummy = false;        ///< the item stands for another one: its texts must say nothing
    bool isDummyContent = false; ///< the same in the content of a document, where codes say what a text is
};

bool hasValue(DcmElement& element) {
    if (DcmSequenceOfItems* sequence = asSequence(element)) {
        return sequence->card() > 0;
    }
    return element.getLengthField() > 0 &&
           (!holdsText(element) || element.getLengthField() > 1024 || !withoutPadding(textOf(element)).empty());
}

std::string sopClassOf(DcmDataset& dataset) {
    OFString sopClass;
    (void)dataset.findAndGetOFString(DCM_SOPClassUID, sopClass);
    return std::string(withoutPadding({sopClass.c_str(), sopClass.size()}));
}

/// What the profile says of itself; an item of DeidentificationMethodCodeSequence has a code of CID 7050.
bool isCodeOfMethod(DcmItem& item) {
    OFString code;
    (void)item.findAndGetOFString(DCM_CodeValue, code);
    return code == "113100" || code == "113101" || std::ranges::any_of(profileOptionNames(), [&](const auto& names) {
               return names.code == std::string_view(code.c_str(), code.size());
           });
}

class AttributeCheck {
  public:
    AttributeCheck(DcmDataset& dataset, const CheckTools& tools, TextDecoder& decoder, CheckedFile& checked)
        : mTools(tools),
          mDecoder(decoder),
          mSopClass(sopClassOf(dataset)),
          mMark(markOf(dataset)),
          mChecked(checked),
          mCleaner(tools.finder, [](const Identifier&, std::string_view) { return std::string(); }) {}

    void checkItem(const Place& place) {
        const std::set<Uint16> overlays = overlaysToKeep(place.item, options());
        for (DcmObject* object = place.item.nextInContainer(nullptr); object != nullptr;
             object = place.item.nextInContainer(object)) {
            auto* element = dynamic_cast<DcmElement*>(object);
            const DcmTagKey key = object->getTag().getXTag();
            if (element == nullptr || holdsPixels(*element) || (key.getElement() == 0 && key.getGroup() % 2 == 0)) {
                continue; // pixels have checks of their own
            }
            if (isGiven(place, *element)) {
                continue;
            }
            if (isOverlay(key) && !overlays.contains(key.getGroup())) {
                mChecked.findings.insert("overlay that is no region (basic X)");
            } else if (isPrivateCreator(key)) {
                checkCreator(*element);
            } else if (key.getGroup() % 2 == 1) {
                checkPrivate(place, *element);
            } else {
                checkStandard(place, *element);
            }
        }
    }

    void checkMeta(DcmMetaInfo& meta) {
        constexpr Uint16 kFirstOfSender = 0x0016;
        for (DcmObject* object = meta.nextInContainer(nullptr); object != nullptr;
             object = meta.nextInContainer(object)) {
            auto* element = dynamic_cast<DcmElement*>(object);
            const DcmTagKey key = object->getTag().getXTag();
            if (element == nullptr || !hasValue(*element)) {
                continue;
            }
            // From there on: titles and addresses of applications, and private information (PS3.10, 7.1).
            if (key.getElement() >= kFirstOfSender) {
                mChecked.findings.insert(nameOf(key) + " is in the meta information");
            }
            checkUid(*element);
            search({meta}, *element, Cleaning::Identifiers);
        }
    }

  private:
    const ProfileOptions& options() const { return mTools.options; }

    bool isGiven(const Place& place, DcmElement& element) {
        const DcmTagKey key = element.getTag().getXTag();
        return std::ranges::any_of(mTools.settings.given, [&](const GivenValue& given) {
            return DcmTagKey(given.group, given.element) == key &&
                   withoutPadding(mDecoder.utf8(element, place.characterSet)) == withoutPadding(given.value);
        });
    }

    void find(DcmElement& element, const std::string& what, const std::string& rule) {
        mChecked.findings.insert(nameOf(element.getTag()) + ' ' + what + (rule.empty() ? "" : " (" + rule + ')'));
    }

    void checkCreator(DcmElement& element) {
        const std::string creator(withoutPadding(textOf(element)));
        const auto& kept = mTools.settings.keptPrivates;
        if (!creator.empty() && std::ranges::find(kept, creator, &KeptPrivate::creator) == kept.end()) {
            mChecked.findings.insert("private attributes of no listed creator (basic X)");
        }
    }

    void checkPrivate(const Place& place, DcmElement& element) {
        if (isKeptPrivate(place.item, element.getTag().getXTag(), mTools.settings.keptPrivates)) {
            judge(place, element, {actionByType(element.ident(), options()), "retain safe private C"});
        } else if (hasValue(element)) {
            mChecked.findings.insert("private attributes of no listed creator (basic X)");
        }
    }

    void checkStandard(const Place& place, DcmElement& element) {
        const DcmTagKey key = element.getTag().getXTag();
        const ConfidentialityRow* row = ConfidentialityTable::instance().find(key.getGroup(), key.getElement());
        if (row != nullptr) {
            judge(place, element, mostOf(*row, key));
        } else if (!isKnownToDictionary(key)) {
            mChecked.findings.insert("attributes that no dictionary knows");
        } else if (key == DCM_DeidentificationMethodCodeSequence) {
            checkItems(place, element, [](DcmItem& item) { return !isCodeOfMethod(item); });
        } else if (namesAKind(key)) {
            judge(place, element, {Action::Keep, ""});
        } else {
            const Action action = actionByType(element.ident(), options());
            const bool isKept = action == Action::Keep;
            judge(place, element, {action, isKept ? "" : std::string("type ") + DcmVR(element.ident()).getVRName()});
        }
    }

    /// What may be left at most, whatever the type of the attribute; but where the SOP class wants a value of an
    /// attribute that has to go, this may be a dummy.
    Decision mostOf(const ConfidentialityRow& row, const DcmTagKey& key) const {
        Decision decision = decide(row, options(), 0);
        return decision.action == Action::Remove
                   ? decide(row, options(), attributeType(key.getGroup(), key.getElement(), mSopClass))
                   : decision;
    }

    void judge(const Place& place, DcmElement& element, const Decision& decision) {
        if (!hasValue(element)) {
            return;
        }
        switch (decision.action) {
        case Action::Remove: find(element, "is there", decision.rule); break;
        case Action::Empty:
        case Action::Dummy: checkDummy(place, element, decision.rule); break;
        case Action::NewUid: checkNewUid(place, element); break;
        case Action::Keep: checkKept(place, element, decision.rule); break;
        case Action::Clean: checkCleaned(place, element, decision); break;
        }
    }

    template <typename Chosen>
    void checkItems(const Place& outer, DcmElement& element, Chosen isChosen, bool isCleaned = false,
                    bool isDummy = false) {
        DcmSequenceOfItems* sequence = asSequence(element);
        const bool isContent = element.getTag() == DCM_ContentSequence;
        for (DcmObject* object = sequence == nullptr ? nullptr : sequence->nextInContainer(nullptr); object != nullptr;
             object = sequence->nextInContainer(object)) {
            auto* item = dynamic_cast<DcmItem*>(object);
            if (item != nullptr && isChosen(*item)) {
                checkItem({*item, characterSetOf(*item, outer.characterSet), outer.isCleaned || isCleaned,
                           outer.isDummy || isDummy, outer.isDummyContent || (isDummy && isContent)});
            }
        }
    }
    void checkAllItems(const Place& outer, DcmElement& element, bool isCleaned, bool isDummy) {
        checkItems(
            outer, element, [](DcmItem&) { return true; }, isCleaned, isDummy);
    }

    void checkDummy(const Place& place, DcmElement& element, const std::string& rule) {
        const DcmTagKey key = element.getTag().getXTag();
        if (asSequence(element) != nullptr) {
            checkAllItems(place, element, false, true);
        } else if (element.ident() == EVR_UI) {
            checkUid(element);
        } else if (key != DCM_EncapsulatedDocument) { // which is among the pixels
            checkDummyValues(place, element, rule);
        }
    }

    void checkDummyValues(const Place& place, DcmElement& element, const std::string& rule) {
        const DcmTagKey key = element.getTag().getXTag();
        for (const std::string& value : valuesAsText(element, place.characterSet, mDecoder)) {
            if (saysNothing(value, element.ident())) {
                continue;
            }
            if (mTools.hasOriginals && std::ranges::binary_search(mTools.values, hashOf(key, value))) {
                find(element, "has a value of an original", rule);
            } else if (!mTools.hasOriginals && mayTell(key, element.ident(), value)) {
                findSuspicious(element, rule);
            }
        }
        search(place, element, Cleaning::Descriptions);
    }

    /// A record of a study must have a date and a time (PS3.3, F.5.2). Where the files have none, programs write the
    /// day on which the directory was made.
    void findSuspicious(DcmElement& element, const std::string& rule) {
        const DcmTagKey key = element.getTag().getXTag();
        if (mChecked.isDirectory && (key == DCM_StudyDate || key == DCM_StudyTime)) {
            mChecked.hints.insert(nameOf(key) + " of a directory may be that of a study");
        } else {
            find(element, "has a value", rule);
        }
    }

    void checkNewUid(const Place& place, DcmElement& element) {
        if (asSequence(element) != nullptr) {
            checkAllItems(place, element, false, false);
        } else {
            checkUid(element);
        }
    }

    void checkUid(DcmElement& element) {
        if (element.ident() == EVR_UI && !namesAKind(element.getTag().getXTag()) && isKnownUid(textOf(element))) {
            find(element, "is a UID of an original", "");
        }
    }

    bool isKnownUid(const std::string& text) const {
        const std::vector<Find> finds = mTools.finder.findAll(text);
        return std::ranges::any_of(finds, [](const Find& one) { return one.identifier->kind == IdentifierKind::Uid; });
    }

    void checkKept(const Place& place, DcmElement& element, const std::string& rule) {
        const DcmTagKey key = element.getTag().getXTag();
        if (asSequence(element) != nullptr) {
            checkAllItems(place, element, false, false);
        } else if (place.isDummy && isFreeText(element.ident()) &&
                   !(place.isDummyContent && holdsVocabulary(place.item, key))) {
            checkDummyValues(place, element, rule.empty() ? "item of a dummy" : rule);
        } else {
            search(place, element,
                   !rule.empty()                      ? Cleaning::Patient
                   : holdsVocabulary(place.item, key) ? Cleaning::Vocabulary
                   : place.isCleaned                  ? Cleaning::Descriptions
                                                      : Cleaning::Identifiers);
        }
    }

    void checkCleaned(const Place& place, DcmElement& element, const Decision& decision) {
        const DcmTagKey key = element.getTag().getXTag();
        if (asSequence(element) != nullptr) {
            checkAllItems(place, element, true, false);
        } else if (isDateOrTime(element.ident())) {
            checkMoved(place, element, decision.rule);
        } else if (isOverlay(key)) {
            return;
        } else if (holdsText(element) && !isOfUnknownType(element)) {
            search(place, element, Cleaning::Descriptions);
            hint(place, element);
        } else { // bytes cannot be cleaned
            const ConfidentialityRow* row = ConfidentialityTable::instance().find(key.getGroup(), key.getElement());
            judge(place, element, row == nullptr ? Decision{Action::Remove, decision.rule} : decide(*row, {}, 0));
        }
    }

    void checkMoved(const Place& place, DcmElement& element, const std::string& rule) {
        const DcmTagKey key = element.getTag().getXTag();
        if (!mTools.hasOriginals || element.ident() == EVR_TM) { // whole days leave the time of day
            return;
        }
        for (const std::string& value : valuesAsText(element, place.characterSet, mDecoder)) {
            if (!saysNothing(value, element.ident()) &&
                std::ranges::binary_search(mTools.values, hashOfDate(key, value, mMark))) {
                find(element, "is that of an original", rule);
            }
        }
    }

    /// Without originals nobody knows whose numbers and names a text has.
    void hint(const Place& place, DcmElement& element) {
        if (!mTools.hasOriginals && isFreeText(element.ident()) &&
            !suspiciousParts(mDecoder.utf8(element, place.characterSet)).empty()) {
            mChecked.hints.insert(nameOf(element.getTag()) + " has a text that may identify somebody");
        }
    }

    void search(const Place& place, DcmElement& element, Cleaning cleaning) {
        const DcmEVR vr = element.ident();
        if (mTools.isDeflated && (vr == EVR_OB || isOfUnknownType(element))) {
            searchBytes(element);
        }
        if (mTools.finder.isEmpty() || (!isFreeText(vr) && vr != EVR_AE && vr != EVR_CS)) {
            return; // of other types the bytes of the file are searched
        }
        std::string text = mDecoder.utf8(element, place.characterSet);
        if (element.getTag() == DCM_DeidentificationMethod) {
            const std::string own = options().describe("\\");
            const std::size_t begin = text.find(own);
            text = begin == std::string::npos ? text : text.erase(begin, own.size());
        }
        if (isFreeText(vr)) {
            searchText(element, text, cleaning);
            const bool isDoubtful = mDecoder.isDoubtful(textOf(element), vr, place.characterSet);
            if (const auto name = isDoubtful ? mCleaner.nameInBytes(textOf(element), cleaning) : std::nullopt) {
                mChecked.findings.insert(std::string(describe(name->kind)) + " in " + nameOf(element.getTag()));
            }
            return;
        }
        for (const std::string& value : valuesOf(text, vr)) { // each is a word of its own
            searchText(element, value, vr == EVR_CS ? Cleaning::Vocabulary : cleaning);
        }
    }

    /// The bytes of a deflated file show nothing.
    void searchBytes(DcmElement& element) {
        Uint8* bytes = nullptr;
        if (element.getUint8Array(bytes).bad() || bytes == nullptr) {
            return;
        }
        const std::string_view held(reinterpret_cast<const char*>(bytes), element.getLengthField());
        if (const auto found = mTools.finder.findInBytes(held)) {
            mChecked.findings.insert(std::string(describe(found->kind)) + " in the bytes of " +
                                     nameOf(element.getTag()));
        }
    }

    void searchText(DcmElement& element, const std::string& text, Cleaning cleaning) {
        for (const Find& one : mCleaner.identifiersIn(text, cleaning)) {
            // A moved date may be by chance the date of another original.
            const bool isByChance =
                one.identifier->kind == IdentifierKind::OtherDate && options().has(ProfileOption::ModifiedDates);
            if (!isByChance) {
                mChecked.findings.insert(std::string(describe(one.identifier->kind)) + " in " +
                                         nameOf(element.getTag()));
            }
        }
    }

    const CheckTools& mTools;
    TextDecoder& mDecoder;
    std::string mSopClass;
    ValueHash mMark;
    CheckedFile& mChecked;
    TextCleaner mCleaner;
};

} // namespace

void checkAttributes(DcmFileFormat& file, const CheckTools& tools, TextDecoder& decoder, CheckedFile& checked) {
    AttributeCheck check(*file.getDataset(), tools, decoder, checked);
    check.checkMeta(*file.getMetaInfo());
    check.checkItem({*file.getDataset(), characterSetOf(*file.getDataset(), "")});
}

} // namespace radvex::deidentify
