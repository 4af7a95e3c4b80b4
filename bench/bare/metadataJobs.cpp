#include <cstdio>
#include <cstring>

#include "bench/bare/bareJobs.h"

namespace bare {

namespace {

/// Calls the getters that the library calls, and keeps their results alive for the compiler.
class ElementReader {
  public:
    void read(DcmElement& element) {
        ++elements;
        const unsigned long count = element.ident() == EVR_US || element.ident() == EVR_FD ? element.getVM() : 0;
        for (unsigned long position = 0; position < count; ++position) {
            readNumber(element, position);
        }
        char* text = nullptr;
        if (count == 0 && element.getString(text).good() && text != nullptr) {
            bytes += std::strlen(text);
        }
    }

    unsigned long elements = 0;
    unsigned long bytes = 0;
    double sum = 0;

  private:
    void readNumber(DcmElement& element, unsigned long position) {
        Uint16 number = 0;
        Float64 real = 0;
        if (element.ident() == EVR_US && element.getUint16(number, position).good()) {
            sum += number;
        } else if (element.getFloat64(real, position).good()) {
            sum += real;
        }
    }
};

} // namespace

void readAttribute(const std::string& path, const std::string& keyword) {
    const auto file = open(path);
    OFString value;
    const DcmTag tag = [&keyword] {
        DcmTag found;
        check(DcmTag::findTagFromName(keyword.c_str(), found));
        return found;
    }();
    (void)file->getDataset()->findAndGetOFStringArray(tag, value);
    std::puts(value.c_str());
}

void readMetadata(const std::string& path) {
    const auto file = open(path);
    ElementReader reader;
    for (DcmObject* root :
         {static_cast<DcmObject*>(file->getMetaInfo()), static_cast<DcmObject*>(file->getDataset())}) {
        DcmStack stack;
        while (root->nextObject(stack, OFTrue).good()) {
            auto* element = dynamic_cast<DcmElement*>(stack.top());
            if (element != nullptr && element->ident() != EVR_SQ) {
                reader.read(*element);
            }
        }
    }
    std::printf("%lu elements, %lu bytes of text, sum %g\n", reader.elements, reader.bytes, reader.sum);
}

} // namespace bare
