#include "dicom/metadata/ElementConversion.h"

#include <limits>

#include "bridge/containers/NumericArray.h"
#include "bridge/containers/Tensor.h"
#include "dicom/metadata/TagNaming.h"

namespace radvex {

namespace {

using GTU::VArgumentType;
using GTU::Passing::Manual;

/// One value becomes a node of its own, several become a node with a list. A value that DCMTK cannot give is left out.
template <VArgumentType Kind, typename DcmValue>
void saveNumbers(ResultList& list, const std::string& name, DcmElement& element,
                 OFCondition (DcmElement::*getter)(DcmValue&, const unsigned long)) {
    using HostValue = typename GTU::Argument<Kind>::CType;
    const unsigned long count = element.getVM();
    DcmValue value{};
    if (count <= 1) {
        if ((element.*getter)(value, 0).good()) {
            GTU::Argument<Kind>::addDataStoreNode(list.getInternal(), name, static_cast<HostValue>(value));
        }
        return;
    }
    GTU::DataList<VArgumentType::VArgument, Manual> values;
    for (unsigned long index = 0; index < count; ++index) {
        if ((element.*getter)(value, index).good()) {
            values.push_back<Kind>(static_cast<HostValue>(value));
        }
    }
    values.setOwnedByLibrary(false);
    GTU::Argument<VArgumentType::DataStore>::addDataStoreNode(list.getInternal(), name, values.getInternal());
}

/// Bytes or words as one array of the host.
template <typename T>
void saveArray(ResultList& list, const std::string& name, DcmElement& element, OFCondition (DcmElement::*getter)(T*&),
               bool useTensors) {
    const std::size_t count = element.getLength() / sizeof(T);
    T* values = nullptr;
    if ((element.*getter)(values).bad() || values == nullptr) {
        return;
    }
    if (count > static_cast<std::size_t>(std::numeric_limits<vint>::max())) {
        GTU::ErrorManager::throwException(GTU::ErrorName::DimensionsError);
    }
    if (useTensors) {
        GTU::Tensor<int, Manual> tensor(values, values + count);
        tensor.setOwnedByLibrary(false);
        GTU::Argument<VArgumentType::Tensor>::addDataStoreNode(list.getInternal(), name, tensor.getInternal());
    } else {
        GTU::NumericArray<T, Manual> array(values, values + count);
        array.setOwnedByLibrary(false);
        GTU::Argument<VArgumentType::NumericArray>::addDataStoreNode(list.getInternal(), name, array.getInternal());
    }
}

void saveText(ResultList& list, const std::string& name, DcmElement& element) {
    char* text = nullptr;
    if (element.getString(text).good() && text != nullptr) {
        GTU::Argument<VArgumentType::UTF8String>::addDataStoreNode(list.getInternal(), name, text);
    }
}

} // namespace

void saveDcmElementToDataList(ResultList& list, DcmElement* element, bool useTensors, bool named, bool numericName) {
    saveDcmElementUnderKey(list, element, useTensors, named, getTagNameAsString(element->getTag(), numericName));
}

void saveDcmElementUnderKey(ResultList& list, DcmElement* element, bool useTensors, bool named,
                            const std::string& key) {
    static const std::string kNoName;
    const std::string& name = named ? key : kNoName;
    // DCMTK has value representations of its own, such as "ox" and "xs". Each stands for one of the standard's.
    switch (DcmVR(DcmVR(element->getTag().getEVR()).getValidEVR()).getEVR()) {
    case EVR_US: return saveNumbers<VArgumentType::Integer>(list, name, *element, &DcmElement::getUint16);
    case EVR_UL: return saveNumbers<VArgumentType::Integer>(list, name, *element, &DcmElement::getUint32);
    case EVR_SS: return saveNumbers<VArgumentType::Integer>(list, name, *element, &DcmElement::getSint16);
    case EVR_SL: return saveNumbers<VArgumentType::Integer>(list, name, *element, &DcmElement::getSint32);
    case EVR_FL: return saveNumbers<VArgumentType::Real>(list, name, *element, &DcmElement::getFloat32);
    case EVR_FD: return saveNumbers<VArgumentType::Real>(list, name, *element, &DcmElement::getFloat64);
    // Arrays of bytes and words have a name even without `named`: hosts look for it.
    case EVR_OB: return saveArray(list, key, *element, &DcmElement::getUint8Array, useTensors);
    case EVR_OW: return saveArray(list, key, *element, &DcmElement::getUint16Array, useTensors);
    default: return saveText(list, name, *element);
    }
}

} // namespace radvex
