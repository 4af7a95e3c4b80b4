#include <algorithm>
#include <array>
#include <fstream>
#include <map>
#include <stdexcept>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcmetinf.h"
#include "dcmtk/dcmdata/dcsequen.h"
#include "dcmtk/dcmdata/dcxfer.h"
#include "deidentify/FileCheck.h"
#include "deidentify/checking/AttributeCheck.h"
#include "deidentify/checking/FileFacts.h"
#include "deidentify/pixels/PixelRisks.h"
#include "deidentify/rewriting/IdentifierCollector.h"
#include "deidentify/rewriting/OutputPath.h"
#include "deidentify/rewriting/Pseudonyms.h"
#include "deidentify/rewriting/TextCleaner.h"
#include "media/dicomdir/DcmtkSettings.h"
#include "media/dicomdir/DicomIo.h"
#include "media/scan/FileStart.h"

namespace radvex::deidentify {

namespace {

std::string textAt(DcmItem& item, const DcmTagKey& key) {
    OFString text;
    (void)item.findAndGetOFStringArray(key, text);
    return std::string(withoutPadding({text.c_str(), text.size()}));
}

ProfileOptions claims(DcmDataset& dataset) {
    ProfileOptions options;
    DcmSequenceOfItems* codes = nullptr;
    (void)dataset.findAndGetSequence(DCM_DeidentificationMethodCodeSequence, codes);
    for (unsigned long index = 0; codes != nullptr && index < codes->card(); ++index) {
        const std::string code = textAt(*codes->getItem(index), DCM_CodeValue);
        for (const ProfileOptionNames& names : profileOptionNames()) {
            if (names.code == code) {
                options.choose(names.option);
            }
        }
    }
    return options;
}

bool isDeflated(DcmDataset& dataset) { return DcmXfer(dataset.getOriginalXfer()).getStreamCompression() != ESC_none; }

bool hasEmptyPreamble(const std::string& path) {
    std::array<char, 132> start{};
    std::ifstream(path, std::ios::binary).read(start.data(), start.size());
    const bool hasMark = std::string_view(start.data() + 128, 4) == "DICM";
    return !hasMark || std::all_of(start.begin(), start.begin() + 128, [](char byte) { return byte == 0; });
}

/// A document of one line that says that another one was removed, or an empty one.
bool isDummyDocument(DcmDataset& dataset) {
    constexpr Uint32 kLongest = 4096;
    DcmElement* document = nullptr;
    Uint8* bytes = nullptr;
    if (dataset.findAndGetElement(DCM_EncapsulatedDocument, document).bad()) {
        return true;
    }
    if (document->getLengthField() > kLongest || document->getUint8Array(bytes).bad() || bytes == nullptr) {
        return document->getLengthField() == 0;
    }
    const std::string_view text(reinterpret_cast<const char*>(bytes), document->getLengthField());
    return text.find("Removed by de-identification") != std::string_view::npos ||
           text.find_first_not_of('\0') == std::string_view::npos;
}

class FileCheckRun : public FileCheck {
  public:
    explicit FileCheckRun(CheckSettings settings) : mSettings(std::move(settings)) { media::silenceDcmtk(); }

    ProfileOptions claimsOf(const std::string& path) override {
        DcmFileFormat file;
        media::loadDicomHead(file, path);
        return optionsFor(*file.getDataset());
    }

    OriginalFile learn(const std::string& original, const std::vector<ProfileOptions>& options) override {
        const media::KnownTypes knownTypes;
        DcmFileFormat file;
        media::loadDicom(file, original);
        OriginalFile learnt;
        for (const ProfileOptions& one : options) {
            learnt.identifiers.push_back(learnIdentifiers(file, one, mDecoder).identifiers);
        }
        learnt.values = changeableValues(*file.getDataset(), mDecoder);
        learnt.facts = factsOf(*file.getDataset(), mDecoder);
        learnt.facts.isShort = hasShortPixels(*file.getDataset());
        return learnt;
    }

    void know(KnownOriginals originals) override {
        mHasOriginals = true;
        mValues = std::move(originals.values);
        for (std::size_t index = 0; index < originals.options.size(); ++index) {
            mFinders.insert_or_assign(originals.options[index].chosen, IdentifierFinder(originals.identifiers[index]));
        }
    }

