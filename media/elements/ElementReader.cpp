#include "media/elements/ElementReader.h"

#include <stdexcept>
#include <string_view>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcmetinf.h"
#include "dcmtk/dcmdata/dcpixel.h"
#include "dcmtk/dcmdata/dcsequen.h"
#include "media/dicomdir/DcmtkSettings.h"
#include "media/dicomdir/DicomIo.h"
#include "media/elements/ElementValue.h"
#include "text/DatasetTexts.h"

namespace radvex::media {

namespace {

bool isEmptyValue(DcmElement& element) {
    if (auto* pixels = dynamic_cast<DcmPixelData*>(&element)) {
        return pixelSequenceOf(*pixels) == nullptr && pixels->getLengthField() == 0;
    }
    return element.getLengthField() == 0;
}

/// Walks a file that is loaded. The guard bounds the depth of its sequences.
class Reader {
  public:
    explicit Reader(const ElementRequest& request) : mRequest(request) {}

    void append(DcmItem& item, std::vector<Element>& elements) {
        const std::string outerSet = mCharacterSet;
        mCharacterSet = text::characterSetOf(item, outerSet);
        for (DcmObject* object = item.nextInContainer(nullptr); object != nullptr;
             object = item.nextInContainer(object)) {
            auto* element = dynamic_cast<DcmElement*>(object);
            // Lengths of groups are of no use, but for that of the meta information, which has to be there.
            if (element != nullptr && (element->getETag() != 0 || element->getGTag() == 2)) {
                elements.push_back(describe(*element));
            }
        }
        mCharacterSet = outerSet;
    }

  private:
    Element describe(DcmElement& dcmtk) {
        const DcmTag& tag = dcmtk.getTag();
        Element element{.group = tag.getGroup(), .number = tag.getElement()};
        element.vr = DcmVR(DcmVR(tag.getEVR()).getValidEVR()).getVRName();
        element.keyword = plainKeyword(const_cast<DcmTag&>(tag).getTagName());
        const char* const creator = tag.getPrivateCreator();
        element.creator = creator != nullptr && tag.getElement() > 0xFF ? creator : "";
        element.length = dcmtk.getLengthField();
        if (auto* sequence = dynamic_cast<DcmSequenceOfItems*>(&dcmtk)) {
            element.vr = "SQ"; // also one of unknown representation
            appendItems(*sequence, element);
        } else {
            element.isEmpty = isEmptyValue(dcmtk);
        }
        if (mRequest.values != ElementValues::None && (!mRequest.wants || mRequest.wants(element))) {
            readValue(dcmtk, element);
        }
        return element;
    }

    void appendItems(DcmSequenceOfItems& sequence, Element& element) {
        for (DcmObject* object = sequence.nextInContainer(nullptr); object != nullptr;
             object = sequence.nextInContainer(object)) {
            if (auto* item = dynamic_cast<DcmItem*>(object)) {
                element.items.emplace_back();
                append(*item, element.items.back());
            }
        }
        element.isEmpty = element.items.empty();
    }

    void readValue(DcmElement& dcmtk, Element& element) {
        if (mRequest.values == ElementValues::Dump) {
            element.text = dumpLine(dcmtk, mRequest.whole);
        } else if (element.isBinary()) {
            element.bytes = mRequest.binary ? bytesOf(dcmtk) : "";
        } else if (!element.isSequence()) {
            element.text = textOf(dcmtk, mCharacterSet, mTexts);
            element.bytes = mRequest.binary ? unknownTextOf(dcmtk, mCharacterSet, mTexts) : "";
        }
    }

    const ElementRequest& mRequest;
    std::string mCharacterSet{};
    text::TextDecoder mTexts{};
};

} // namespace

std::string plainKeyword(const std::string& dcmtkName) {
    static const std::string kRetired = "RETIRED_";
    if (dcmtkName == "Unknown Tag & Data") {
        return "";
    }
    return dcmtkName.find(kRetired) == std::string::npos ? dcmtkName : dcmtkName.substr(kRetired.size());
}

std::vector<Element> readElements(const std::string& path, const ElementRequest& request) {
    silenceDcmtk();
    DcmFileFormat file;
    std::shared_ptr<SourceFile> source;
    try {
        if (request.values == ElementValues::Dump) { // it shows only values that are in memory
            loadDicom(file, path);
        } else {
            source = loadDicomHead(file, path);
        }
        std::vector<Element> elements;
        Reader reader(request);
        reader.append(*file.getMetaInfo(), elements);
        reader.append(*file.getDataset(), elements);
        if (source != nullptr) {
            requireRead(*source);
        }
        return elements;
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(std::string(error.what()) + '.');
    }
}

} // namespace radvex::media
