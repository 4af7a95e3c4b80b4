#include "volume/PlacedVolume.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <span>
#include <tuple>
#include <utility>

#include "files/StagingFolder.h"
#include "workers/Parcel.h"
#include "workers/Workers.h"

namespace radvex::volume {

namespace {

/// Thrown inside writePlacedVolume, also in the processes: the series has to be read in the usual way.
struct NotPlaced : std::exception {};

void require(bool isGiven) {
    if (!isGiven) {
        throw NotPlaced{};
    }
}

/// What a process tells of a file whose slices it has put into the file of the volume.
struct PlacedFile {
    SliceFile file{}; ///< its samples are gone
    int writeError = 0;

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.file, self.writeError);
    }
};

/// A file without problems, of grey slices that are as large as its picture.
bool isPlain(const SliceFile& file) {
    return file.isKnown && file.reason.empty() && file.refusal.empty() && file.mosaicProblem.empty() && !file.isShort &&
           !file.samples.isPicture && file.samples.count > 0 && file.slices.size() == file.samples.count &&
           std::ranges::all_of(file.slices, [&](const SliceRecord& slice) {
               return !slice.isColour && slice.rows == file.rows && slice.columns == file.columns;
           });
}

/// A file while it is written, by several processes at once.
class NewFile {
  public:
    /// @param name  what errors call it @throws WriteError
    NewFile(const std::string& path, std::string name)
        : mName(std::move(name)), mDescriptor(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666)) {
        throwIf(mDescriptor < 0 ? errno : 0);
    }
    ~NewFile() {
        if (mDescriptor >= 0) {
            (void)::close(mDescriptor);
        }
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    /// @return the system's error, 0 for none
    int tryToWrite(std::span<const std::byte> bytes, std::uint64_t offset) const {
        while (!bytes.empty()) {
            const ssize_t written = ::pwrite(mDescriptor, bytes.data(), bytes.size(), static_cast<off_t>(offset));
            if (written == 0 || (written < 0 && errno != EINTR)) {
                return written == 0 ? EIO : errno;
            }
            const auto done = static_cast<std::size_t>(std::max<ssize_t>(written, 0));
            bytes = bytes.subspan(done);
            offset += done;
        }
        return 0;
    }
    void write(std::span<const std::byte> bytes, std::uint64_t offset) const { throwIf(tryToWrite(bytes, offset)); }
    void close() { throwIf(::close(std::exchange(mDescriptor, -1)) == 0 ? 0 : errno); }

    /// @param error  the system's; 0 for none @throws WriteError
    void throwIf(int error) const {
        if (error != 0) {
            throw files::WriteError(mName, error);
        }
    }

  private:
    std::string mName;
    int mDescriptor;
};

/// The first that a file tells, as SeriesReader has it.
std::string seriesNumberOf(const std::vector<SliceFile>& files) {
    const auto found = std::ranges::find_if(files, [](const SliceFile& file) { return !file.seriesNumber.empty(); });
    return found == files.end() ? "" : found->seriesNumber;
}

class Placement {
  public:
    Placement(velmora::Host& host, const SeriesFiles& series, const PlanOptions& options, std::size_t jobs)
        : mHost(host), mSeries(series), mOptions(options), mJobs(std::min(jobs, series.files.size())) {}

    PlacedVolume write(const OutputOfSeries& outputOf, const std::function<void()>& step) {
        const PlacedVolume foretold = assemble(readAttributes());
        const Volume& expected = foretold.all.volumes.front();
        const files::Output output = outputOf(foretold.slices.seriesNumber);
        const std::string head = formats::volumeHead(output.path, expected.header);
        setPlaces(expected, head.size());
        mType = expected.header.type;
        PlacedVolume placed;
        files::writeOutputPath(output, [&](const std::string& temporary) {
            NewFile file(temporary, output.path);
            file.write(std::as_bytes(std::span(head)), 0);
            placed = assemble(readSamples(file, step));
            const Volume& volume = placed.all.volumes.front();
            require(volume.slices == expected.slices && formats::volumeHead(output.path, volume.header) == head);
            file.close();
        });
        placed.slices.samples.reset(); // addresses, which end with this object
        placed.all.volumes.front().bytes.clear();
        return placed;
    }

  private:
    std::vector<SliceFile> readAttributes() {
        std::vector<SliceFile> files;
        workers::Workers workers(mJobs, [this](std::size_t item) {
            return toParcel(readSliceFile(mHost, mSeries.files[item], {.kind = SampleKind::none}, {}), mAddresses);
        });
        workers.run(0, mSeries.files.size(), [&](std::size_t item, const workers::WorkResult& result) {
            require(result.isDone());
            files.push_back(fromParcel(result.output, mSeries.files[item], mAddresses));
            require(isPlain(files.back()));
        });
        return files;
    }

    std::vector<SliceFile> readSamples(const NewFile& target, const std::function<void()>& step) {
        std::vector<SliceFile> files;
        workers::Workers workers(mJobs,
                                 [this, &target](std::size_t item) { return workers::toParcel(place(item, target)); });
        workers.run(0, mSeries.files.size(), [&](std::size_t item, const workers::WorkResult& result) {
            require(result.isDone());
            auto placed = workers::fromParcel<PlacedFile>(result.output);
            target.throwIf(placed.writeError);
            for (SliceRecord& slice : placed.file.slices) {
                slice.file = mSeries.files[item];
            }
            files.push_back(std::move(placed.file));
            require(isPlain(files.back()) && files.back().samples.count == mPlaces[item].size());
            step();
        });
        return files;
    }

