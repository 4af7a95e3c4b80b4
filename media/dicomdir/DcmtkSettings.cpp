#include "media/dicomdir/DcmtkSettings.h"

#include "dcmtk/oflog/logger.h"
#include "dcmtk/oflog/nullap.h"

namespace radvex::media {

void silenceDcmtk() {
    const dcmtk::log4cplus::SharedAppenderPtr silence(new dcmtk::log4cplus::NullAppender());
    dcmtk::log4cplus::Logger root = dcmtk::log4cplus::Logger::getRoot();
    root.removeAllAppenders();
    root.addAppender(silence);
    root.setLogLevel(dcmtk::log4cplus::OFF_LOG_LEVEL);
}

} // namespace radvex::media
