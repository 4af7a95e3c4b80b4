#include <filesystem>
#include <iostream>

#include "cli/Commands.h"
#include "cli/ProgressBar.h"
#include "cli/arguments/MediumOptions.h"
#include "cli/arguments/PictureOptions.h"
#include "files/Errors.h"
#include "files/OutputFile.h"
#include "formats/json/Text.h"
#include "formats/json/TypeNames.h"
#include "volume/ModalityVolumes.h"
#include "volume/RenderedVolume.h"
#include "volume/SliceGeometry.h"
#include "volume/SliceJudge.h"

namespace radvex::cli {

namespace {

struct VolumeOptions {
    std::string medium{};
    std::string output{};
    SelectionOptions selection{};
    PictureOptions picture{};
    std::string sort = "instance";
    bool rendered = false;
    bool force = false;
    bool gzip = false;
    bool json = false;
    FileJobs jobs{};
};

void checkUsage(const VolumeOptions& options) {
    if (!formats::isVolumePath(options.output)) {
        throw UsageError("'" + options.output + "' has no known format: .nrrd, .nii, .nii.gz or .npy is expected.");
    }
    options.selection.check();
    (void)options.picture.rendering(); // finds wrong usage before anything is read
    if (!options.rendered && options.picture.choosesGrey()) {
        throw UsageError("Windows need --rendered; without it modality values are written.");
    }
    if (options.gzip && formats::volumeExtension(options.output) != ".nrrd" && options.output != "-") {
        throw UsageError("--gzip is for .nrrd; .nii.gz is always compressed.");
    }
}

/// OUT.nrrd becomes OUT-0002-7.nrrd for the second series when its SeriesNumber is 7.
std::string pathOfSeries(const std::string& output, std::size_t number, const std::string& seriesNumber) {
    const std::string extension = formats::volumeExtension(output);
    const std::string name = formats::fileNamePart(seriesNumber, 16);
    return output.substr(0, output.size() - extension.size()) + '-' + fileNumber(number) +
           (name.empty() ? "" : "-" + name) + extension;
}

/// Turns one series into a volume file.
class SeriesRun {
  public:
    /// Reads the series and calls `step` for each file.
    using Read = std::function<volume::SeriesVolume(const std::function<void()>& step)>;

    SeriesRun(Session& session, const VolumeOptions& options, const volume::SeriesFiles& series)
        : mSession(session), mOptions(options), mSeries(series) {}

    /// Returns the JSON of the series. @throws NoPicturesError, VolumeError, FileError, LibraryError
    formats::Json run(const Read& read, std::size_t number, bool isOnly) {
        volume::SeriesVolume volume = readShown(read);
        volume::Verdict verdict = volume::judgeSlices(volume.slices);
        verdict.findings.insert(verdict.findings.end(), volume.findings.begin(), volume.findings.end());
        mPath = isOnly ? mOptions.output : pathOfSeries(mOptions.output, number, volume.seriesNumber);
        const bool isSorted = mOptions.sort == "position";
        if (isSorted) {
            requireSortable(verdict);
        }
        const auto& order = isSorted ? verdict.byPosition : verdict.byInstance;
        volume.header.geometry = volume::geometryOf(volume.slices, verdict, order);
        if (mOptions.rendered && !verdict.hasOneNumberEach) {
            volume.header.geometry.hasPosition = false; // nobody knows which slice is which
        }
        const bool isWritten = !verdict.hasErrors() || mOptions.force;
        tell(verdict, volume.header.geometry);
        if (isWritten) {
            write(volume, order);
        }
        return describe(volume, verdict, order, isWritten);
    }

  private:
    volume::SeriesVolume readShown(const Read& read) const {
        ProgressBar bar("Reading series " + mSeries.series); // erased before anything else is printed
        std::size_t done = 0;
        return read([&] { bar.show(++done, mSeries.files.size()); });
    }

    void requireSortable(const volume::Verdict& verdict) const {
        if (!verdict.hasPositions) {
            throw formats::VolumeError("The slices have no positions to sort them by.");
        }
        if (mOptions.rendered && !verdict.hasOneNumberEach) {
            throw formats::VolumeError(
                "Several files have the same InstanceNumber, so that the slices of a rendered volume cannot be told "
                "apart and sorted by position; without --rendered they can.");
        }
    }

    void tell(const volume::Verdict& verdict, const formats::VolumeGeometry& geometry) const {
        for (const volume::Finding& finding : verdict.findings) {
            const bool isRefusal = finding.isError && !mOptions.force;
            printError((isRefusal ? "" : "warning: ") + mPath + ": " + finding.sentence);
        }
        if (verdict.hasErrors() && !mOptions.force) {
            mSession.reportRefusal("", mPath + " is not written; --force writes it all the same.");
        } else if (verdict.hasPositions && !geometry.hasPosition) {
            printError("warning: " + mPath +
                       ": In this order the slices have no geometry in space; the file only states their spacings.");
        }
    }

    void write(const volume::SeriesVolume& volume, const std::vector<std::size_t>& order) const {
        std::vector<formats::SliceBytes> slices;
        for (const std::size_t index : order) {
            const formats::SliceBytes slice = volume.bytes[index];
            const bool isNext = !slices.empty() && slices.back().data() + slices.back().size() == slice.data();
            if (isNext) { // one large write is faster than many small ones
                slices.back() = {slices.back().data(), slices.back().size() + slice.size()};
            } else {
                slices.push_back(slice);
            }
        }
        formats::writeVolume(mPath, volume.header, slices, mOptions.gzip);
        if (!mOptions.json && mPath != "-") {
            std::cout << formats::printable(mPath) << ": " << volume::volumeSummary(volume.header) << '\n';
        }
    }

