#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "tests/dicom/DicomTest.h"

using namespace radvex::test;
using namespace velmora;

namespace {

/// Bits as JPEG-LS has them: one of seven behind a byte of ones (ISO/IEC 14495-1 A.1).
class BitWriter {
  public:
    void put(std::uint64_t bits, int count) {
        for (int bit = count - 1; bit >= 0; --bit) {
            mByte = mByte << 1 | static_cast<unsigned>(bits >> bit & 1U);
            if (++mCount == mRoom) {
                mBytes.push_back(static_cast<Uint8>(mByte));
                mRoom = mByte == 0xFF ? 7 : 8;
                mByte = 0;
                mCount = 0;
            }
        }
    }
    std::vector<Uint8> bytes() const { return mBytes; }

  private:
    std::vector<Uint8> mBytes{};
    unsigned mByte = 0;
    int mCount = 0;
    int mRoom = 8;
};

/// An image of one column whose runs are all interrupted at once, by errors as large as can be coded. Between two of
/// them lie lines of regular mode with no error, until a line begins like the one above it.
class RunInterruptions {
  public:
    std::vector<Uint8> code() {
        for (int count = 0; count < 4000 && !mHasEnded; ++mLines) {
            if (mPrevious != mBeforeThat) {
                putNoError();
            } else {
                putInterruption();
                ++count;
            }
        }
        for (int byte = 0; byte < 64; ++byte) {
            mBits.put(0x5A, 8);
        }
        return mBits.bytes();
    }
    int lines() const { return mLines; }

  private:
    struct Context {
        long a = 4;
        long n = 1;
    };

    static int quantized(int difference) {
        const int size = std::abs(difference);
        const int level = size == 0 ? 0 : size < 3 ? 1 : size < 7 ? 2 : size < 21 ? 3 : 4;
        return difference < 0 ? -level : level;
    }

    void putNoError() {
        Context& context =
            mContexts[std::abs(quantized(mPrevious - mBeforeThat) * 9 + quantized(mBeforeThat - mPrevious))];
        int k = 0;
        while (context.n << k < context.a) {
            ++k;
        }
        mBits.put(std::uint64_t{1} << k, k + 1);
        if (context.n == 64) {
            context.a >>= 1;
            context.n >>= 1;
        }
        ++context.n;
        mBeforeThat = mPrevious;
    }

    void putInterruption() {
        const std::int64_t target = mA + (mN >> 1);
        int k = 0;
        for (std::uint64_t n = static_cast<std::uint64_t>(mN); n < static_cast<std::uint64_t>(target); n <<= 1, ++k) {
            if (n >= std::uint64_t{1} << 62) {
                mHasEnded = true; // here the decoder counts for ever
                break;
            }
        }
        mBits.put(0, 1);
        if (mHasEnded) {
            return;
        }
        constexpr std::int64_t kMost = INT64_MAX;
        const std::int64_t low = (std::int64_t{1} << k) - 1;
        const std::int64_t room = ((kMost - mA) >> k) * 2 - 1;
        const std::int64_t high = std::clamp<std::int64_t>(room, 0, 21);
        const std::int64_t mapped = k < 57 ? (high << k) + low : low;
        mBits.put(1, static_cast<int>(k < 57 ? high : 0) + 1);
        mBits.put(static_cast<std::uint64_t>(low), k);
        const auto sum = static_cast<std::uint64_t>(mapped) + 1;
        const bool isOdd = (sum & 1U) != 0;
        const auto size = static_cast<std::int64_t>((sum + (isOdd ? 1 : 0)) / 2);
        const bool isNegative = (k != 0 || 2 * mNegative >= mN) == isOdd;
        mNegative += isNegative ? 1 : 0;
        mA += mapped >> 1;
        if (mN == 64) {
            mA >>= 1;
            mN >>= 1;
            mNegative >>= 1;
        }
        ++mN;
        mBeforeThat = mPrevious;
        mPrevious = static_cast<int>((mPrevious + (isNegative ? -size : size)) & 0xFF);
    }

    BitWriter mBits{};
    std::map<int, Context> mContexts{};
    std::int64_t mA = 4;
    long mN = 1;
    long mNegative = 0;
    int mPrevious = 0;
    int mBeforeThat = 0;
    int mLines = 0;
    bool mHasEnded = false;
};

class JpegLsErrors : public LibraryTest {
  protected:
    /// A frame of one component with these coded samples.
    std::string write(Uint16 rows, Uint16 columns, Uint8 bits, const std::vector<Uint8>& coded) {
        std::vector<Uint8> frame{0xFF, 0xD8, 0xFF, 0xF7, 0, 11, bits};
        for (const Uint16 side : {rows, columns}) {
            frame.push_back(static_cast<Uint8>(side >> 8));
            frame.push_back(static_cast<Uint8>(side & 0xFF));
        }
        const Uint8 rest[] = {1, 1, 0x11, 0, 0xFF, 0xDA, 0, 8, 1, 1, 0, 0, 0, 0};
        frame.insert(frame.end(), std::begin(rest), std::end(rest));
        frame.insert(frame.end(), coded.begin(), coded.end());
        frame.resize((frame.size() + 1) / 2 * 2);
        const auto fill = [&](DcmDataset& dataset) {
            dataset.putAndInsertUint16(DCM_Rows, rows);
            dataset.putAndInsertUint16(DCM_Columns, columns);
            dataset.putAndInsertUint16(DCM_SamplesPerPixel, 1);
            const Uint16 allocated = bits > 8 ? 16 : 8;
            dataset.putAndInsertUint16(DCM_BitsAllocated, allocated);
            dataset.putAndInsertUint16(DCM_BitsStored, bits);
            dataset.putAndInsertUint16(DCM_HighBit, static_cast<Uint16>(bits - 1));
            put(dataset, {{DCM_PixelRepresentation, "0"}, {DCM_PhotometricInterpretation, "MONOCHROME2"}});
            putFragments(dataset, EXS_JPEGLSLossless, {std::string(frame.begin(), frame.end())});
        };
        return writeDicom(folder.file("a.dcm"), fill, EXS_JPEGLSLossless);
    }
};

} // namespace

// The decoder crashed at some of these: an error too large for 16 bits leads to a code that it has no table for.
TEST_F(JpegLsErrors, OfAnySizeAreNoneOrAnError) {
    const std::vector<Uint8> large{0x00, 0x20, 0, 0, 0, 0, 0, 0, 0x0F, 0xFF, 0x7C, 0x7D, 0xE8};
    std::mt19937 random(1);
    for (int number = 0; number < 200; ++number) {
        std::vector<Uint8> coded = large;
        while (coded.size() < 230) { // most of them zeros; nothing that looks like a marker
            coded.push_back(random() % 8 == 0 ? static_cast<Uint8>(random() % 0xFF) : Uint8{0});
        }
        (void)codeOf("ReadIntermediatePixelData", {write(60, 1, 16, coded), 1, 0});
        call("ClearCache");
    }
}

// The decoder counted for ever.
TEST_F(JpegLsErrors, OfRunsThatGrowAreRefused) {
    RunInterruptions runs;
    const std::vector<Uint8> coded = runs.code();
    EXPECT_NE(codeOf("ReadIntermediatePixelData", {write(static_cast<Uint16>(runs.lines() + 20), 1, 8, coded), 1, 0}),
              0);
}
