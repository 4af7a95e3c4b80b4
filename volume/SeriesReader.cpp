#include "volume/SeriesReader.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <map>
#include <optional>

#include "formats/json/Text.h"
#include "media/scan/FileDiagnosis.h"
#include "media/scan/FileStart.h"
#include "workers/Parcel.h"
#include "workers/Workers.h"

namespace radvex::volume {

namespace {

/// Files about which the same is to be said.
struct NamedFiles {
    std::vector<std::string> names{};
    std::string reason{}; ///< of the first one

    void add(const std::string& name, const std::string& why) {
        reason = names.empty() ? why : reason;
        names.push_back(name);
    }
    void tell(std::vector<Finding>& findings, FindingKind kind, const char* one, const char* several) {
        if (names.empty()) {
            return;
        }
        const std::string sentence = formats::counted(names.size(), "file ", "files ") +
                                     (names.size() == 1 ? one : several) + ": " + namesOf(names) + "." +
                                     (reason.empty() ? "" : " " + reason);
        findings.push_back({kind, true, sentence, std::move(names)});
    }
};

/// Collects the slices of one series from its files, in their order.
class Collection {
  public:
    Collection(const media::Medium& medium, workers::SharedMemory& memory) : mMedium(medium) {
        mResult.samples = std::make_unique<VolumeBuffer>(memory);
    }

    void add(const std::string& name, const workers::WorkResult& result, SliceFile file) {
        if (!result.end.empty()) {
            mEnded.push_back({FindingKind::unreadableFile, true, name + ": " + result.problem(), {name}, result.end});
        } else if (!result.error.empty()) {
            mUnreadable.add(name, whyUnreadable(name, result.error));
        } else {
            add(name, std::move(file));
        }
    }

    SeriesSlices finish() {
        if (mResult.slices.empty()) {
            throwNothing();
        }
        std::vector<Finding>& findings = mResult.findings;
        std::ranges::move(mEnded, std::back_inserter(findings));
        mUnreadable.tell(findings, FindingKind::unreadableFile, "cannot be read", "cannot be read");
        mPictureless.tell(findings, FindingKind::unreadableFile, "holds no picture", "hold no picture");
        mMosaics.tell(findings, FindingKind::mosaic, "is a mosaic", "are mosaics");
        mShort.tell(findings, FindingKind::shortPixelData, "holds fewer pixels than its attributes promise",
                    "hold fewer pixels than their attributes promise");
        tellRefused();
        return std::move(mResult);
    }

  private:
    void add(const std::string& name, SliceFile file) {
        if (!file.refusal.empty()) {
            throw formats::VolumeError(file.refusal);
        }
        if (!file.isKnown) {
            return mUnreadable.add(name, whyUnreadable(name, file.reason));
        }
        if (mResult.seriesNumber.empty()) {
            mResult.seriesNumber = file.seriesNumber;
        }
        if (file.rows < 1 || file.columns < 1) {
            return mPictureless.add(name, "");
        }
        if (!file.reason.empty()) {
            return mUnreadable.add(name, whyUnreadable(name, file.reason));
        }
        if (!file.mosaicProblem.empty()) {
            mMosaics.add(name,
                         "Its slices are tiles of one picture (ImageType MOSAIC), and " + file.mosaicProblem + ".");
        }
        if (file.isShort) {
            mShort.add(name, "");
        }
        mResult.samples->add(file.samples);
        std::ranges::move(file.slices, std::back_inserter(mResult.slices));
        file.rules.resize(file.samples.count); // those of pictures, which have none
        std::ranges::move(file.rules, std::back_inserter(mResult.rules));
    }

    static std::string whyUnreadable(const std::string& path, const std::string& reason) {
        const std::string syntax = media::undecodedSyntaxName(media::FileStart(path).transferSyntax());
        return syntax.empty() ? reason : "It " + media::whyNoPicture(path) + '.';
    }

    /// Files of a plain folder whose series nobody knows may belong to this one.
    void tellRefused() {
        NamedFiles refused;
        for (const media::RefusedFile& file : mMedium.listing().leftOut.refused) {
            refused.add(file.path, "The reason for the first: " + file.reason + ".");
        }
        refused.tell(mResult.findings, FindingKind::unreadableFile,
                     "of the folder cannot be read and may belong to the series",
                     "of the folder cannot be read and may belong to the series");
    }

    [[noreturn]] void throwNothing() const {
        if (!mEnded.empty()) {
            throw ReaderEndedError("No file of the series can be read: " + mEnded.front().sentence, mEnded.front());
        }
        if (!mUnreadable.names.empty()) {
            throw formats::VolumeError("No file of the series can be read: " + mUnreadable.reason);
        }
        throw NoPicturesError("The series holds no pictures.");
    }

    const media::Medium& mMedium;
    SeriesSlices mResult{};
    std::vector<Finding> mEnded{};
    NamedFiles mUnreadable{};
    NamedFiles mPictureless{};
    NamedFiles mMosaics{};
    NamedFiles mShort{};
};

/// The index of the first file of each series among all files, and their number.
std::vector<std::size_t> firstItems(const std::vector<SeriesFiles>& all) {
    std::vector<std::size_t> firsts{0};
    for (const SeriesFiles& series : all) {
        firsts.push_back(firsts.back() + series.files.size());
    }
    return firsts;
}

/// Memory of a process for its current file. The next file reuses it, because for shared memory, the system takes
/// several times as long to provide a page as it takes to fill one.
class FileMemory {
  public:
    explicit FileMemory(workers::SharedMemory& memory) : mMemory(memory) {}

