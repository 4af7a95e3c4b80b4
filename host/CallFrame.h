#pragma once

#include <vector>

#include "host/Declarations.h"
#include "host/Value.h"

namespace velmora {

/// The cells of one call: its arguments and its result.
class CallFrame {
  public:
    CallFrame(const Declaration& declaration, const std::vector<Value>& arguments);
    /// Frees the strings that the library did not take over.
    ~CallFrame();
    CallFrame(const CallFrame&) = delete;
    CallFrame& operator=(const CallFrame&) = delete;

    vint argc() const { return static_cast<vint>(mArguments.size()); }
    VArgument* args() { return mArguments.data(); }
    VArgument res() { return VArgument{.cell = &mResult}; }

    /// The result as a value; an object in it becomes the host's.
    Value takeResult(vint type);

  private:
    using Cell = VelmoraDataStoreNode::Cell;

    /// Fills the cell of an argument. `declared` is the kind that the library expects.
    void fill(Cell& cell, vint declared, const Value& value);

    std::vector<Cell> mCells;
    std::vector<VArgument> mArguments;
    std::vector<char*> mTexts{};
    Cell mResult{};
};

} // namespace velmora
