#include <algorithm>
#include <filesystem>
#include <iostream>

#include "cli/Commands.h"
#include "cli/ProgressBar.h"
#include "cli/arguments/MediumOptions.h"
#include "cli/arguments/OutputRule.h"
#include "cli/arguments/PictureOptions.h"
#include "files/Errors.h"
#include "files/OutputFile.h"
#include "formats/json/Text.h"
#include "volume/BidsSidecar.h"
#include "volume/PlacedVolume.h"
#include "volume/SeriesReader.h"
#include "volume/VolumeAssembly.h"
#include "volume/VolumeDescription.h"
#include "volume/preview/VolumePreview.h"

namespace radvex::cli {

namespace {

struct VolumeOptions {
    std::string medium{};
    std::string output{};
    SelectionOptions selection{};
    PictureOptions picture{};
    std::string sort = "auto";
    bool largest = false;
    bool split = false;
    bool isFourD = false;
    bool resample = false;
    bool stored = false;
    bool rendered = false;
    OutputRule rule{};
    bool gzip = false;
    bool bids = false;
    std::string preview{};
    bool json = false;
    FileJobs jobs{};

    /// Whether one file is to become a volume, and no medium.
    bool isFile() const {
        std::error_code error;
        const bool isDirectory = medium.ends_with("DICOMDIR") || medium.ends_with("dicomdir");
        return !isDirectory && std::filesystem::is_regular_file(medium, error);
    }
    volume::SampleKind kind() const {
        return rendered ? volume::SampleKind::rendered
               : stored ? volume::SampleKind::stored
                        : volume::SampleKind::modality;
    }
    volume::PlanOptions plan() const {
        using Plan = volume::PlanOptions;
        return {.sort = sort == "instance"   ? Plan::Sort::instance
                        : sort == "position" ? Plan::Sort::position
                                             : Plan::Sort::automatic,
                .strangers = split     ? Plan::Strangers::split
                             : largest ? Plan::Strangers::leaveOut
                                       : Plan::Strangers::refuse,
                .isForced = rule.isForced(),
                .isResampled = resample};
    }
};

void checkUsage(const VolumeOptions& options) {
    const std::string extension = formats::volumeExtension(options.output);
    if (!formats::isVolumePath(options.output)) {
        throw UsageError("'" + options.output + "' has no known format: .nrrd, .nii, .nii.gz or .npy is expected.");
    }
    options.selection.check();
    (void)options.picture.rendering(); // finds wrong usage before anything is read
    if (!options.rendered && options.picture.choosesGrey()) {
        throw UsageError("Windows need --rendered; without it modality values are written.");
    }
    if (options.gzip && extension != ".nrrd" && options.output != "-") {
        throw UsageError("--gzip is for .nrrd; .nii.gz is always compressed.");
    }
    if (options.isFile() && options.selection.isGiven()) {
        throw UsageError("--patient, --study and --series choose among the files of a medium; " + options.medium +
                         " is one file.");
    }
    if (options.stored && !extension.starts_with(".nii")) {
        throw UsageError("--stored is for .nii and .nii.gz, which hold slope and intercept beside stored values.");
    }
    if (options.bids && !extension.starts_with(".nii")) {
        throw UsageError("--bids is for .nii and .nii.gz.");
    }
    if (!options.preview.empty() && !options.preview.ends_with(".png")) {
        throw UsageError("--preview '" + options.preview + "' has another format than .png.");
    }
    const std::pair<bool, const char*> exclusive[] = {{options.stored && options.rendered, "--stored and --rendered"},
                                                      {options.stored && options.resample, "--stored and --resample"},
                                                      {options.largest && options.split, "--largest and --split"}};
    for (const auto& [areBoth, names] : exclusive) {
        if (areBoth) {
            throw UsageError(std::string(names) + " exclude each other.");
        }
    }
}

/// Puts text in front of the extension: OUT.nrrd becomes OUT-echo2.nrrd.
std::string withSuffix(const std::string& path, const std::string& extension, const std::string& suffix) {
    return path.substr(0, path.size() - extension.size()) + suffix + extension;
}

/// OUT.nrrd becomes OUT-0002-7.nrrd for the second series when its SeriesNumber is 7.
std::string suffixOfSeries(std::size_t number, const std::string& seriesNumber) {
    const std::string name = formats::fileNamePart(seriesNumber, 16);
    return '-' + fileNumber(number) + (name.empty() ? "" : "-" + name);
}

/// Turns one series into volume files.
class SeriesRun {
  public:
    SeriesRun(Session& session, const VolumeOptions& options, const media::Medium& medium,
              const volume::SeriesFiles& series)
        : mSession(session), mOptions(options), mMedium(medium), mSeries(series) {}

