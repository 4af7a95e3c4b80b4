#include "deidentify/rewriting/DummyValues.h"

#include <array>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcsequen.h"
#include "deidentify/rewriting/DatasetWalk.h"
#include "deidentify/rewriting/Pseudonyms.h"

namespace radvex::deidentify {

namespace {

constexpr const char* kRemoved = "Removed by de-identification";

void require(const OFCondition& condition) {
    if (condition.bad()) {
        throw std::runtime_error(std::string("it cannot be de-identified: ") + condition.text());
    }
}

/// A page of A4 with one line. The table at its end holds the offset of each object.
std::string pdfOfOneLine() {
    const std::string stream = std::string("BT /F1 12 Tf 72 770 Td (") + kRemoved + ") Tj ET";
    const std::string page = "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 595 842] /Contents 4 0 R "
                             "/Resources << /Font << /F1 5 0 R >> >> >>";
    const std::vector<std::string> objects{
        "<< /Type /Catalog /Pages 2 0 R >>", "<< /Type /Pages /Kids [3 0 R] /Count 1 >>", page,
        "<< /Length " + std::to_string(stream.size()) + " >>\nstream\n" + stream + "\nendstream",
        "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>"};
    std::string pdf = "%PDF-1.4\n";
    std::string table = "0000000000 65535 f \n";
    for (std::size_t index = 0; index < objects.size(); ++index) {
        const std::string offset = std::to_string(pdf.size());
        table += std::string(10 - offset.size(), '0') + offset + " 00000 n \n";
        pdf += std::to_string(index + 1) + " 0 obj\n" + objects[index] + "\nendobj\n";
    }
    const std::string start = std::to_string(pdf.size());
    const std::string count = std::to_string(objects.size() + 1);
    return pdf + "xref\n0 " + count + '\n' + table + "trailer\n<< /Size " + count + " /Root 1 0 R >>\nstartxref\n" +
           start + "\n%%EOF\n";
}

std::string dummyDocument(const std::string& mimeType) {
    if (mimeType == "application/pdf") {
        return pdfOfOneLine();
    }
    if (mimeType == "model/stl") {
        return std::string(84, '\0'); // a header and the number of triangles: none
    }
    if (mimeType == "text/XML" || mimeType == "text/xml") {
        return std::string("<?xml version=\"1.0\"?><ClinicalDocument xmlns=\"urn:hl7-org:v3\"><title>") + kRemoved +
               "</title></ClinicalDocument>\n";
    }
    return std::string(kRemoved) + '\n';
}

} // namespace

std::string dummyText(DcmEVR vr) {
    switch (vr) {
    case EVR_AS: return "000Y";
    case EVR_DA: return "19000101";
    case EVR_DS:
    case EVR_IS: return "0";
    case EVR_DT: return "19000101000000";
    case EVR_TM: return "000000";
    case EVR_UR: return "http://anonymized.invalid";
    case EVR_AE:
    case EVR_CS:
    case EVR_LO:
    case EVR_LT:
    case EVR_PN:
    case EVR_SH:
    case EVR_ST:
    case EVR_UC:
    case EVR_UT: return "ANONYMIZED"; // a code string has capital letters only
    default: return "";
    }
}

void putDummy(DcmElement& element) {
    const DcmEVR vr = element.ident();
    if (vr == EVR_UI || asSequence(element) != nullptr) {
        return;
    }
    const bool isBytes = vr == EVR_OB || vr == EVR_ox || isOfUnknownType(element);
    constexpr std::array<Uint8, 2> kZeros{};
    constexpr Uint16 kZero = 0;
    if (holdsText(element) && !isBytes) {
        putText(element, dummyText(vr));
    } else if (vr == EVR_OW) {
        require(element.putUint16Array(&kZero, 1));
    } else if (isBytes ? element.putUint8Array(kZeros.data(), kZeros.size()).bad() : element.putString("0").bad()) {
        require(element.putString("")); // a type that takes neither
    }
}

void putDummyContent(DcmItem& item, const DcmTagKey& sequence) {
    DcmSequenceOfItems* found = nullptr;
    require(item.findAndGetSequence(sequence, found));
    while (found->card() > 0) {
        delete found->remove(0UL);
    }
    auto content = std::make_unique<DcmItem>();
    require(content->putAndInsertString(DCM_RelationshipType, "CONTAINS"));
    require(content->putAndInsertString(DCM_ValueType, "TEXT"));
    DcmItem* name = nullptr;
    require(content->findOrCreateSequenceItem(DCM_ConceptNameCodeSequence, name, -2));
    require(name->putAndInsertString(DCM_CodeValue, "121106"));
    require(name->putAndInsertString(DCM_CodingSchemeDesignator, "DCM"));
    require(name->putAndInsertString(DCM_CodeMeaning, "Comment"));
    require(content->putAndInsertString(DCM_TextValue, kRemoved));
    require(found->insert(content.get()));
    (void)content.release();
}

void putDummyDocument(DcmItem& item) {
    OFString type;
    (void)item.findAndGetOFString(DCM_MIMETypeOfEncapsulatedDocument, type);
    const std::string document = dummyDocument(std::string(withoutPadding({type.c_str(), type.size()})));
    const std::string even = document + std::string(document.size() % 2, '\0');
    DcmElement* element = nullptr;
    require(item.findAndGetElement(DCM_EncapsulatedDocument, element));
    require(element->putUint8Array(reinterpret_cast<const Uint8*>(even.data()), even.size()));
    // In place: whoever walks over the item holds its elements.
    if (item.findAndGetElement(DCM_EncapsulatedDocumentLength, element).good() && element->ident() == EVR_UL) {
        const auto length = static_cast<Uint32>(document.size());
        require(element->putUint32Array(&length, 1));
    }
}

} // namespace radvex::deidentify
