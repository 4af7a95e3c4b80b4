#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "files/Errors.h"
#include "media/ElementList.h"
#include "media/Rendering.h"
#include "media/StoredAttributes.h"
#include "media/scan/FileDiagnosis.h"
#include "media/scan/FileStart.h"
#include "python/worker/FileList.h"
#include "python/worker/Jobs.h"
#include "volume/slices/FileMetadata.h"
#include "workers/Workers.h"

namespace radvex::python {

using formats::Json;
using velmora::Store;

namespace {

constexpr std::size_t kRowsInMessage = 1024;

Json valueOf(velmora::NodeView node) {
    return node.isText()                  ? formats::toJson(std::string(node.text())) // bytes if it is no UTF-8
           : node.type() == VType_Integer ? Json(node.cell().integer)
                                          : Json();
}

Json valueOf(const media::Element& element) {
    const bool isNumber = element.vr == "US" && !element.text.empty();
    return isNumber ? Json(std::strtol(element.text.c_str(), nullptr, 10)) : formats::toJson(element.text);
}

/// Whether a file that could not be read claims to be DICOM.
bool claimsToBeDicom(const media::FileStart& start, const std::string& path) {
    return !start.isRead() || start.hasMark() || start.mayBeBareDataset() || !start.brokenPromise(path).empty();
}

/// The number of the signal in what is said of the end of a process.
Json signalIn(const std::string& end) {
    constexpr std::string_view kBefore = "signal ";
    const std::size_t found = end.find(kBefore);
    return found == std::string::npos ? Json() : Json(std::strtol(&end[found + kBefore.size()], nullptr, 10));
}

/// SHA-256 of the stored values of all frames, in hexadecimal.
class PixelDigest {
  public:
    PixelDigest() : mContext(EVP_MD_CTX_new(), &EVP_MD_CTX_free) {
        EVP_DigestInit_ex(mContext.get(), EVP_sha256(), nullptr);
    }

    void add(const VelmoraNumericArray& array) {
        EVP_DigestUpdate(mContext.get(), array.data.get(),
                         static_cast<std::size_t>(array.length) * velmora::numericArrayElementSize(array.type));
    }

    std::string finish() {
        std::array<unsigned char, EVP_MAX_MD_SIZE> bytes{};
        unsigned length = 0;
        EVP_DigestFinal_ex(mContext.get(), bytes.data(), &length);
        std::string text;
        for (unsigned index = 0; index < length; ++index) {
            constexpr std::string_view kDigits = "0123456789abcdef";
            text += kDigits[bytes[index] >> 4U];
            text += kDigits[bytes[index] & 15U];
        }
        return text;
    }

  private:
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> mContext;
};

class Describer {
  public:
    Describer(velmora::Host& host, const Request& request)
        : mHost(host), mRequest(request), mPaths(pathsIn(request.list)) {}

    std::size_t count() const { return mPaths.size(); }

    /// A row as JSON text: state, reason, signal, digest, values.
    std::string describe(std::size_t item) {
        const std::string& path = mPaths[item];
        const media::FileStart start(path);
        Json row;
        try {
            const std::map<std::string, Json> values = valuesOf(path, start);
            const Pixels pixels = mRequest.withPixels ? pixelsOf(path) : Pixels{};
            row = {"dicom", pixels.reason, nullptr, pixels.digest};
            for (const std::string& keyword : mRequest.keywords) {
                const auto found = values.find(keyword);
                row.push_back(found == values.end() ? Json() : found->second);
            }
        } catch (const velmora::LibraryError& error) {
            row = rowOf(claimsToBeDicom(start, path) ? "broken" : "notDicom", media::explain(error, path, path), "");
        }
        mHost.call("CloseReader", {path});
        return formats::dumpJson(row);
    }

    /// A row without values.
    Json rowOf(const char* state, const std::string& reason, const std::string& end) const {
        Json row{state, reason, signalIn(end), nullptr};
        for (std::size_t index = 0; index < mRequest.keywords.size(); ++index) {
            row.push_back(nullptr);
        }
        return row;
    }

  private:
    struct Pixels {
        Json reason{}; ///< why they cannot be read
        Json digest{}; ///< null when nobody asked; empty when there are none, or with a reason
    };

