#include "bridge/GuardedCall.h"
#include "dicom/exports/Radvex.h"
#include "dicom/metadata/TagNaming.h"
#include "dicom/readers/DcmReader.h"

using radvex::DcmReader;

namespace {

using GTU::VArgumentType;
using TextList = GTU::DataList<VArgumentType::UTF8String, GTU::Passing::Manual>;

void addText(TextList& list, const std::string& name, const std::string& text) {
    GTU::Argument<VArgumentType::UTF8String>::addDataStoreNode(list.getInternal(), name, text.c_str());
    list.appendLastNodeToProxy();
}

void impl_GetDictionaryInfo(GTU::VArgumentManager& mngr) {
    const DcmDataDictionary& dictionary = radvex::GeneralInfoMap;
    GTU::DataList<VArgumentType::VArgument, GTU::Passing::Manual> info;
    const auto addCount = [&](const char* name, int count) {
        GTU::Argument<VArgumentType::Integer>::addDataStoreNode(info.getInternal(), name, count);
    };
    GTU::Argument<VArgumentType::Boolean>::addDataStoreNode(info.getInternal(), "LoadedQ",
                                                            dictionary.isDictionaryLoaded() ? 1 : 0);
    addCount("EntryCount", dictionary.numberOfEntries());
    addCount("NormalEntryCount", dictionary.numberOfNormalTagEntries());
    addCount("RepeatingEntryCount", dictionary.numberOfRepeatingTagEntries());
    addCount("SkeletonEntryCount", dictionary.numberOfSkeletonEntries());
    mngr.setResult(info);
}

} // namespace

int ReadVRName(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCall(libData, argc, args, res, [](GTU::VArgumentManager& mngr) {
        const auto names = mngr.getNames(0);
        TextList result;
        for (const auto& [name, vr] : DcmReader::readVRName(names)) {
            addText(result, name, vr);
        }
        mngr.setResult(result);
    });
}

int ReadVRNameIntTags(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCall(libData, argc, args, res, [](GTU::VArgumentManager& mngr) {
        const auto tags = mngr.getNumbers(0);
        TextList result;
        for (const std::string& vr : DcmReader::readVRNameIntTags(tags)) {
            addText(result, "", vr);
        }
        mngr.setResult(result);
    });
}

int GetGroupElemNumbers(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCall(libData, argc, args, res, [](GTU::VArgumentManager& mngr) {
        mngr.setResult(DcmReader::getGroupElemNumber(mngr.getString(0)));
    });
}

int GetKeyword(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCall(libData, argc, args, res, [](GTU::VArgumentManager& mngr) {
        const std::string group = mngr.getString(0);
        mngr.setString(DcmReader::getKeyword(group, mngr.getString(1)));
    });
}

int GetDictionaryInfo(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCallAgainstAll(libData, argc, args, res, impl_GetDictionaryInfo);
}
