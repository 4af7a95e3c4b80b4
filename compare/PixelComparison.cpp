#include "compare/PixelComparison.h"

#include <algorithm>
#include <cmath>

#include "volume/slices/FileMetadata.h"

namespace radvex::compare {

using volume::FileMetadata;
using volume::ModalityRule;
using volume::PixelKind;
using volume::PixelValues;

namespace {

std::string sizeText(const PixelValues& values) {
    return std::to_string(values.rows()) + " x " + std::to_string(values.columns());
}

/// Whether the stored values of both files mean the same.
bool haveSameForm(const ModalityRule& one, const ModalityRule& other) {
    return one.bitsStored == other.bitsStored && one.isSigned == other.isSigned && one.hasSameRescale(other) &&
           !one.needsLibrary;
}

/// Slopes may differ from frame to frame.
PixelKind kindOf(const FileMetadata& first, const FileMetadata& second) {
    if (first.isColour()) {
        return PixelKind::colour;
    }
    constexpr vint kMost = 1 << 20; // a file may promise more than memory holds
    const bool areOfFrames = first.isRescaledByFrame() || second.isRescaledByFrame();
    const vint frames = areOfFrames ? std::min({first.promisedFrames(), second.promisedFrames(), kMost}) : 1;
    const auto ones = first.rules(frames);
    const auto others = second.rules(frames);
    return std::equal(ones.begin(), ones.end(), others.begin(), haveSameForm) ? PixelKind::stored : PixelKind::modality;
}

std::string noteOn(const FileMetadata& first, const FileMetadata& second) {
    const ModalityRule one = first.rules(1).front();
    const ModalityRule other = second.rules(1).front();
    if (one.bitsStored != other.bitsStored) {
        return std::to_string(one.bitsStored) + " and " + std::to_string(other.bitsStored) + " bits";
    }
    const auto sign = [](const ModalityRule& rule) { return rule.isSigned ? "signed" : "unsigned"; };
    if (one.isSigned != other.isSigned) {
        return std::string(sign(one)).append(" and ").append(sign(other));
    }
    return one.hasSameRescale(other) ? "" : "another rescale";
}

/// Why the values of two files cannot be compared one by one; empty if they can.
std::string mismatchOf(const PixelValues& first, const PixelValues& second) {
    if (first.rows() != second.rows() || first.columns() != second.columns()) {
        return sizeText(first) + " and " + sizeText(second) + " pixels (rows x columns)";
    }
    if (first.frames() != second.frames()) {
        return std::to_string(first.frames()) + " and " + std::to_string(second.frames()) + " frames";
    }
    return first.channels() == second.channels() ? "" : "one is grey and the other one is in colour";
}

/// Looks for differences line by line.
class LineComparison {
  public:
    LineComparison(double tolerance, PixelComparison& result) : mTolerance(tolerance), mResult(result) {}

    void compare(const PixelValues& first, const PixelValues& second) {
        for (std::size_t frame = 0; frame < first.frames(); ++frame) {
            for (std::size_t row = 0; row < first.rows(); ++row) {
                first.readRow(frame, row, mFirst);
                second.readRow(frame, row, mSecond);
                for (std::size_t index = 0; mFirst != mSecond && index < mFirst.size(); ++index) {
                    take(frame, row, index / first.channels(), mFirst[index], mSecond[index]);
                }
                mResult.count += mFirst.size();
            }
        }
        mResult.areEqual = mResult.different == 0;
    }

  private:
    void take(std::size_t frame, std::size_t row, std::size_t column, double one, double other) {
        const double difference = std::abs(one - other);
        mResult.different += difference > mTolerance ? 1U : 0U;
        if (difference > mResult.largest) {
            mResult.largest = difference;
            mResult.frame = frame + 1;
            mResult.row = row + 1;
            mResult.column = column + 1;
            mResult.first = one;
            mResult.second = other;
        }
    }

    double mTolerance;
    PixelComparison& mResult;
    std::vector<double> mFirst{};
    std::vector<double> mSecond{};
};

/// Closes the readers of both files, whatever becomes of them.
class ClosingReaders {
  public:
    ClosingReaders(velmora::Host& host, const std::string& first, const std::string& second)
        : mHost(host), mPaths{first, second} {}
    ~ClosingReaders() {
        for (const std::string& path : mPaths) {
            try {
                mHost.call("CloseReader", {path});
            } catch (const std::exception&) { // the file was never opened
            }
        }
    }
    ClosingReaders(const ClosingReaders&) = delete;
    ClosingReaders& operator=(const ClosingReaders&) = delete;

  private:
    velmora::Host& mHost;
    std::string mPaths[2];
};

/// The library gives 0 for pixels that a file lacks.
void requireWhole(const FileMetadata& metadata, const std::string& path, const PixelValues& values) {
    if (metadata.promisesMorePixels(path, values.frames())) {
        throw formats::VolumeError(path + " holds fewer pixels than its attributes promise, so that they cannot be "
                                          "compared; --no-pixels compares the attributes.");
    }
}

} // namespace

PixelComparison comparePixels(velmora::Host& host, const std::string& first, const std::string& second,
                              double tolerance) {
    const ClosingReaders closing(host, first, second);
    const FileMetadata one(host, first, first);
    const FileMetadata other(host, second, second);
    PixelComparison result;
    if (one.isColour() != other.isColour()) {
        result.areEqual = false;
        result.reason = "one is grey and the other one is in colour";
        return result;
    }
    result.kind = kindOf(one, other);
    result.note = result.kind == PixelKind::modality ? noteOn(one, other) : "";
    const PixelValues firstValues(host, first, one, result.kind);
    requireWhole(one, first, firstValues);
    const PixelValues secondValues(host, second, other, result.kind);
    requireWhole(other, second, secondValues);
    result.reason = mismatchOf(firstValues, secondValues);
    result.areEqual = result.reason.empty();
    result.areCompared = result.areEqual;
    if (result.areCompared) {
        LineComparison(tolerance, result).compare(firstValues, secondValues);
    }
    return result;
}

} // namespace radvex::compare
