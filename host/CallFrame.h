#pragma once

#include <vector>

#include "host/Declarations.h"
#include "host/Value.h"

namespace velmora {

/// The cells of one call: arguments on the way in, the result on the way out.
class CallFrame {
  public:
    CallFrame(const Declaration& declaration, const std::vector<Value>& arguments);
    /// Takes back the strings that the library did not take over.
    ~CallFrame();
    CallFrame(const CallFrame&) = delete;
    CallFrame& operator=(const CallFrame&) = delete;

    vint argc() const { return static_cast<vint>(mArguments.size()); }
    VArgument* args() { return mArguments.data(); }
    VArgument res() { return VArgument{.cell = &mResult}; }

    /// The result as a value of the host's; objects in it become the host's.
    Value takeResult(vint type);

  private:
    using Cell = VelmoraDataStoreNode::Cell;

    void fill(Cell& cell, vint declared, const Value& value);

    std::vector<Cell> mCells;
    std::vector<VArgument> mArguments;
    std::vector<char*> mTexts{};
    Cell mResult{};
};

} // namespace velmora
