#include "dicom/writers/DcmAnonymizer.h"

namespace radvex {

// Class and transfer syntax UIDs are in the list as well: whatever a UID of it meant, it is replaced.
const std::vector<DcmTagKey> DcmAnonymizer::mUidTagList{
    {0x0000, 0x1000}, // Affected SOP Instance UID
    {0x0000, 0x1001}, // Requested SOP Instance UID
    {0x0002, 0x0100}, // Private Information Creator UID
    {0x0004, 0x1432}, // Private Record UID
    {0x0004, 0x1510}, // Referenced SOP Class UID in File
    {0x0004, 0x1511}, // Referenced SOP Instance UID in File
    {0x0004, 0x1512}, // Referenced Transfer Syntax UID in File
    {0x0004, 0x151A}, // Referenced Related General SOP Class UID in File
    {0x0008, 0x0014}, // Instance Creator UID
    {0x0008, 0x001A}, // Related General SOP Class UID
    {0x0008, 0x001B}, // Original Specialized SOP Class UID
    {0x0008, 0x0058}, // Failed SOP Instance UID List
    {0x0008, 0x010C}, // Coding Scheme UID
    {0x0008, 0x010D}, // Context Group Extension Creator UID
    {0x0008, 0x0117}, // Context UID
    {0x0008, 0x0118}, // Mapping Resource UID
    {0x0008, 0x1155}, // Referenced SOP Instance UID
    {0x0008, 0x1167}, // Multi-Frame Source SOP Instance UID
    {0x0008, 0x1195}, // Transaction UID
    {0x0008, 0x3010}, // Irradiation Event UID
    {0x0008, 0x3012}, // Radiopharmaceutical Administration Event UID
    {0x0008, 0x9123}, // Creator-Version UID
    {0x0018, 0x1002}, // Device UID
    {0x0018, 0x2042}, // Target UID
    {0x0018, 0x991E}, // Target Frame of Reference UID
    {0x0020, 0x000D}, // Study Instance UID
    {0x0020, 0x000E}, // Series Instance UID
    {0x0020, 0x0052}, // Frame of Reference UID
    {0x0020, 0x0200}, // Synchronization Frame of Reference UID
    {0x0020, 0x0242}, // SOP Instance UID of Concatenation Source
    {0x0020, 0x9161}, // Concatenation UID
    {0x0020, 0x9164}, // Dimension Organization UID
    {0x0020, 0x9312}, // Volume Frame of Reference UID
    {0x0020, 0x9313}, // Table Frame of Reference UID
    {0x0028, 0x0304}, // Referenced Color Palette Instance UID
    {0x0028, 0x1199}, // Palette Color Lookup Table UID
    {0x0040, 0x0554}, // Specimen UID
    {0x0040, 0xA124}, // UID
    {0x0040, 0xA171}, // Observation UID
    {0x0040, 0xE011}, // Retrieve Location UID
    {0x0044, 0x0102}, // Assertion UID
    {0x0044, 0x0108}, // Referenced Assertion UID
    {0x0062, 0x0021}, // Tracking UID
    {0x0064, 0x0003}, // Source Frame of Reference UID
    {0x0070, 0x031A}, // Fiducial UID
    {0x0070, 0x1101}, // Presentation Display Collection UID
    {0x0070, 0x1102}, // Presentation Sequence Collection UID
    {0x0070, 0x1209}, // Volumetric Presentation Input Set UID
    {0x0088, 0x0140}, // Storage Media File-set UID
    {0x0400, 0x0010}, // MAC Calculation Transfer Syntax UID
    {0x0400, 0x0100}, // Digital Signature UID
    {0x0400, 0x0510}, // Encrypted Content Transfer Syntax UID
    {0x3006, 0x0024}, // Referenced Frame of Reference UID
    {0x300A, 0x0013}, // Dose Reference UID
    {0x300A, 0x0083}, // Referenced Dose Reference UID
};

} // namespace radvex
