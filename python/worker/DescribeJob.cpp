#include <openssl/evp.h>

#include <array>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "media/scan/FileDiagnosis.h"
#include "media/scan/FileStart.h"
#include "python/worker/FileList.h"
#include "python/worker/Jobs.h"
#include "workers/Workers.h"

namespace radvex::python {

using formats::Json;
using velmora::Store;

namespace {

constexpr std::size_t kRecordsInMessage = 256;

Json valueOf(velmora::NodeView node) {
    return node.isText()                  ? formats::toJson(std::string(node.text())) // bytes if it is no UTF-8
           : node.type() == VType_Integer ? Json(node.cell().integer)
                                          : Json();
}

/// Whether a file that could not be read claims to be DICOM.
bool claimsToBeDicom(const media::FileStart& start, const std::string& path) {
    return !start.isRead() || start.hasMark() || start.mayBeBareDataset() || !start.brokenPromise(path).empty();
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

    /// A record as JSON text: {"values"}, {"notDicom"} or {"broken"}; with pixels {"digest"} or {"brokenPixels"} too.
    std::string describe(std::size_t item) {
        const std::string& path = mPaths[item];
        Json record{{"i", item}};
        const media::FileStart start(path);
        try {
            record["values"] = valuesOf(path);
            record["values"]["TransferSyntaxUID"] = start.transferSyntax();
            if (start.isDirectory()) { // says so in its meta information alone
                record["values"]["SOPClassUID"] = "1.2.840.10008.1.3.10";
            }
            if (mRequest.withPixels) {
                addPixels(record, path);
            }
        } catch (const velmora::LibraryError& error) {
            record[claimsToBeDicom(start, path) ? "broken" : "notDicom"] = media::explain(error, path, path);
        }
        mHost.call("CloseReader", {path});
        return formats::dumpJson(record);
    }

  private:
    Json valuesOf(const std::string& path) {
        const velmora::Value found = mHost.call("ReadMetadata", {path, Store::ofTexts(mRequest.keywords), false});
        Json values = Json::object();
        for (const velmora::NodeView node : found.get<Store>()) {
            values[std::string(node.name())] = valueOf(node);
        }
        return values;
    }

    void addPixels(Json& record, const std::string& path) {
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
            record["digest"] = frames == 0 ? Json() : Json(digest.finish());
        } catch (const velmora::LibraryError& error) {
            record["brokenPixels"] = media::explain(error, path, path);
        }
    }

    velmora::Host& mHost;
    const Request& mRequest;
    std::vector<std::string> mPaths;
};

} // namespace

void sendRecords(velmora::Host& host, const Request& request, const Messages& messages) {
    Describer describer(host, request);
    std::string records;
    std::size_t count = 0;
    const auto flush = [&] {
        if (count > 0) { // each is JSON already
            messages.sendBytes("{\"records\":[" + records + "]}");
            records.clear();
            count = 0;
        }
    };
    workers::forEachInBlocks(
        request.jobs, describer.count(), [&](std::size_t item) { return describer.describe(item); },
        [&](std::size_t item, const workers::WorkResult& result) {
            records += count++ == 0 ? "" : ",";
            records += result.isDone()
                           ? result.output
                           : formats::dumpJson({{"i", item}, {"broken", result.problem()}, {"end", result.end}});
            if (count >= kRecordsInMessage) {
                flush();
            }
        });
    flush();
}

} // namespace radvex::python
