#include "bridge/ErrorManager.h"
#include "bridge/GuardedCall.h"
#include "dicom/exports/Radvex.h"

int sendRegisteredErrors(VelmoraLibraryData /*libData*/, TTLink link) {
    return GTU::guardedAgainstAll([&] { GTU::ErrorManager::sendRegisteredErrorsViaTether(link); });
}

int setExceptionDetailsContext(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCallAgainstAll(libData, argc, args, res, [](GTU::VArgumentManager& mngr) {
        GTU::GantryError::setExceptionDetailsSymbolContext(mngr.getString(0));
        mngr.setString(GTU::GantryError::getExceptionDetailsSymbol());
    });
}
