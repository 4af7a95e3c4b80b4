#include "deidentify/rewriting/UidKinds.h"

#include <set>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcuid.h"
#include "deidentify/rewriting/DatasetWalk.h"

namespace radvex::deidentify {

DcmEVR meantType(DcmElement& element) {
    const DcmEVR type = element.ident();
    if (isOfUnknownType(element) || !holdsText(element) || element.getTag().isPrivate()) {
        return type;
    }
    const DcmEVR known = DcmTag(element.getTag().getXTag()).getEVR();
    return DcmVR(known).isaString() ? known : type;
}

bool namesAKind(const DcmTagKey& key) {
    static const std::set<DcmTagKey> kinds{
        DCM_AffectedSOPClassUID,
        DCM_RequestedSOPClassUID,
        DCM_MediaStorageSOPClassUID,
        DCM_TransferSyntaxUID,
        DCM_ImplementationClassUID,
        DCM_PrivateInformationCreatorUID,
        DCM_PrivateRecordUID,
        DCM_ReferencedSOPClassUIDInFile,
        DCM_ReferencedTransferSyntaxUIDInFile,
        DCM_ReferencedRelatedGeneralSOPClassUIDInFile,
        DCM_SOPClassUID,
        DCM_RelatedGeneralSOPClassUID,
        DCM_OriginalSpecializedSOPClassUID,
        DCM_SOPClassesInStudy,
        DCM_CodingSchemeUID,
        DCM_ContextUID,
        DCM_MappingResourceUID,
        DCM_ReferencedSOPClassUID,
        DCM_SOPClassesSupported,
        DCM_EncryptedContentTransferSyntaxUID,
        DCM_MACCalculationTransferSyntaxUID,
        DCM_AvailableTransferSyntaxUID,
    };
    return kinds.contains(key);
}

bool isWellKnownUid(const std::string& uid) { return dcmFindNameOfUID(uid.c_str(), nullptr) != nullptr; }

} // namespace radvex::deidentify