    std::byte* allocate(std::size_t bytes) {
        if (bytes > mBytes) {
            if (mBlock != nullptr) {
                mMemory.releasePages(mBlock, mBytes);
            }
            mBytes = 0;
            mBlock = mMemory.allocate(bytes);
            mBytes = bytes;
        }
        return mBlock;
    }

  private:
    workers::SharedMemory& mMemory;
    std::byte* mBlock = nullptr;
    std::size_t mBytes = 0;
};

/// The window from the lowest to the highest value. The library takes no window of less than 1.
media::Rendering windowOver(const ValueRange& range) {
    media::Rendering rendering;
    const double width = range.highest - range.lowest;
    if (width >= 1) {
        rendering.window = media::Window{width, (range.highest + range.lowest) / 2};
    } else if (width > 0) {
        throw formats::VolumeError("The values of the series span less than 1, which is too little for a window.");
    } else {
        rendering.scaling = media::Rendering::Scaling::none;
    }
    return rendering;
}

} // namespace

/// The processes write the slices of a file into shared memory, and this one copies them into the memory of the series.
class SeriesReader::Reader {
  public:
    Reader(velmora::Host& host, const media::Medium& medium, const std::vector<SeriesFiles>& all, SampleKind kind,
           const media::Rendering& rendering, std::size_t jobs)
        : mHost(host),
          mMedium(medium),
          mAll(all),
          mFirsts(firstItems(all)),
          mHasCommonWindow(kind == SampleKind::rendered &&
                           rendering.scaling == media::Rendering::Scaling::commonWindow),
          mJobs(mFirsts.back() < 2 ? 0 : std::min(jobs, mFirsts.back())),
          mReading{kind, rendering} {
        if (!mHasCommonWindow) {
            startReading();
        }
    }

    SeriesSlices read(std::size_t series, const std::function<void()>& step) {
        mVolume.clear();
        mArrived.clear();
        if (mHasCommonWindow) {
            mReading.rendering = windowOver(rangeOfSeries(series));
            startReading(); // processes know the window only from their start
        }
        Collection collection(mMedium, mVolume);
        const auto receive = [&](std::size_t item, const workers::WorkResult& result) {
            auto arrived = mArrived.extract(item);
            collection.add(pathOf(item), result, arrived.empty() ? SliceFile{} : std::move(arrived.mapped()));
            step();
        };
        mWorkers->run(mFirsts[series], mFirsts[series + 1], receive,
                      [this](std::size_t item, const workers::WorkResult& result) { take(item, result); });
        return collection.finish();
    }

  private:
    void startReading() {
        mWorkers.emplace(mJobs, [this](std::size_t item) { return readFile(pathOf(item)); });
    }

    ValueRange rangeOfSeries(std::size_t series) {
        std::optional<ValueRange> all;
        workers::Workers workers(
            mJobs, [this](std::size_t item) { return workers::toParcel(rangeOfFile(mHost, pathOf(item))); });
        workers.run(mFirsts[series], mFirsts[series + 1], [&](std::size_t /*item*/, const workers::WorkResult& result) {
            const auto range = result.isDone() ? workers::fromParcel<std::optional<ValueRange>>(result.output)
                                               : std::optional<ValueRange>{};
            if (range) {
                all = all ? ValueRange{std::min(all->lowest, range->lowest), std::max(all->highest, range->highest)}
                          : *range;
            }
        });
        return all.value_or(ValueRange{});
    }

    const std::string& pathOf(std::size_t item) const {
        const auto next = std::upper_bound(mFirsts.begin(), mFirsts.end(), item);
        const auto series = static_cast<std::size_t>(next - mFirsts.begin()) - 1;
        return mAll[series].files[item - mFirsts[series]];
    }

    std::string readFile(const std::string& path) {
        const auto allocate = [this](std::size_t bytes) {
            return mJobs == 0 ? mVolume.allocate(bytes) : mFileMemory.allocate(bytes);
        };
        SliceFile file = readSliceFile(mHost, path, mReading, allocate);
        return toParcel(std::move(file), mJobs == 0 ? mVolume : mShared);
    }

    /// Runs before the process that sent the file starts with its next one, which overwrites the memory.
    void take(std::size_t item, const workers::WorkResult& result) {
        if (!result.error.empty()) {
            return;
        }
        SliceFile file = fromParcel(result.output, pathOf(item), mJobs == 0 ? mVolume : mShared);
        if (mJobs > 0 && file.bytes() > 0) {
            std::byte* copy = mVolume.allocate(file.bytes());
            std::memcpy(copy, file.samples.samples, file.bytes());
            file.samples.samples = copy;
        }
        mArrived.emplace(item, std::move(file));
    }

    velmora::Host& mHost;
    const media::Medium& mMedium;
    const std::vector<SeriesFiles>& mAll;
    std::vector<std::size_t> mFirsts;
    bool mHasCommonWindow;
    std::size_t mJobs;
    SliceReading mReading;
    workers::SharedMemory mVolume{false};
    workers::SharedMemory mShared{true};
    FileMemory mFileMemory{mShared}; ///< each process has its own
    std::map<std::size_t, SliceFile> mArrived{};
    std::optional<workers::Workers> mWorkers{};
};

SeriesReader::SeriesReader(velmora::Host& host, const media::Medium& medium, const std::vector<SeriesFiles>& all,
                           SampleKind kind, const media::Rendering& rendering, std::size_t jobs) {
    workers::keepMemoryBetweenFiles();
    mReader = std::make_unique<Reader>(host, medium, all, kind, rendering, jobs);
}

SeriesReader::~SeriesReader() = default;

SeriesSlices SeriesReader::read(std::size_t series, const std::function<void()>& step) {
    return mReader->read(series, step);
}

} // namespace radvex::volume