    /// Reads a file and writes its slices to their places, in the type of the volume. Runs in a process of its own.
    PlacedFile place(std::size_t item, const NewFile& target) {
        PlacedFile placed{readSliceFile(mHost, mSeries.files[item], {}, [this](std::size_t bytes) {
            mSamples.resize(std::max(mSamples.size(), bytes));
            return mSamples.data();
        })};
        const StoredSlices& slices = placed.file.samples;
        VolumeType both = mForetold;
        both.add(slices.wanted);
        require(isPlain(placed.file) && slices.count == mPlaces[item].size() && both.type() == mType);
        const std::byte* bytes = slices.samples;
        if (slices.wanted.type() != mType) {
            mConverted.resize(std::max(mConverted.size(), storedBytes(slices.count, slices.sliceSamples, mType)));
            convertSlices(slices, mType, mConverted.data());
            bytes = mConverted.data();
        }
        const std::size_t sliceBytes = storedBytes(1, slices.sliceSamples, mType);
        for (std::size_t slice = 0; slice < slices.count && placed.writeError == 0; ++slice) {
            placed.writeError = target.tryToWrite({bytes + slice * sliceBytes, sliceBytes}, mPlaces[item][slice]);
        }
        return placed;
    }

    /// The one volume of the files, without findings.
    PlacedVolume assemble(std::vector<SliceFile> files) {
        require(!files.empty());
        mForetold = {};
        mCounts.clear();
        for (const SliceFile& file : files) {
            require(file.rows == files.front().rows && file.columns == files.front().columns);
            mForetold.add(file.samples.wanted);
            mCounts.push_back(file.samples.count);
        }
        PlacedVolume placed;
        SeriesSlices& slices = placed.slices;
        slices.samples = std::make_unique<VolumeBuffer>(mAddresses);
        slices.seriesNumber = seriesNumberOf(files);
        mAddresses.clear();
        for (SliceFile& file : files) {
            StoredSlices stored{.wanted = mForetold,
                                .sliceSamples =
                                    static_cast<std::size_t>(file.rows) * static_cast<std::size_t>(file.columns),
                                .count = file.samples.count};
            stored.samples = mAddresses.allocate(storedBytes(stored.count, stored.sliceSamples, mForetold.type()));
            slices.samples->add(stored);
            slices.rules.resize(slices.rules.size() + stored.count);
            std::ranges::move(file.slices, std::back_inserter(slices.slices));
        }
        // Without the samples slices at one place are findings, so that those are not needed to compare such slices.
        const VolumePlan plan = planVolumes(slices.slices, mOptions);
        require(plan.volumes.size() == 1 && plan.findings.empty() && plan.volumes.front().findings.empty() &&
                plan.volumes.front().order.size() == slices.slices.size() && plan.volumes.front().heights.empty());
        placed.all = assembleVolumes(slices, mOptions, false);
        require(placed.all.volumes.size() == 1 && placed.all.findings.empty() &&
                placed.all.volumes.front().findings.empty() && placed.all.volumes.front().label.empty() &&
                placed.all.volumes.front().slices == plan.volumes.front().order);
        return placed;
    }

    /// The slices of the series are those of its files, file by file; those of the volume are in its order.
    void setPlaces(const Volume& volume, std::uint64_t offset) {
        std::vector<std::uint64_t> placeOfSlice(volume.slices.size());
        for (std::size_t position = 0; position < volume.slices.size(); ++position) {
            placeOfSlice[volume.slices[position]] = offset;
            offset += volume.bytes[position].size();
        }
        auto next = placeOfSlice.begin();
        for (const std::size_t count : mCounts) {
            mPlaces.emplace_back(next, next + static_cast<std::ptrdiff_t>(count));
            next += static_cast<std::ptrdiff_t>(count);
        }
    }

    velmora::Host& mHost;
    const SeriesFiles& mSeries;
    const PlanOptions& mOptions;
    std::size_t mJobs;
    workers::SharedMemory mAddresses{false}; ///< for slices that are not in memory: nothing is written into it
    VolumeType mForetold{};                  ///< from attributes, later from the values
    std::vector<std::size_t> mCounts{};      ///< slices of each file
    std::vector<std::vector<std::uint64_t>> mPlaces{}; ///< by file and slice: where it begins in the file of the volume
    vint mType = 0;                                    ///< of the volume
    std::vector<std::byte> mSamples{};                 ///< of the current file of a process
    std::vector<std::byte> mConverted{};
};

} // namespace

std::optional<PlacedVolume> writePlacedVolume(velmora::Host& host, const SeriesFiles& series,
                                              const PlanOptions& options, std::size_t jobs,
                                              const OutputOfSeries& outputOf, const std::function<void()>& step) {
    try {
        return Placement(host, series, options, jobs).write(outputOf, step);
    } catch (const NotPlaced&) {
        return std::nullopt;
    } catch (const FileError&) {
        throw;
    } catch (
        const Error&) { // a volume that the format cannot hold, and the like: reading it the usual way reports that
        return std::nullopt;
    }
}

} // namespace radvex::volume
