#pragma once

#include <stack>
#include <string>

#include "bridge/Strings.h"
#include "bridge/Utilities.h"
#include "velmora/Tether.h"

namespace GTU {

namespace TT {

/// A function expression on the stream; `argc` arguments have to follow it.
class Function {
  public:
    Function(std::string functionHead, int argumentCount) : head(std::move(functionHead)), argc(argumentCount) {}

    const std::string& getHead() const { return head; }
    void setHead(std::string newHead) { head = std::move(newHead); }
    int getArgc() const { return argc; }
    void setArgc(int argumentCount) { argc = argumentCount; }

  private:
    std::string head;
    int argc;
};

/// A list on the stream; that many expressions have to follow it.
class List : public Function {
  public:
    explicit List(int argumentCount) : Function("List", argumentCount) {}
};

/// A symbol on the stream.
class Symbol {
  public:
    explicit Symbol(std::string name) : head(std::move(name)) {}

    const std::string& getHead() const { return head; }
    void setHead(std::string newHead) { head = std::move(newHead); }

  private:
    std::string head;
};

} // namespace TT

/// Puts expressions on a link and reads them, one part after the other. Text is written in encoding `Out` and read in
/// encoding `In`. Every failure of the link is thrown. The link is borrowed and never closed.
template <TT::Encoding In, TT::Encoding Out>
class TTStream {
  public:
    /// @throws GantryError  TTNullTetherError for a null link
    explicit TTStream(TTLink link);

    /// @throws GantryError  TTPutFunctionError
    TTStream& operator<<(const TT::Function& function);
    /// @throws GantryError  TTPutSymbolError
    TTStream& operator<<(const TT::Symbol& symbol);
    /// @throws GantryError  TTPutStringError
    TTStream& operator<<(const std::string& text);
    TTStream& operator<<(const char* text);
    /// @throws GantryError  TTPutScalarError
    TTStream& operator<<(int number) { return *this << static_cast<long long>(number); }
    TTStream& operator<<(long long number);

    /// Reads a function head and returns the number of its arguments.
    /// @throws GantryError  TTTestHeadError for another head, or another number of arguments than `expected`
    int testHead(const std::string& name);
    int testHead(const std::string& name, int expected);

  private:
    TTLink m;
    std::string currentHead{};
    std::stack<TTLink> loopbackStack{}; ///< the given link at its bottom
};

extern template class TTStream<TT::Encoding::UTF8, TT::Encoding::UTF8>;

} // namespace GTU