    /// Adds the JSON of each volume. @throws NoPicturesError, VolumeError, FileError, LibraryError
    void run(volume::SeriesReader& reader, std::size_t index, bool isOnly, formats::Json& list) {
        if (mayBePlaced() && writePlaced(index, isOnly, list)) {
            return;
        }
        volume::SeriesSlices slices = readShown(reader, index);
        if (mOptions.isFile() && !mOptions.rule.isForced()) {
            volume::requirePlacedFrames(slices, mOptions.medium + ": ", "; --force stacks them in their order");
        }
        volume::SeriesVolumes all = volume::assembleVolumes(slices, mOptions.plan(), mOptions.isFourD);
        const std::string suffix = isOnly ? "" : suffixOfSeries(index + 1, slices.seriesNumber);
        const std::string path = pathWith(suffix);
        if (path == "-" && all.volumes.size() > 1) {
            throw formats::VolumeError("The series holds " + std::to_string(all.volumes.size()) +
                                       " volumes, which cannot all go to the standard output; --4d joins them.");
        }
        tell(path, all.findings);
        for (const volume::Volume& volume : all.volumes) {
            const std::string own = pathWith(suffix + volume.label);
            tell(own, volume.findings);
            mOptions.rule.check({own}, {mOptions.medium});
            const bool isWritten = mOptions.rule.isForced() || !(all.hasErrors() || volume.hasErrors());
            if (!mOptions.preview.empty()) { // of a refused volume too: it shows what is wrong
                writePreview(withSuffix(mOptions.preview, ".png", suffix + volume.label), own, all, volume);
            }
            if (isWritten) {
                noteLeftOut(all.findings);
                noteLeftOut(volume.findings);
                write(own, volume);
                if (mOptions.bids) {
                    writeSidecar(own, slices, volume);
                }
            } else {
                mSession.reportRefusal("", own + " is not written; --force writes it all the same.");
            }
            list.push_back(describe(slices, all, volume, isWritten ? formats::Json(own) : formats::Json()));
        }
    }

  private:
    /// Whether the samples are needed for nothing but the file, which has them as they are.
    bool mayBePlaced() const {
        const std::string extension = formats::volumeExtension(mOptions.output);
        return mOptions.kind() == volume::SampleKind::modality && !mOptions.isFile() && !mOptions.isFourD &&
               !mOptions.resample && !mOptions.gzip && mOptions.preview.empty() &&
               (extension == ".nrrd" || extension == ".nii" || extension == ".npy") &&
               mMedium.listing().leftOut.refused.empty();
    }

    /// Writes the one volume of an ordinary series without holding it in memory. @return false: nothing was written
    bool writePlaced(std::size_t index, bool isOnly, formats::Json& list) {
        std::optional<volume::PlacedVolume> placed;
        std::string path;
        {
            ProgressBar bar("Reading series " + mSeries.series); // erased before anything else is printed
            std::size_t done = 0;
            const auto outputOf = [&](const std::string& seriesNumber) {
                path = pathWith(isOnly ? "" : suffixOfSeries(index + 1, seriesNumber));
                mOptions.rule.check({path}, {mOptions.medium});
                return mOptions.rule.to(path);
            };
            placed = volume::writePlacedVolume(mSession.host(), mSeries, mOptions.plan(), mOptions.jobs.count(),
                                               outputOf, [&] { bar.show(++done, mSeries.files.size()); });
        }
        if (!placed) {
            return false;
        }
        const volume::Volume& volume = placed->all.volumes.front();
        printSummary(path, volume);
        if (mOptions.bids) {
            writeSidecar(path, placed->slices, volume);
        }
        list.push_back(describe(placed->slices, placed->all, volume, formats::Json(path)));
        return true;
    }

