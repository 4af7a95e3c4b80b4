#include "bridge/Argument.h"

namespace GTU {

namespace {

template <VArgumentType T>
void add(::VArgument& arg, ::DataStore store, const std::string& name) {
    Argument<T>::addDataStoreNode(store, name, Argument<T>(arg).get());
}

} // namespace

void Argument<VArgumentType::VArgument>::addToDataStore(::DataStore store, const std::string& name,
                                                        VArgumentType type) const {
    switch (type) {
    case VArgumentType::Boolean: return add<VArgumentType::Boolean>(arg, store, name);
    case VArgumentType::Integer: return add<VArgumentType::Integer>(arg, store, name);
    case VArgumentType::Real: return add<VArgumentType::Real>(arg, store, name);
    case VArgumentType::Complex: return add<VArgumentType::Complex>(arg, store, name);
    case VArgumentType::Tensor: return add<VArgumentType::Tensor>(arg, store, name);
    case VArgumentType::SparseArray: return add<VArgumentType::SparseArray>(arg, store, name);
    case VArgumentType::NumericArray: return add<VArgumentType::NumericArray>(arg, store, name);
    case VArgumentType::Image: return add<VArgumentType::Image>(arg, store, name);
    case VArgumentType::UTF8String: return add<VArgumentType::UTF8String>(arg, store, name);
    case VArgumentType::DataStore: return add<VArgumentType::DataStore>(arg, store, name);
    case VArgumentType::VArgument: break;
    }
    ErrorManager::throwException(ErrorName::ArgumentAddNodeVArgument);
}

} // namespace GTU
