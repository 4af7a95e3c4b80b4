#include "volume/slices/Mosaic.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>

namespace radvex::volume {

using formats::Vector3;
using velmora::Value;

namespace {

/// Takes a CSA header apart from its start. What it does not hold is empty or 0, and counts as cut.
class CsaCursor {
  public:
    explicit CsaCursor(std::string_view bytes) : mRest(bytes) {}

    std::string_view take(std::size_t count) {
        mIsCut = mIsCut || count > mRest.size();
        const std::string_view taken = mIsCut ? std::string_view{} : mRest.substr(0, count);
        mRest.remove_prefix(mIsCut ? mRest.size() : count);
        return taken;
    }
    /// Numbers are little-endian in every file.
    std::int64_t number() {
        std::uint32_t bits = 0;
        unsigned shift = 0;
        for (const char byte : take(4)) {
            bits |= static_cast<std::uint32_t>(static_cast<unsigned char>(byte)) << shift;
            shift += 8;
        }
        return static_cast<std::int32_t>(bits);
    }
    /// Text ends with its first zero byte.
    std::string text(std::size_t count) {
        const std::string_view bytes = take(count);
        return std::string(trimmed(bytes.substr(0, bytes.find('\0'))));
    }
    /// Values start at multiples of 4. Nothing needs to follow the last one.
    void skipPadding(std::size_t length) { take(std::min((4 - length % 4) % 4, mRest.size())); }

    /// Whether so many things of a size can follow.
    bool holds(std::int64_t count, std::size_t size) const {
        return count >= 0 && static_cast<std::uint64_t>(count) <= mRest.size() / size;
    }
    bool isCut() const { return mIsCut; }

  private:
    std::string_view mRest;
    bool mIsCut = false;
};

constexpr std::size_t kNameBytes = 64;
constexpr std::size_t kFieldBytes = kNameBytes + 20; // without its items
constexpr std::size_t kItemBytes = 16;               // without its value

/// How the lengths of values are written.
struct CsaFormat {
    bool isOld = false;
    std::int64_t excess = 0; ///< in the old format, all lengths are too large by the number of the first field's items
};

/// False if the items are malformed.
bool takeItems(CsaField& field, CsaCursor& cursor, const CsaFormat& format, std::int64_t items,
               std::int64_t multiplicity) {
    for (std::int64_t index = 0; index < items; ++index) {
        if (!cursor.holds(1, kItemBytes)) {
            return false;
        }
        const std::int64_t numbers[] = {cursor.number(), cursor.number(), cursor.number(), cursor.number()};
        const std::int64_t length = format.isOld ? numbers[0] - format.excess : numbers[1];
        if (!cursor.holds(length, 1)) {
            return format.isOld && index >= multiplicity; // there, unused items have no usable length
        }
        std::string value = cursor.text(static_cast<std::size_t>(length));
        cursor.skipPadding(static_cast<std::size_t>(length));
        // Unused items follow the values. A multiplicity of 0 stands for any number of values.
        if (index < multiplicity || (multiplicity == 0 && !value.empty())) {
            field.values.push_back(std::move(value));
        }
    }
    return true;
}

/// A field that occurs once.
const CsaField* findField(const std::vector<CsaField>& fields, std::string_view name) {
    const auto hasName = [&](const CsaField& field) { return field.name == name; };
    const auto found = std::find_if(fields.begin(), fields.end(), hasName);
    return found == fields.end() || std::any_of(found + 1, fields.end(), hasName) ? nullptr : &*found;
}

bool isEmpty(const CsaField* field) {
    return field == nullptr || std::ranges::all_of(field->values, &std::string::empty);
}

std::optional<vint> integerIn(const CsaField* field) {
    return field != nullptr && field->values.size() == 1 ? integerOf(field->values.front()) : std::nullopt;
}

std::optional<Vector3> vectorIn(const CsaField* field) {
    Vector3 vector;
    if (field == nullptr || field->values.size() != vector.size()) {
        return std::nullopt;
    }
    for (std::size_t index = 0; index < vector.size(); ++index) {
        const auto part = decimalOf(field->values[index]);
        if (!part) {
            return std::nullopt;
        }
        vector[index] = *part;
    }
    return vector;
}

/// The bytes of a value, which the library gives as integers. Nothing for a value of another kind.
std::optional<std::string> bytesIn(const Value& value) {
    if (!value.is<velmora::Tensor>() || value.get<velmora::Tensor>().type() != VTensor_Integer) {
        return std::nullopt;
    }
    std::string bytes;
    for (const vint number : value.get<velmora::Tensor>().data<vint>()) {
        if (number < 0 || number > std::numeric_limits<unsigned char>::max()) {
            return std::nullopt;
        }
        bytes.push_back(static_cast<char>(number));
    }
    return bytes;
}

vint sideOf(vint count) {
    vint side = 1;
    while (std::int64_t{side} * side < count) {
        ++side;
    }
    return side;
}

/// Answers the questions about a mosaic one after the other. Each gives what is wrong, or nothing.
class MosaicJudge {
  public:
    MosaicJudge(const SliceRecord& picture, const MosaicAttributes& attributes)
        : mPicture(picture), mAttributes(attributes) {}

