#pragma once

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcvr.h"

namespace radvex::media {

/// What is said of each file is said in results. The level spares the composing of messages that nobody sees.
void silenceDcmtk();

/// Attributes that a converter stored with an unknown type are read as what the dictionary says: their values are what
/// tells patients, studies and series apart. The setting belongs to the process and is put back, for the library.
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
