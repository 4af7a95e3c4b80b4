// The floor: loads a file as the library does and calls the same getters on every element, with DCMTK alone.

#include <cstdio>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dctk.h"

int main(int argc, char** argv) {
    OFLog::configure(OFLogger::OFF_LOG_LEVEL);
    DcmFileFormat file;
    if (argc != 2 || file.loadFile(argv[1], EXS_Unknown, EGL_noChange, 4096, ERM_autoDetect).bad()) {
        std::fprintf(stderr, "Usage: bareMetadata FILE\n");
        return 2;
    }
    (void)file.getDataset()->chooseRepresentation(EXS_LittleEndianImplicit, nullptr);
    (void)file.convertToUTF8();
    unsigned long elements = 0;
    unsigned long bytes = 0;
    double sum = 0;
    for (DcmObject* root : {static_cast<DcmObject*>(file.getMetaInfo()), static_cast<DcmObject*>(file.getDataset())}) {
        DcmStack stack;
        while (root->nextObject(stack, OFTrue).good()) {
            auto* element = dynamic_cast<DcmElement*>(stack.top());
            if (element == nullptr || element->ident() == EVR_SQ) {
                continue;
            }
            ++elements;
            const unsigned long count = element->ident() == EVR_US || element->ident() == EVR_FD ? element->getVM() : 0;
            Uint16 number = 0;
            Float64 real = 0;
            char* text = nullptr;
            for (unsigned long position = 0; position < count; ++position) {
                if (element->ident() == EVR_US && element->getUint16(number, position).good()) {
                    sum += number;
                } else if (element->getFloat64(real, position).good()) {
                    sum += real;
                }
            }
            if (count == 0 && element->getString(text).good() && text != nullptr) {
                bytes += strlen(text);
            }
        }
    }
    std::printf("%lu elements, %lu bytes of text, sum %g\n", elements, bytes, sum);
}
