#include "tests/support/HostileFiles.h"

#include <stdexcept>

#include <zlib.h>

namespace radvex::test {

namespace {

constexpr std::uint32_t kItem = 0xFFFEE000;
constexpr std::uint32_t kItemEnd = 0xFFFEE00D;
constexpr std::uint32_t kSequenceEnd = 0xFFFEE0DD;

bool hasLongHeader(const std::string& vr) {
    static const std::string shortOnes = "AEASATCSDADSDTFLFDISLOLTPNSHSLSSSTTMUIULUS";
    for (std::size_t place = 0; place < shortOnes.size(); place += 2) {
        if (shortOnes.compare(place, 2, vr) == 0) {
            return false;
        }
    }
    return vr[0] >= 'A' && vr[0] <= 'Z' && vr[1] >= 'A' && vr[1] <= 'Z';
}

std::string definedNesting(const Nesting& nesting, std::size_t levels, std::string content) {
    for (std::size_t level = levels; level > 0; --level) {
        const Form& form = level == 1 ? nesting.outer : nesting.inner;
        const auto size = static_cast<std::uint32_t>(content.size() + nesting.before.size());
        content = nesting.inner.item(kItem, nesting.isDefinedItem ? size : kUndefined) + nesting.before + content +
                  (nesting.isDefinedItem ? "" : nesting.inner.item(kItemEnd, 0));
        const auto length = nesting.isDefinedSequence ? static_cast<std::uint32_t>(content.size()) : kUndefined;
        content = form.header(nesting.tag, nesting.vr, length) + content +
                  (nesting.isDefinedSequence ? "" : nesting.inner.item(kSequenceEnd, 0));
    }
    return nesting.before + content;
}

} // namespace

std::string Form::number16(std::uint32_t number) const {
    const auto low = static_cast<char>(number & 0xFF);
    const auto high = static_cast<char>(number >> 8 & 0xFF);
    return isBigEndian ? std::string{high, low} : std::string{low, high};
}

std::string Form::number32(std::uint32_t number) const {
    return isBigEndian ? number16(number >> 16) + number16(number) : number16(number) + number16(number >> 16);
}

std::string Form::tag(std::uint32_t number) const { return number16(number >> 16) + number16(number); }

std::string Form::header(std::uint32_t tagNumber, const std::string& vr, std::uint32_t length) const {
    if (!isExplicit) {
        return tag(tagNumber) + number32(length);
    }
    return tag(tagNumber) + vr + (hasLongHeader(vr) ? std::string(2, '\0') + number32(length) : number16(length));
}

std::string Form::element(std::uint32_t tagNumber, const std::string& vr, const std::string& value) const {
    return header(tagNumber, vr, static_cast<std::uint32_t>(value.size())) + value;
}

std::string Form::item(std::uint32_t tagNumber, std::uint32_t length) const {
    return tag(tagNumber) + number32(length);
}

std::string nested(const Nesting& nesting, std::size_t levels, const std::string& innermost) {
    if (nesting.isDefinedSequence || nesting.isDefinedItem) {
        return definedNesting(nesting, levels, innermost);
    }
    std::string bytes = nesting.before;
    for (std::size_t level = 0; level < levels; ++level) {
        const Form& form = level == 0 ? nesting.outer : nesting.inner;
        bytes += form.header(nesting.tag, nesting.vr, kUndefined) + nesting.inner.item(kItem, kUndefined);
        bytes += nesting.before;
    }
    bytes += innermost;
    for (std::size_t level = 0; level < (nesting.isUnclosed ? 0 : levels); ++level) {
        bytes += nesting.inner.item(kItemEnd, 0) + nesting.inner.item(kSequenceEnd, 0);
    }
    return bytes;
}

std::string withMeta(const std::string& syntax, const std::string& dataset, const std::string& moreMeta) {
    const std::string uid = syntax.size() % 2 == 0 ? syntax : syntax + '\0';
    const std::string meta = kExplicitForm.element(0x00020010, "UI", uid) + moreMeta;
    const std::string length =
        kExplicitForm.element(0x00020000, "UL", kExplicitForm.number32(static_cast<std::uint32_t>(meta.size())));
    return std::string(128, '\0') + "DICM" + length + meta + dataset;
}

std::string deflated(const std::string& bytes) {
    z_stream stream{};
    if (deflateInit2(&stream, 6, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
        throw std::runtime_error("zlib cannot be used");
    }
    std::string input = bytes;
    std::string output(deflateBound(&stream, static_cast<uLong>(bytes.size())), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(input.data());
    stream.avail_in = static_cast<uInt>(input.size());
    stream.next_out = reinterpret_cast<Bytef*>(output.data());
    stream.avail_out = static_cast<uInt>(output.size());
    const bool isComplete = deflate(&stream, Z_FINISH) == Z_STREAM_END;
    output.resize(output.size() - stream.avail_out);
    (void)deflateEnd(&stream);
    if (!isComplete) {
        throw std::runtime_error("zlib did not finish");
    }
    return output;
}

std::string directory(const Form& form, const std::vector<DirectoryRecord>& records, std::uint32_t first,
                      std::size_t offset, bool isDefined, std::size_t offsetBytes) {
    const auto number = [&](std::uint32_t tag, std::uint32_t value) {
        return form.element(tag, "UL", form.number32(value).substr(0, offsetBytes));
    };
    const std::size_t headerSize = number(0x00041200, 0).size() + form.header(0x00041220, "SQ", 0).size();
    const std::string type = form.element(0x00041430, "CS", "PATIENT ");
    const std::size_t content = 2 * number(0x00041400, 0).size() + type.size();
    const std::size_t size = 8 + content + (isDefined ? 0 : 8);
    const auto place = [&](std::uint32_t record) {
        return record == 0 ? 0 : static_cast<std::uint32_t>(offset + headerSize + (record - 1) * size);
    };
    std::string bytes = number(0x00041200, place(first));
    bytes += form.header(0x00041220, "SQ", isDefined ? static_cast<std::uint32_t>(records.size() * size) : kUndefined);
    for (const DirectoryRecord& record : records) {
        bytes += form.item(0xFFFEE000, isDefined ? static_cast<std::uint32_t>(content) : kUndefined);
        bytes += number(0x00041400, place(record.next)) + number(0x00041420, place(record.lower)) + type;
        bytes += isDefined ? "" : form.item(0xFFFEE00D, 0);
    }
    return bytes + (isDefined ? "" : form.item(0xFFFEE0DD, 0));
}

} // namespace radvex::test