    TilingVerdict verdict() {
        for (const auto question : {&MosaicJudge::readHeader, &MosaicJudge::count, &MosaicJudge::divide,
                                    &MosaicJudge::order, &MosaicJudge::place, &MosaicJudge::direct}) {
            std::string problem = (this->*question)();
            if (!problem.empty()) {
                return {{}, std::move(problem)};
            }
        }
        return {mTiling, ""};
    }

  private:
    std::string readHeader() {
        const std::string name = "the CSA image header, private attribute (0029,xx10) of SIEMENS CSA HEADER, ";
        const std::vector<Value>& found = mAttributes.csaHeaders;
        if (found.empty()) {
            return name + "is missing or of unknown representation (UN); it gives their direction";
        }
        if (found.size() > 1) {
            return name + "occurs several times";
        }
        const auto bytes = bytesIn(found.front());
        auto fields = bytes ? parseCsaHeader(*bytes) : std::nullopt;
        if (!fields) {
            return name + "is malformed";
        }
        mFields = std::move(*fields);
        return "";
    }

    std::string count() {
        const CsaField* field = findField(mFields, "NumberOfImagesInMosaic");
        if (mAttributes.counts.empty() && isEmpty(field)) {
            return "NumberOfImagesInMosaic is missing: neither the private attribute (0019,xx0A) of SIEMENS MR HEADER "
                   "nor the CSA image header gives their number";
        }
        std::vector<std::optional<vint>> counts;
        for (const Value& value : mAttributes.counts) {
            counts.push_back(value.is<vint>() ? std::optional(value.get<vint>()) : std::nullopt);
        }
        if (!isEmpty(field)) {
            counts.push_back(integerIn(field));
        }
        if (std::ranges::any_of(counts, [](auto each) { return !each || *each < 1; })) {
            return "NumberOfImagesInMosaic is no number of slices";
        }
        for (const auto& each : counts) {
            if (*each != *counts.front()) {
                return "NumberOfImagesInMosaic contradicts itself: " + std::to_string(*counts.front()) + " and " +
                       std::to_string(*each);
            }
        }
        mTiling.count = *counts.front();
        return "";
    }

    std::string divide() {
        mTiling.tilesPerSide = sideOf(mTiling.count);
        if (mPicture.frames != 1) {
            return "the file has several frames of them";
        }
        if (mPicture.rows % mTiling.tilesPerSide != 0 || mPicture.columns % mTiling.tilesPerSide != 0) {
            const std::string side = std::to_string(mTiling.tilesPerSide);
            return "Rows and Columns, " + std::to_string(mPicture.rows) + " and " + std::to_string(mPicture.columns) +
                   ", cannot be divided into the " + side + " x " + side + " tiles of NumberOfImagesInMosaic";
        }
        return "";
    }

    /// The slice of the first tile has the lowest number, from 0 or 1, unless the operator reversed the numbering.
    /// Whether that also turns the tiles round is not written anywhere.
    std::string order() {
        const CsaField* field = findField(mFields, "ProtocolSliceNumber");
        const auto first = integerIn(field);
        const bool isLowest = first == 0 || (first == 1 && mTiling.count != 2);
        return isEmpty(field) || isLowest
                   ? ""
                   : "ProtocolSliceNumber of the CSA image header says that they may be numbered backwards";
    }

    std::string place() {
        const std::pair<bool, const char*> needed[] = {
            {mPicture.position.has_value(), "ImagePositionPatient"},
            {mPicture.orientation.has_value(), "ImageOrientationPatient"},
            {mPicture.pixelSpacing.has_value(), "PixelSpacing"},
            {mPicture.spacingBetweenSlices.has_value(), "SpacingBetweenSlices"}};
        for (const auto& [isThere, keyword] : needed) {
            if (!isThere) {
                return std::string(keyword) + " is missing or unusable, without which nothing gives their places";
            }
        }
        return "";
    }