    volume::SeriesSlices readShown(volume::SeriesReader& reader, std::size_t index) const {
        ProgressBar bar("Reading series " + mSeries.series); // erased before anything else is printed
        std::size_t done = 0;
        return reader.read(index, [&] { bar.show(++done, mSeries.files.size()); });
    }

    void tell(const std::string& path, const std::vector<volume::Finding>& findings) const {
        for (const volume::Finding& finding : findings) {
            const bool isRefusal = finding.isError && !mOptions.rule.isForced();
            printError((isRefusal ? "" : "warning: ") + path + ": " + finding.sentence);
        }
    }

    /// Files that a volume written by force lacks are named, and the run is then not all done.
    void noteLeftOut(const std::vector<volume::Finding>& findings) const {
        const bool isAny = std::ranges::any_of(findings, [](const volume::Finding& finding) {
            return finding.isError && finding.kind == volume::FindingKind::unreadableFile;
        });
        if (isAny) {
            mSession.leaveOut();
        }
    }

    /// The volume with this suffix.
    std::string pathWith(const std::string& suffix) const {
        const std::string& path = mOptions.output;
        return path == "-" ? path : withSuffix(path, formats::volumeExtension(path), suffix);
    }

    /// The bytes with neighbours joined, since one large write is faster than many small ones.
    static std::vector<formats::SliceBytes> joined(const volume::Volume& volume) {
        std::vector<formats::SliceBytes> slices;
        for (const formats::SliceBytes& slice : volume.bytes) {
            const bool isNext = !slices.empty() && slices.back().data() + slices.back().size() == slice.data();
            if (isNext) {
                slices.back() = {slices.back().data(), slices.back().size() + slice.size()};
            } else {
                slices.push_back(slice);
            }
        }
        return slices;
    }

    void writeSidecar(const std::string& path, const volume::SeriesSlices& slices, const volume::Volume& volume) const {
        const std::string base = path.substr(0, path.size() - formats::volumeExtension(path).size());
        const std::string& first = slices.slices[volume.slices.front()].file;
        files::writeOutputText(mOptions.rule.to(base + ".json"),
                               formats::dumpJson(volume::bidsSidecar(mSession.host(), first)) + '\n');
        if (const auto weightings = volume::weightingsOf(slices, volume); !weightings.empty()) {
            files::writeOutputText(mOptions.rule.to(base + ".bval"), volume::bvalText(weightings));
            if (volume.header.geometry.hasPosition) {
                files::writeOutputText(mOptions.rule.to(base + ".bvec"),
                                       volume::bvecText(weightings, volume.header.geometry));
            } else {
                printError("warning: " + base + ".bvec is not written: without a position the volume has no axes.");
            }
        }
    }

    void writePreview(const std::string& path, const std::string& name, const volume::SeriesVolumes& all,
                      const volume::Volume& volume) const {
        volume::PreviewText text{.title = name, .unit = volume.header.unit, .findings = all.findings};
        text.findings.insert(text.findings.end(), volume.findings.begin(), volume.findings.end());
        formats::VolumeHeader header = volume.header;
        auto bytes = volume.bytes;
        bytes.resize(static_cast<std::size_t>(header.slices)); // the first of several volumes
        header.volumes = 1;
        volume::writePreview(mOptions.rule.to(path), header, bytes, text);
    }

    void write(const std::string& path, const volume::Volume& volume) const {
        formats::writeVolume(mOptions.rule.to(path), volume.header, joined(volume), mOptions.gzip);
        printSummary(path, volume);
    }

    void printSummary(const std::string& path, const volume::Volume& volume) const {
        if (!mOptions.json && path != "-" && !Messages::ofThisRun().isQuiet) {
            std::cout << formats::printable(path) << ": " << volume::volumeSummary(volume.header) << '\n';
        }
    }

