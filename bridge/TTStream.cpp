#include "bridge/TTStream.h"

#include <limits>

#include "bridge/ErrorManager.h"
#include "bridge/Put.h"

namespace GTU {

template <TT::Encoding In, TT::Encoding Out>
TTStream<In, Out>::TTStream(TTLink link) : m(link) {
    if (link == nullptr) {
        ErrorManager::throwException(ErrorName::TTNullTetherError);
    }
    loopbackStack.push(link);
}

template <TT::Encoding In, TT::Encoding Out>
TTStream<In, Out>& TTStream<In, Out>::operator<<(const TT::Function& function) {
    TT::checkError(m, TTPutFunction(m, function.getHead().c_str(), function.getArgc()), ErrorName::TTPutFunctionError,
                   "Cannot put function: \"" + function.getHead() + "\" with " + std::to_string(function.getArgc()) +
                       " arguments");
    return *this;
}

template <TT::Encoding In, TT::Encoding Out>
TTStream<In, Out>& TTStream<In, Out>::operator<<(const TT::Symbol& symbol) {
    TT::checkError(m, TTPutSymbol(m, symbol.getHead().c_str()), ErrorName::TTPutSymbolError,
                   "Cannot put symbol: \"" + symbol.getHead() + "\"");
    return *this;
}

template <TT::Encoding In, TT::Encoding Out>
TTStream<In, Out>& TTStream<In, Out>::operator<<(const std::string& text) {
    using Unit = typename TT::String<Out>::Unit;
    const bool fits = text.size() <= static_cast<std::size_t>(std::numeric_limits<int>::max());
    const int status =
        fits ? TT::String<Out>::Put(m, reinterpret_cast<const Unit*>(text.data()), static_cast<int>(text.size())) : 0;
    TT::checkError(m, status, ErrorName::TTPutStringError, TT::String<Out>::PutFName);
    return *this;
}

template <TT::Encoding In, TT::Encoding Out>
TTStream<In, Out>& TTStream<In, Out>::operator<<(const char* text) {
    return *this << std::string(text);
}

template <TT::Encoding In, TT::Encoding Out>
TTStream<In, Out>& TTStream<In, Out>::operator<<(long long number) {
    using Put = TT::PutScalar<long long>;
    TT::checkError(m, Put::ScalarF(m, number), ErrorName::TTPutScalarError, Put::ScalarFName);
    return *this;
}

template <TT::Encoding In, TT::Encoding Out>
int TTStream<In, Out>::testHead(const std::string& name) {
    int count = 0;
    TT::checkError(m, TTTestHead(m, name.c_str(), &count), ErrorName::TTTestHeadError, "Expected \"" + name + "\"");
    currentHead = name;
    return count;
}

template <TT::Encoding In, TT::Encoding Out>
int TTStream<In, Out>::testHead(const std::string& name, int expected) {
    const int count = testHead(name);
    if (count != expected) {
        ErrorManager::throwExceptionWithDebugInfo(ErrorName::TTTestHeadError, "Expected " + std::to_string(expected) +
                                                                                  " arguments but got " +
                                                                                  std::to_string(count));
    }
    return count;
}

template class TTStream<TT::Encoding::UTF8, TT::Encoding::UTF8>;

} // namespace GTU