    std::string direct() {
        constexpr double kTolerance = 1e-3;
        const auto vector = vectorIn(findField(mFields, "SliceNormalVector"));
        if (!vector) {
            return "SliceNormalVector of the CSA image header is missing or unusable; it gives their direction";
        }
        const Vector3 normal = mPicture.orientation->normal();
        if (length(*vector + normal) <= kTolerance) {
            return "SliceNormalVector of the CSA image header points against the normal of ImageOrientationPatient";
        }
        return length(*vector - normal) <= kTolerance
                   ? ""
                   : "SliceNormalVector of the CSA image header is not the normal of ImageOrientationPatient";
    }

    const SliceRecord& mPicture;
    const MosaicAttributes& mAttributes;
    std::vector<CsaField> mFields{};
    Tiling mTiling{};
};

} // namespace

std::optional<std::vector<CsaField>> parseCsaHeader(std::string_view bytes) {
    CsaCursor cursor(bytes);
    CsaFormat format{.isOld = !bytes.starts_with("SV10")};
    if (!format.isOld) {
        cursor.take(8); // the mark, and four bytes that are always the same
    }
    const std::int64_t count = cursor.number();
    cursor.take(4); // always 77
    if (count < 1 || !cursor.holds(count, kFieldBytes)) {
        return std::nullopt;
    }
    std::vector<CsaField> fields(static_cast<std::size_t>(count));
    for (CsaField& field : fields) {
        field.name = cursor.text(kNameBytes);
        const std::int64_t multiplicity = cursor.number();
        cursor.take(8); // value representation and its number
        const std::int64_t items = cursor.number();
        cursor.take(4); // 77 or 205
        if (format.isOld && &field == &fields.front()) {
            format.excess = items;
        }
        if (cursor.isCut() || multiplicity < 0 || !cursor.holds(items, kItemBytes) ||
            !takeItems(field, cursor, format, items, multiplicity)) {
            return std::nullopt;
        }
    }
    return fields;
}

TilingVerdict tilingOf(const SliceRecord& picture, const MosaicAttributes& attributes) {
    return MosaicJudge(picture, attributes).verdict();
}

std::vector<SliceRecord> tilesOf(const SliceRecord& picture, const Tiling& tiling) {
    SliceRecord tile = picture;
    tile.frames = tiling.count;
    tile.rows = picture.rows / tiling.tilesPerSide;
    tile.columns = picture.columns / tiling.tilesPerSide;
    const Orientation& orientation = *picture.orientation;
    const Vector3 corner =
        *picture.position +
        0.5 * (picture.columns - tile.columns) * picture.pixelSpacing->betweenColumns * orientation.alongColumns +
        0.5 * (picture.rows - tile.rows) * picture.pixelSpacing->betweenRows * orientation.alongRows;
    // SliceNormalVector may be rounded; the normal that it agrees with keeps the slices exactly above each other.
    const Vector3 step = *picture.spacingBetweenSlices * orientation.normal();
    if (!tile.traits[Trait::acquisitionTime].empty()) {
        tile.traits.forget(Trait::acquisitionNumber); // counts the same points in time, but does not say how far apart
    }
    std::vector<SliceRecord> tiles;
    for (vint index = 0; index < tiling.count; ++index) {
        tile.frame = index + 1;
        tile.position = corner + index * step;
        tiles.push_back(tile);
    }
    return tiles;
}

void unpackTiles(StoredSlices& samples, vint rows, vint columns, const Tiling& tiling) {
    const auto side = static_cast<std::size_t>(tiling.tilesPerSide);
    const std::size_t tileRows = static_cast<std::size_t>(rows) / side;
    const std::size_t pixels = static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns);
    const std::size_t pixelBytes = storedBytes(1, samples.sliceSamples, samples.wanted.type()) / pixels;
    const std::size_t lineBytes = static_cast<std::size_t>(columns) / side * pixelBytes;
    const std::size_t bandBytes = tileRows * side * lineBytes;
    std::vector<std::byte> band(bandBytes);
    for (std::size_t index = 0; index < side; ++index) { // a band of tiles stays where it is
        std::byte* to = samples.samples + index * bandBytes;
        std::memcpy(band.data(), to, bandBytes);
        for (std::size_t tile = 0; tile < side; ++tile) {
            for (std::size_t row = 0; row < tileRows; ++row) {
                std::memcpy(to, band.data() + (row * side + tile) * lineBytes, lineBytes);
                to += lineBytes;
            }
        }
    }
    samples.sliceSamples /= side * side;
    samples.count = static_cast<std::size_t>(tiling.count);
}

} // namespace radvex::volume