    CheckedFile check(const std::string& path, const std::string& name, const ProfileOptions& optionsOfFiles) override {
        const media::KnownTypes knownTypes;
        DcmFileFormat file;
        media::loadDicom(file, path);
        DcmDataset& dataset = *file.getDataset();
        CheckedFile checked;
        checked.isDirectory = media::FileStart(path).isDirectory();
        checked.options = checked.isDirectory && !mSettings.options ? optionsOfFiles : optionsFor(dataset);
        const IdentifierFinder& finder = finderFor(checked.options);
        checkAttributes(file, {mSettings, checked.options, finder, mValues, mHasOriginals, isDeflated(dataset)},
                        mDecoder, checked);
        if (checked.isDirectory) {
            checked.records = recordsOf(path);
        } else {
            checkInstance(file, checked);
        }
        checkBytes(path, name, finder, checked);
        return checked;
    }

    CheckedFile search(const std::string& path, const std::string& name) override {
        CheckedFile checked;
        for (const auto& [options, finder] : mFinders) {
            if (checked.findings.empty()) {
                checkBytes(path, name, finder, checked);
            }
        }
        return checked;
    }

  private:
    ProfileOptions optionsFor(DcmDataset& dataset) const {
        return mSettings.options ? *mSettings.options : claims(dataset);
    }

    const IdentifierFinder& finderFor(const ProfileOptions& options) const {
        const auto found = mFinders.find(options.chosen);
        return found == mFinders.end() ? mNothing : found->second;
    }

    void checkInstance(DcmFileFormat& file, CheckedFile& checked) {
        DcmDataset& dataset = *file.getDataset();
        checked.facts = factsOf(dataset, mDecoder);
        checked.facts.isShort = hasShortPixels(dataset);
        if (textAt(dataset, DCM_PatientIdentityRemoved) != "YES") {
            checked.findings.insert("PatientIdentityRemoved is not YES");
        }
        // One of them is enough: PS3.3, C.7.1.1.
        if (textAt(dataset, DCM_DeidentificationMethod).empty() &&
            !dataset.tagExistsWithValue(DCM_DeidentificationMethodCodeSequence)) {
            checked.findings.insert("DeidentificationMethod is absent");
        }
        const std::string stored = textAt(*file.getMetaInfo(), DCM_MediaStorageSOPInstanceUID);
        const std::string instance = textAt(dataset, DCM_SOPInstanceUID);
        if (!stored.empty() && !instance.empty() && stored != instance) {
            checked.findings.insert("MediaStorageSOPInstanceUID is not SOPInstanceUID");
        }
        for (const PixelRisk& risk : pixelRisks(dataset)) {
            const bool isFine = mSettings.acceptedPixels.contains(risk.pixelClass) ||
                                (risk.pixelClass == "document" && isDummyDocument(dataset));
            if (!isFine) {
                checked.pixels.insert("pixels (" + risk.pixelClass + "): " + risk.reason);
            }
        }
    }

    static void checkBytes(const std::string& path, const std::string& name, const IdentifierFinder& finder,
                           CheckedFile& checked) {
        if (!hasEmptyPreamble(path)) {
            checked.findings.insert("preamble is not empty");
        }
        if (finder.isEmpty()) {
            return;
        }
        if (const auto found = finder.findInFile(path)) {
            checked.findings.insert(std::string(describe(found->kind)) + " in the bytes of the file");
        }
        const auto nothing = [](const std::string&) { return std::string(); };
        const auto put = [&](const Identifier& identifier, std::string_view) {
            checked.findings.insert(std::string(describe(identifier.kind)) + " in the path");
            checked.showsIdentity = true;
            return std::string();
        };
        (void)pathWithoutIdentifiers(name, finder, put, nothing);
    }

    CheckSettings mSettings;
    bool mHasOriginals = false;
    std::vector<ValueHash> mValues{};
    using Chosen = std::array<bool, kProfileOptionCount>;
    std::map<Chosen, IdentifierFinder> mFinders{};
    IdentifierFinder mNothing{KnownIdentifiers{}};
    TextDecoder mDecoder{};
};

} // namespace

std::unique_ptr<FileCheck> startCheck(CheckSettings settings) {
    return std::make_unique<FileCheckRun>(std::move(settings));
}

} // namespace radvex::deidentify
