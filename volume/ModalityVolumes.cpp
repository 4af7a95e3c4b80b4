#include "volume/ModalityVolumes.h"

#include <algorithm>
#include <cstring>
#include <map>

#include "volume/SliceFile.h"
#include "workers/Workers.h"

namespace radvex::volume {

namespace {

/// Assembles the volume of one series from its files, in their order.
class Stack {
  public:
    Stack(const media::Medium& medium, workers::SharedMemory& memory) : mMedium(medium), mMemory(memory) {}

    void add(const std::string& name, const workers::WorkResult& result, SliceFile file) {
        if (!result.end.empty()) {
            const std::string sentence = name + ": " + result.problem();
            mReason = mReason.empty() ? sentence : mReason;
            mResult.findings.push_back({FindingKind::unreadableFile, true, sentence, {name}});
        } else if (!result.error.empty()) {
            addUnreadable(name, result.error);
        } else {
            add(name, std::move(file));
        }
    }

    SeriesVolume finish() {
        if (!mOfOtherSize.empty()) {
            failBecauseOfSizes(mFirst, mResult.header.columns, mResult.header.rows, mOfOtherSize);
        }
        if (!mBuffer && mReason.empty()) {
            throw NoPicturesError("The series holds no pictures.");
        }
        if (!mBuffer) {
            throw formats::VolumeError("No file of the series can be read: " + mReason);
        }
        if (!mUnreadable.empty()) {
            mResult.findings.push_back(unreadableFiles(std::move(mUnreadable), "cannot be read", mUnreadableReason));
        }
        if (!mPictureless.empty()) {
            const char* const what = mPictureless.size() == 1 ? "holds no picture" : "hold no picture";
            mResult.findings.push_back(unreadableFiles(std::move(mPictureless), what, ""));
        }
        mResult.bytes = mBuffer->slices();
        mResult.header.type = mBuffer->type();
        mResult.header.slices = static_cast<vint>(mResult.bytes.size());
        return std::move(mResult);
    }

  private:
    void add(const std::string& name, SliceFile file) {
        if (!file.isKnown) {
            return addUnreadable(name, file.reason);
        }
        if (mResult.seriesNumber.empty()) {
            mResult.seriesNumber = file.seriesNumber;
        }
        if (file.rows < 1 || file.columns < 1) {
            mPictureless.push_back(name);
            return;
        }
        if (!isOfOneSize(name, file)) {
            return;
        }
        if (file.isColour) {
            throw formats::VolumeError(name +
                                       " is in colour, which has no modality values; --rendered gives its picture.");
        }
        if (!file.reason.empty()) {
            return addUnreadable(name, file.reason);
        }
        if (!file.refusal.empty()) {
            throw formats::VolumeError(file.refusal);
        }
        if (!mBuffer) {
            mBuffer.emplace(mMemory, static_cast<std::size_t>(file.rows) * static_cast<std::size_t>(file.columns));
        }
        mBuffer->add(file.samples);
        std::move(file.slices.begin(), file.slices.end(), std::back_inserter(mResult.slices));
    }

    bool isOfOneSize(const std::string& name, const SliceFile& file) {
        formats::VolumeHeader& header = mResult.header;
        if (mFirst.empty()) {
            mFirst = name;
            header.rows = file.rows;
            header.columns = file.columns;
        } else if (header.rows != file.rows || header.columns != file.columns) {
            mOfOtherSize.push_back(name);
        }
        return mOfOtherSize.empty();
    }

    void addUnreadable(const std::string& name, const std::string& reason) {
        const std::string sentence = mMedium.userText(reason);
        mUnreadable.push_back(name);
        mUnreadableReason = mUnreadableReason.empty() ? sentence : mUnreadableReason;
        mReason = mReason.empty() ? sentence : mReason;
    }

    const media::Medium& mMedium;
    workers::SharedMemory& mMemory;
    SeriesVolume mResult{};
    std::optional<VolumeBuffer> mBuffer{};
    std::string mFirst{};
    std::vector<std::string> mOfOtherSize{};
    std::vector<std::string> mUnreadable{};
    std::vector<std::string> mPictureless{};
    std::string mUnreadableReason{};
    std::string mReason{}; ///< why the first unreadable file cannot be read
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

} // namespace

/// The processes write the slices of a file into shared memory, and this one copies them into the volume.
class ModalityVolumes::Reader {
  public:
    Reader(velmora::Host& host, const media::Medium& medium, const std::vector<SeriesFiles>& all, std::size_t jobs)
        : mHost(host),
          mMedium(medium),
          mAll(all),
          mFirsts(firstItems(all)),
          mJobs(mFirsts.back() < 2 ? 0 : std::min(jobs, mFirsts.back())),
          mWorkers(mJobs, [this](std::size_t item) { return readFile(pathOf(item)); }) {}

    SeriesVolume read(std::size_t series, const std::function<void()>& step) {
        mVolume.clear();
        mArrived.clear();
        Stack stack(mMedium, mVolume);
        const auto receive = [&](std::size_t item, const workers::WorkResult& result) {
            auto arrived = mArrived.extract(item);
            stack.add(nameOf(item), result, arrived.empty() ? SliceFile{} : std::move(arrived.mapped()));
            step();
        };
        mWorkers.run(mFirsts[series], mFirsts[series + 1], receive,
                     [this](std::size_t item, const workers::WorkResult& result) { take(item, result); });
        return stack.finish();
    }

  private:
    const std::string& pathOf(std::size_t item) const {
        const auto next = std::upper_bound(mFirsts.begin(), mFirsts.end(), item);
        const auto series = static_cast<std::size_t>(next - mFirsts.begin()) - 1;
        return mAll[series].files[item - mFirsts[series]];
    }

    std::string nameOf(std::size_t item) const { return mMedium.userPath(pathOf(item)); }

    std::string readFile(const std::string& path) {
        const auto allocate = [this](std::size_t bytes) {
            return mJobs == 0 ? mVolume.allocate(bytes) : mFileMemory.allocate(bytes);
        };
        SliceFile file = readSliceFile(mHost, path, mMedium.userPath(path), allocate);
        return toParcel(std::move(file), mJobs == 0 ? mVolume : mShared);
    }

    /// Runs before the process that sent the file starts with its next one, which overwrites the memory.
    void take(std::size_t item, const workers::WorkResult& result) {
        if (!result.error.empty()) {
            return;
        }
        SliceFile file = fromParcel(result.output, nameOf(item), mJobs == 0 ? mVolume : mShared);
        if (mJobs > 0 && file.samples.count > 0) {
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
    std::size_t mJobs;
    workers::SharedMemory mVolume{false};
    workers::SharedMemory mShared{true};
    FileMemory mFileMemory{mShared}; ///< each process has its own
    std::map<std::size_t, SliceFile> mArrived{};
    workers::Workers mWorkers;
};

ModalityVolumes::ModalityVolumes(velmora::Host& host, const media::Medium& medium, const std::vector<SeriesFiles>& all,
                                 std::size_t jobs) {
    workers::keepMemoryBetweenFiles();
    mReader = std::make_unique<Reader>(host, medium, all, jobs);
}

ModalityVolumes::~ModalityVolumes() = default;

SeriesVolume ModalityVolumes::read(std::size_t series, const std::function<void()>& step) {
    return mReader->read(series, step);
}

} // namespace radvex::volume
