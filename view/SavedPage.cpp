#include "view/SavedPage.h"

#include <zlib.h>

#include <set>
#include <span>

#include "files/Errors.h"
#include "formats/json/Base64.h"

namespace radvex::view {

using formats::Json;

namespace {

/// The page may be opened from a disk, where no server says what it may load.
constexpr const char* kPolicy =
    "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; script-src 'unsafe-inline'; "
    "style-src 'unsafe-inline'; img-src data: blob:\">";

std::string inBase64(const std::string& bytes) { return formats::toBase64(std::as_bytes(std::span(bytes))); }

/// As a file of gzip. @throws Error  no memory
std::string packed(const std::string& bytes) {
    constexpr int kGzip = 16 + MAX_WBITS;
    constexpr int kUsualMemory = 8;
    z_stream stream{};
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kGzip, kUsualMemory, Z_DEFAULT_STRATEGY) != Z_OK) {
        throw Error("There is no memory for the compression of the page.");
    }
    std::string result(deflateBound(&stream, static_cast<uLong>(bytes.size())), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef*>(result.data());
    stream.avail_out = static_cast<uInt>(result.size());
    const int end = deflate(&stream, Z_FINISH);
    result.resize(stream.total_out);
    (void)deflateEnd(&stream);
    if (end != Z_STREAM_END) {
        throw Error("The answers of the page cannot be compressed.");
    }
    return result;
}

void replaceAll(std::string& text, const std::string& from, const std::string& to) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

/// Puts a text in place of what lies from `start` to the next `end`. @throws Error  the page is not as it was built
void put(std::string& page, const std::string& start, const std::string& end, const std::string& text) {
    const std::size_t from = page.find(start);
    const std::size_t to = from == std::string::npos ? from : page.find(end, from);
    if (to == std::string::npos) {
        throw Error("The page of this program has no " + start + ", and cannot be saved.");
    }
    page.replace(from, (end.empty() ? start.size() : to + end.size() - from), text);
}

/// The answers that a page without a server has.
class Collection {
  public:
    Collection(Answers& answers, std::size_t most) : mAnswers(answers), mMost(most) {}

    Json collect() {
        add("tree");
        for (std::size_t series = 0; series < mAnswers.catalogue().seriesCount(); ++series) {
            addSeries(series);
        }
        return std::move(mAll);
    }

  private:
    void addSeries(std::size_t series) {
        const std::string start = "series/" + std::to_string(series);
        const Answer answer = add(start);
        const std::size_t files = mAnswers.catalogue().filesOf(series)->size();
        add(start + "/files/" + std::to_string(files / 2) + "/preview?frame=0");
        std::set<std::size_t> described;
        if (!answer.message->json.contains("slices")) { // it says why
            return;
        }
        for (const Json& slice : answer.message->json["slices"]) {
            const auto file = slice["file"].get<std::size_t>();
            const std::string place = start + "/files/" + std::to_string(file);
            add(place + "/values?frame=" + std::to_string(slice["frame"].get<std::size_t>()));
            add(place + "/overlays?frame=" + std::to_string(slice["frame"].get<std::size_t>()));
            if (described.insert(file).second) {
                add(place + "/tags");
            }
        }
    }

    Answer add(const std::string& question) {
        Answer answer = mAnswers.to(question);
        const bool isPicture = answer.type == "image/png";
        Json saved{{"type", answer.type}, {"body", inBase64(isPicture ? answer.text() : packed(answer.text()))}};
        if (!answer.info.is_null()) {
            saved["info"] = answer.info;
        }
        if (answer.isRefusal) {
            saved["isRefusal"] = true;
        }
        mBytes += saved["body"].get_ref<const std::string&>().size();
        if (mBytes > mMost) {
            constexpr std::size_t kMebibyte = 1 << 20;
            throw Error("The page would be larger than " + std::to_string(mMost / kMebibyte) +
                        " MiB. Choose fewer series with --series, or allow more with --max-size.");
        }
        mAll["api/" + question] = std::move(saved);
        return answer;
    }

    Answers& mAnswers;
    std::size_t mMost;
    std::size_t mBytes = 0;
    Json mAll = Json::object();
};

std::string contentOf(const std::vector<Asset>& page, const std::string& name) {
    for (const Asset& asset : page) {
        if (asset.name == name) {
            return asset.content;
        }
    }
    throw Error("The page of this program is not whole, and cannot be saved.");
}

} // namespace

std::string savedPage(Answers& answers, const std::vector<Asset>& page, std::size_t most) {
    std::string json = formats::dumpJson(Collection(answers, most).collect());
    replaceAll(json, "</", "<\\/"); // nothing in it ends the script
    std::string script = contentOf(page, "page.js");
    replaceAll(script, "</script", "<\\/script");
    std::string html = contentOf(page, "");
    put(html, "<head>", "", std::string("<head>") + kPolicy);
    put(html, "<link rel=\"stylesheet\"", ">", "<style>" + contentOf(page, "page.css") + "</style>");
    put(html, "<script type=\"module\"", "</script>", "");
    put(html, "</body>", "",
        "<script type=\"application/json\" id=\"saved-answers\">" + json + "</script>\n<script type=\"module\">" +
            script + "</script>\n</body>");
    return html;
}

} // namespace radvex::view
