#include "media/dicomdir/RecordBytes.h"

#include <array>
#include <stdexcept>

#include "dcmtk/dcmdata/dcdatset.h"
#include "dcmtk/dcmdata/dcistrmb.h"
#include "dcmtk/dcmdata/dcostrmb.h"
#include "dcmtk/dcmdata/dcwcache.h"

namespace radvex::media {

namespace {

/// Moves all elements that the target does not have.
void moveElements(DcmItem& from, DcmItem& to) {
    while (from.card() > 0) {
        std::unique_ptr<DcmElement> element(from.remove(0UL));
        if (to.tagExists(element->getTag())) {
            continue;
        }
        if (to.insert(element.get()).bad()) {
            throw std::runtime_error("a record has an element that cannot be kept");
        }
        (void)element.release();
    }
}

} // namespace

std::string toBytes(DcmDirectoryRecord& record) {
    DcmDataset elements;
    moveElements(record, elements);
    std::array<char, 4096> buffer{};
    DcmOutputBufferStream stream(buffer.data(), buffer.size());
    DcmWriteCache cache;
    std::string bytes;
    OFCondition written = EC_StreamNotifyClient;
    elements.transferInit();
    while (written == EC_StreamNotifyClient) { // the buffer is full
        written = elements.write(stream, EXS_LittleEndianExplicit, EET_ExplicitLength, &cache);
        stream.flush();
        void* part = nullptr;
        offile_off_t length = 0;
        stream.flushBuffer(part, length);
        bytes.append(static_cast<const char*>(part), static_cast<std::size_t>(length));
    }
    elements.transferEnd();
    if (written.bad()) {
        throw std::runtime_error(std::string("a record cannot be made of them: ") + written.text());
    }
    return bytes;
}

std::unique_ptr<DcmDirectoryRecord> recordOfBytes(E_DirRecType type, const std::string& bytes) {
    DcmInputBufferStream stream;
    stream.setBuffer(bytes.data(), static_cast<offile_off_t>(bytes.size()));
    stream.setEos();
    DcmDataset elements;
    elements.transferInit();
    const OFCondition read = elements.read(stream, EXS_LittleEndianExplicit, EGL_noChange);
    elements.transferEnd();
    if (read.bad()) {
        throw std::runtime_error(std::string("a record cannot be inserted: ") + read.text());
    }
    auto record = std::make_unique<DcmDirectoryRecord>(type, nullptr, OFFilename());
    moveElements(elements, *record);
    return record;
}

} // namespace radvex::media
