#include "dicom/pixels/SmallPicture.h"

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcpixel.h"

namespace radvex {

namespace {

using Words = std::vector<Uint16>;

bool isRenderedBy(const DcmTag& tag) {
    constexpr Uint16 kImageGroup = 0x0028;
    if (tag.getGroup() == kImageGroup) {
        return tag != DCM_Rows && tag != DCM_Columns && tag != DCM_NumberOfFrames && tag != DCM_VOILUTSequence;
    }
    return tag == DCM_SOPClassUID || tag == DCM_PresentationLUTShape || tag == DCM_SharedFunctionalGroupsSequence;
}

/// Null when something cannot be copied.
std::unique_ptr<DcmDataset> copyOfAttributes(DcmDataset& dataset, bool keepsTables) {
    auto attributes = std::make_unique<DcmDataset>();
    for (DcmObject* object = dataset.nextInContainer(nullptr); object != nullptr;
         object = dataset.nextInContainer(object)) {
        if (!isRenderedBy(object->getTag())) {
            continue;
        }
        if (keepsTables && object->loadAllDataIntoMemory().bad()) {
            return nullptr;
        }
        std::unique_ptr<DcmObject> copy(object->clone());
        auto* element = dynamic_cast<DcmElement*>(copy.get());
        // A copy of a value of odd length is longer, and would be another table.
        const bool isWhole = copy->getLength(EXS_LittleEndianExplicit) == object->getLength(EXS_LittleEndianExplicit);
        if (element == nullptr || !isWhole || attributes->insert(element, OFTrue).bad()) {
            return nullptr;
        }
        (void)copy.release(); // the dataset's
    }
    return attributes;
}

/// Two samples of 8 bits a word: the first is the low byte.
Words packed(const Words& samples) {
    Words words;
    for (std::size_t index = 0; index + 1 < samples.size(); index += 2) {
        words.push_back(static_cast<Uint16>(samples[index] | (samples[index + 1] << 8)));
    }
    return words;
}

OFCondition putWords(DcmElement& element, const Words& words) {
    return element.putUint16Array(words.data(), static_cast<unsigned long>(words.size()));
}

OFCondition putSamples(DcmElement& element, const SmallPixels& pixels) {
    if (pixels.sampleSize == 2) {
        return putWords(element, pixels.samples);
    }
    if (pixels.representation == EVR_OW) {
        return putWords(element, packed(pixels.samples));
    }
    const std::vector<Uint8> bytes(pixels.samples.begin(), pixels.samples.end());
    return element.putUint8Array(bytes.data(), static_cast<unsigned long>(bytes.size()));
}

bool putPixels(DcmDataset& dataset, const SmallPixels& pixels) {
    auto element = std::make_unique<DcmPixelData>(DcmTag(DCM_PixelData, pixels.representation));
    (void)element->setVR(pixels.representation);
    if (putSamples(*element, pixels).bad() || element->getVR() != pixels.representation ||
        dataset.insert(element.get(), OFTrue).bad()) {
        return false;
    }
    (void)element.release(); // the dataset's
    return dataset.putAndInsertUint16(DCM_Rows, static_cast<Uint16>(pixels.rows)).good() &&
           dataset.putAndInsertUint16(DCM_Columns, static_cast<Uint16>(pixels.columns)).good() &&
           dataset.putAndInsertString(DCM_NumberOfFrames, std::to_string(pixels.frames).c_str()).good();
}

} // namespace

SmallPicture openSmallPicture(DcmDataset& dataset, bool keepsTables, const SmallPixels& pixels, unsigned long flags) {
    constexpr unsigned long kNotOfSmall = CIF_UsePartialAccessToPixelData | CIF_MayDetachPixelData;
    SmallPicture small{copyOfAttributes(dataset, keepsTables)};
    if (small.dataset == nullptr || !putPixels(*small.dataset, pixels)) {
        return small;
    }
    small.image =
        std::make_unique<DicomImage>(small.dataset.get(), EXS_LittleEndianExplicit, flags & ~kNotOfSmall,
                                     static_cast<unsigned long>(pixels.frames - 1), static_cast<unsigned long>(1));
    if (small.image->getStatus() != EIS_Normal || small.image->getFrameCount() != 1) {
        small.image.reset();
    }
    return small;
}

void setSize(SmallPixels& pixels, std::uint64_t least) {
    constexpr std::uint64_t kMostColumns = 60000; // less than 65,536
    pixels.rows = (least + kMostColumns - 1) / kMostColumns;
    pixels.columns = 2 * ((least + 2 * pixels.rows - 1) / (2 * pixels.rows));
}

} // namespace radvex
