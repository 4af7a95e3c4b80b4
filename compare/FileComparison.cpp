#include "compare/FileComparison.h"

#include "media/DatasetsModule.h"

namespace radvex::compare {

bool FileComparison::areEqual() const {
    const bool havePixels = pixelBytes != PixelBytes::onlyFirst && pixelBytes != PixelBytes::onlySecond;
    return attributes.empty() && havePixels && pixels.areEqual;
}

FileComparison compareFiles(velmora::Host& host, const std::string& first, const std::string& second,
                            const ComparisonSettings& settings) {
    const auto compare = reinterpret_cast<CompareAttributesEntry>(
        media::datasetsEntry(kCompareAttributesEntry, "Files cannot be compared"));
    AttributeComparison attributes;
    compare(first, second, settings.attributes, attributes);
    FileComparison result{std::move(attributes.differences), attributes.pixels, {}, {}};
    if (result.pixelBytes == PixelBytes::unknown) {
        try {
            result.pixels = comparePixels(host, first, second, settings.tolerance);
        } catch (const velmora::LibraryError& error) {
            result.pixelProblem = error.what();
        } catch (const Error& error) {
            result.pixelProblem = error.what();
        }
    }
    return result;
}

} // namespace radvex::compare