    std::map<std::string, Json> valuesOf(const std::string& path, const media::FileStart& start) {
        const bool isCompressed = start.isCompressed();
        std::vector<std::string> asked;
        std::vector<std::string> stored;
        for (const std::string& keyword : mRequest.keywords) {
            (isCompressed && media::isChangedByDecoding(keyword) ? stored : asked).push_back(keyword);
        }
        std::map<std::string, Json> values;
        const velmora::Value found = mHost.call("ReadMetadata", {path, Store::ofTexts(asked), false});
        for (const velmora::NodeView node : found.get<Store>()) {
            values[std::string(node.name())] = valueOf(node);
        }
        if (!stored.empty()) {
            addStored(values, path, stored);
        }
        values["TransferSyntaxUID"] = formats::toJson(start.transferSyntax());
        if (start.isDirectory()) { // says so in its meta information alone
            values["SOPClassUID"] = "1.2.840.10008.1.3.10";
        }
        return values;
    }

    /// A file that the library reads and this does not lacks these values.
    static void addStored(std::map<std::string, Json>& values, const std::string& path,
                          const std::vector<std::string>& keywords) {
        try {
            for (const media::Element& element : media::storedAttributes(path, keywords)) {
                values[element.keyword] = valueOf(element);
            }
        } catch (const FileError&) {
            return;
        }
    }

    Pixels pixelsOf(const std::string& path) {
        try {
            const velmora::Value found = mHost.call("ReadMetadata", {path, Store::ofTexts({"PixelData"}), false});
            PixelDigest digest;
            std::size_t frames = 0;
            for (const velmora::NodeView node : found.get<Store>()) {
                for (const velmora::NodeView frame : node.isStore() ? node.store() : velmora::StoreView(nullptr)) {
                    if (frame.type() == VType_NumericArray) {
                        digest.add(*frame.cell().numericArray);
                        ++frames;
                    }
                }
            }
            Json reason = reasonNotToRead(path, frames);
            const bool isRead = reason.is_null() && frames > 0;
            return {std::move(reason), isRead ? Json(digest.finish()) : Json("")};
        } catch (const velmora::LibraryError& error) {
            return {media::explain(error, path, path), ""};
        } catch (const FileError& error) {
            return {media::sentenceAbout(path, error.what()), ""};
        }
    }

    /// Pixels that nothing decodes are left out of the attributes without an error, and missing ones are made up.
    /// @param frames  that were found
    Json reasonNotToRead(const std::string& path, std::size_t frames) {
        const volume::FileMetadata metadata(mHost, path);
        const bool hasSize = metadata.rows() > 0 && metadata.columns() > 0;
        if (!hasSize) {
            return frames == 0 && !holdsPixelData(path) ? Json() : Json(path + " has pixels without a size.");
        }
        if (frames > 0) {
            return metadata.lacksPixels(path, frames) ? Json(path + " holds fewer pixels than its attributes promise.")
                                                      : Json();
        }
        if (!holdsPixelData(path)) {
            return Json();
        }
        try {
            mHost.call("ReadImageData", {path, 0, 1, media::Rendering{}.scalingTensor(), false, media::kImageFlags});
        } catch (const velmora::LibraryError& error) {
            return media::explain(error, path, path);
        }
        return path + " has pixels that cannot be read.";
    }

    static bool holdsPixelData(const std::string& path) {
        const auto isPixelData = [](const media::Element& element) {
            return element.group == 0x7FE0 && element.number == 0x0010;
        };
        return std::ranges::any_of(media::listElements(path, {}), isPixelData);
    }

    velmora::Host& mHost;
    const Request& mRequest;
    std::vector<std::string> mPaths;
};

} // namespace

void sendRows(velmora::Host& host, const Request& request, const Messages& messages) {
    Describer describer(host, request);
    std::string rows;
    std::size_t count = 0;
    const auto flush = [&] {
        if (count > 0) {
            messages.send({{"rows", count}});
            messages.sendBytes('[' + rows + ']'); // each is JSON already
            rows.clear();
            count = 0;
        }
    };
    workers::forEachInBlocks(
        request.jobs, describer.count(), [&](std::size_t item) { return describer.describe(item); },
        [&](std::size_t /*item*/, const workers::WorkResult& result) {
            rows += count++ == 0 ? "" : ",";
            rows += result.isDone() ? result.output
                                    : formats::dumpJson(describer.rowOf("broken", result.problem(), result.end));
            if (count >= kRowsInMessage) {
                flush();
            }
        });
    flush();
}

} // namespace radvex::python