    formats::Json describe(const volume::SeriesVolume& volume, const volume::Verdict& verdict,
                           const std::vector<std::size_t>& order, bool isWritten) const {
        const formats::VolumeHeader& header = volume.header;
        std::vector<std::string> names;
        names.reserve(order.size());
        for (const std::size_t index : order) {
            names.push_back(volume.slices[index].name());
        }
        std::vector<vint> shape{header.slices, header.rows, header.columns};
        if (header.channels > 1) {
            shape.push_back(header.channels);
        }
        return {{"patient", mSeries.patient},
                {"study", mSeries.study},
                {"series", mSeries.series},
                {"seriesNumber", volume.seriesNumber},
                {"written", isWritten ? formats::Json(mPath) : formats::Json()},
                {"values", mOptions.rendered ? "rendered" : "modality"},
                {"type", formats::typeName(formats::kArrayTypeNames, header.type)},
                {"shape", shape},
                {"sort", mOptions.sort},
                {"geometry", volume::describeGeometry(header.geometry)},
                {"tiltDegrees", verdict.tiltDegrees ? formats::Json(*verdict.tiltDegrees) : formats::Json()},
                {"findings", volume::describeFindings(verdict.findings)},
                {"slices", names}};
    }

    Session& mSession;
    const VolumeOptions& mOptions;
    const volume::SeriesFiles& mSeries;
    std::string mPath{};
};

/// The JSON of a series that gives no volume.
formats::Json refused(const volume::SeriesFiles& series, const std::string& message) {
    return {{"patient", series.patient},
            {"study", series.study},
            {"series", series.series},
            {"written", nullptr},
            {"error", message}};
}

/// @throws VolumeError  nothing matches, or the library cannot read the directory
std::vector<volume::SeriesFiles> requireSeries(Session& session, const media::Medium& medium,
                                               const VolumeOptions& options) {
    std::vector<volume::SeriesFiles> all = volume::seriesOf(
        media::listMedium(session.host(), medium, options.selection, media::Records::keys, options.jobs.count()));
    if (all.empty()) {
        throw formats::VolumeError(options.medium + " holds no series that matches.");
    }
    if (all.size() > 1 && options.output == "-") {
        throw UsageError("Several series cannot go to the standard output: choose one with --series.");
    }
    return all;
}

void run(Session& session, const VolumeOptions& options) {
    checkUsage(options);
    const auto opened = openMedium(options.medium, options.jobs);
    const media::Medium& medium = *opened;
    const auto all = requireSeries(session, medium, options);
    std::optional<volume::ModalityVolumes> values;
    if (!options.rendered) {
        values.emplace(session.host(), medium, all, options.jobs.count());
    }
    const auto read = [&](std::size_t index, const std::function<void()>& step) {
        return values ? values->read(index, step)
                      : readRenderedVolume({session.host(), medium, options.selection, step}, all[index],
                                           options.picture.rendering().scalingTensor());
    };
    formats::Json list = formats::Json::array();
    for (std::size_t index = 0; index < all.size(); ++index) {
        const volume::SeriesFiles& series = all[index];
        const auto refuse = [&](const std::string& message) {
            list.push_back(refused(series, message));
            session.reportRefusal(all.size() == 1 ? "" : "Series " + series.series, message);
        };
        try {
            const auto readThis = [&](const std::function<void()>& step) { return read(index, step); };
            list.push_back(SeriesRun(session, options, series).run(readThis, index + 1, all.size() == 1));
        } catch (const volume::NoPicturesError& error) {
            if (all.size() == 1) {
                refuse(error.what());
            } else { // a medium may hold reports and other series without pictures
                list.push_back(refused(series, error.what()));
                printError("warning: Series " + series.series + ": " + error.what());
            }
        } catch (const FileError&) { // the next series could not be written either
            throw;
        } catch (const Error& error) {
            refuse(error.what());
        } catch (const velmora::LibraryError& error) {
            refuse(medium.userText(error.what()));
        }
    }
    if (options.json) {
        (options.output == "-" ? std::cerr : std::cout) << formats::dumpJson(list) << '\n';
    }
}

} // namespace

void addVolumeCommand(const CommandLine& program, Session& session) {
    const auto [command, options] =
        addCommand<VolumeOptions>(program, session, "volume", "Write each series of a medium as one volume file", run);
    command.addRequired("MEDIUM", options.medium, "DICOMDIR, or a folder of DICOM files");
    command.addRequired("-o,--output", options.output,
                        "Volume to write: .nrrd, .nii, .nii.gz or .npy; several series become numbered files; - for "
                        "the standard output, as NRRD");
    options.selection.addTo(command);
    command.addChoice("--sort", options.sort, {"instance", "position"},
                      "Order of the slices: instance (InstanceNumber) or position");
    command.addFlag("--force", options.force, "Write even when slices are missing, duplicated or do not fit together");
    command.addFlag("--rendered", options.rendered, "Write windowed pictures, not modality values");
    options.picture.addSeriesWindowTo(command);
    command.addFlag("--gzip", options.gzip, "Compress the samples of .nrrd");
    command.addFlag("--json", options.json, "Describe findings and written volumes as JSON");
    options.jobs.addTo(command);
}

} // namespace radvex::cli
