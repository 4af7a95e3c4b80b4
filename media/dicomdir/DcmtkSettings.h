#pragma once

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcvr.h"
#include "dcmtk/oflog/logger.h"
#include "dcmtk/oflog/nullap.h"

namespace radvex::media {

/// Turns DCMTK's log off: results report errors file by file. The level keeps DCMTK from composing messages.
inline void silenceDcmtk() {
    const dcmtk::log4cplus::SharedAppenderPtr silence(new dcmtk::log4cplus::NullAppender());
    dcmtk::log4cplus::Logger root = dcmtk::log4cplus::Logger::getRoot();
    root.removeAllAppenders();
    root.addAppender(silence);
    root.setLogLevel(dcmtk::log4cplus::OFF_LOG_LEVEL);
}

/// While it exists, attributes with value representation UN are read as the dictionary says, because their values
/// identify patients, studies and series. The setting is global to the process; the destructor restores it for the
/// library.
class KnownTypes {
  public:
    KnownTypes() : mBefore(dcmEnableUnknownVRConversion.get()) { dcmEnableUnknownVRConversion.set(OFTrue); }
    ~KnownTypes() { dcmEnableUnknownVRConversion.set(mBefore); }
    KnownTypes(const KnownTypes&) = delete;
    KnownTypes& operator=(const KnownTypes&) = delete;

  private:
    OFBool mBefore;
};

} // namespace radvex::media