    formats::Json describe(const volume::SeriesSlices& slices, const volume::SeriesVolumes& all,
                           const volume::Volume& volume, const formats::Json& written) const {
        formats::Json json = volume::describeVolume(mSeries, slices, all, volume, mOptions.kind());
        json["written"] = written;
        json["sort"] = mOptions.sort;
        return json;
    }

    Session& mSession;
    const VolumeOptions& mOptions;
    const media::Medium& mMedium;
    const volume::SeriesFiles& mSeries;
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

std::vector<std::string> firstFilesOf(const std::vector<volume::SeriesFiles>& all) {
    std::vector<std::string> files;
    files.reserve(all.size());
    for (const volume::SeriesFiles& series : all) {
        if (!series.files.empty()) { // records may list none
            files.push_back(series.files.front());
        }
    }
    return files;
}

void run(Session& session, const VolumeOptions& options) {
    checkUsage(options);
    options.rule.check({options.output, options.preview}, {options.medium});
    const bool isFile = options.isFile();
    const auto opened = isFile ? std::make_unique<media::Medium>(media::Medium::SingleFile{options.medium})
                               : openMedium(options.medium, options.jobs);
    const media::Medium& medium = *opened;
    const auto all = isFile ? std::vector{volume::seriesOfFile(session.host(), options.medium)}
                            : requireSeries(session, medium, options);
    if (options.rendered) {
        warnAboutWindow(session.host(), firstFilesOf(all), options.picture.rendering(), options.jobs);
    }
    volume::SeriesReader reader(session.host(), medium, all, options.kind(), options.picture.rendering(),
                                options.jobs.count());
    formats::Json list = formats::Json::array();
    for (std::size_t index = 0; index < all.size(); ++index) {
        const volume::SeriesFiles& series = all[index];
        const auto refuse = [&](const std::string& message) {
            list.push_back(refused(series, message));
            session.reportRefusal(all.size() == 1 ? "" : "Series " + series.series, message);
        };
        try {
            SeriesRun(session, options, medium, series).run(reader, index, all.size() == 1, list);
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
            refuse(error.what());
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
    command.addRequired("MEDIUM", options.medium,
                        "DICOMDIR, a folder of DICOM files, or one file whose frames are slices", Takes::Path);
    command.addRequired("-o,--output", options.output,
                        "Volume to write: .nrrd, .nii, .nii.gz or .npy; several series become numbered files; - for "
                        "the standard output, as NRRD",
                        Takes::File);
    options.selection.addTo(command);
    command.addChoice("--sort", options.sort, {"auto", "instance", "position"},
                      "Order of the slices: instance (InstanceNumber), position, or auto: by position if the other "
                      "order is none in space");
    command.addFlag("--largest", options.largest, "Leave out slices that do not fit the largest stack (localizers)");
    command.addFlag("--split", options.split, "Write slices that do not fit together as volumes of their own");
    command.addFlag("--4d", options.isFourD, "Join the volumes of a series (points in time, echoes) to one file");
    command.addFlag("--resample", options.resample, "Interpolate unevenly spaced slices to an even volume");
    command.addFlag("--stored", options.stored, "Write stored values, with slope and intercept in the header (NIfTI)");
    options.rule.addTo(command, "Also write when slices are missing, duplicated or do not fit together");
    command.addFlag("--rendered", options.rendered, "Write windowed pictures, not modality values");
    options.picture.addSeriesWindowTo(command);
    command.addFlag("--bids", options.bids,
                    "Write what the files say about the acquisition beside .nii as .json, and .bval and .bvec of "
                    "diffusion-weighted images");
    command.addOption("--preview", options.preview, "Picture of the middle slices and of what was found, as .png",
                      Takes::File);
    command.addFlag("--gzip", options.gzip, "Compress the samples of .nrrd");
    command.addFlag("--json", options.json, "Describe findings and written volumes as JSON");
    options.jobs.addTo(command);
    command.addExample("radvex volume SERIES -o ct.nii.gz", "The series of a folder as a volume in HU");
    command.addExample("radvex volume SERIES -o lung.nrrd --rendered --window lung", "Grey levels under a lung window");
    command.addExample("radvex volume ct.dcm -o slice.nrrd", "One file; several frames become slices");
}

} // namespace radvex::cli
