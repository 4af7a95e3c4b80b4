#include "volume/slices/SliceFile.h"

#include "media/scan/FileDiagnosis.h"
#include "media/scan/FileStart.h"
#include "volume/slices/FileMetadata.h"
#include "volume/slices/FileWindow.h"
#include "volume/slices/KnownScaling.h"
#include "volume/slices/Mosaic.h"
#include "volume/slices/PixelMeaning.h"
#include "volume/slices/PrivateElement.h"
#include "workers/Parcel.h"

namespace radvex::volume {

namespace {

constexpr vint kStoredValues = 0x40; // image flag: no modality transformation

/// Closes the reader of a file, whatever becomes of it.
class ClosingReader {
  public:
    ClosingReader(velmora::Host& host, const std::string& path) : mHost(host), mPath(path) {}
    ~ClosingReader() {
        try {
            mHost.call("CloseReader", {mPath});
        } catch (const std::exception&) { // the file was never opened
        }
    }
    ClosingReader(const ClosingReader&) = delete;
    ClosingReader& operator=(const ClosingReader&) = delete;

  private:
    velmora::Host& mHost;
    const std::string& mPath;
};

velmora::Value valuesOf(velmora::Host& host, const std::string& path, const FileMetadata& metadata, bool areStored) {
    const vint flags = media::kImageFlags | (areStored ? kStoredValues : 0);
    velmora::Value values = host.call("ReadIntermediatePixelData", {path, flags, 0});
    if (!values.is<velmora::NumericArray>()) {
        throw formats::VolumeError(metadata.name() + ": DCMTK's intermediate values have no array type.");
    }
    return values;
}

void readSamples(velmora::Host& host, const std::string& path, const FileMetadata& metadata, SampleKind kind,
                 const Allocate& allocate, SliceFile& file) {
    if (kind == SampleKind::stored && metadata.needsLibrary()) {
        throw formats::VolumeError(metadata.name() + " has a modality table in place of slope and intercept, which "
                                                     "stored values cannot keep; without --stored they are applied.");
    }
    requireKnownScaling(metadata, path);
    // Stored values are rescaled here: the library would truncate fractions to integers, and DCMTK is slower.
    const velmora::Value values = valuesOf(host, path, metadata, !metadata.needsLibrary());
    const VelmoraNumericArray& array = *values.get<velmora::NumericArray>().handle();
    const vint frames = array.dimensions.size() > 2 ? array.dimensions.front() : 1;
    const auto samples = static_cast<std::size_t>(file.rows) * static_cast<std::size_t>(file.columns); // 16-bit each
    auto rules = metadata.rules(frames);
    if (kind == SampleKind::stored) {
        file.rules = rules;
        for (ModalityRule& rule : rules) {
            rule.slope = 1;
            rule.intercept = 0;
        }
    }
    file.samples = storeSlices(allocate, samples, array, rules);
}

/// The pictures of ReadImageData, which unlike ReadImage never gives raw values for a file that cannot be rendered.
void readPictures(velmora::Host& host, const std::string& path, const FileMetadata& metadata,
                  const media::Rendering& wanted, const Allocate& allocate, SliceFile& file) {
    const media::Rendering rendering = renderingOf(host, path, metadata.name(), wanted, kAllFrames);
    const velmora::Value pictures =
        host.call("ReadImageData", {path, 0, 0, rendering.scalingTensor(), false, media::kImageFlags});
    file.samples = storePictures(allocate, file.rows, file.columns, pictures.get<velmora::Store>().view());
}

/// Makes the tiles of a picture slices of their own, if the file tells where they lie.
void unpackMosaic(velmora::Host& host, const std::string& path, SliceFile& file) {
    if (file.slices.size() != 1) {
        file.mosaicProblem = "the file has several frames of them";
        return;
    }
    const MosaicAttributes attributes{privateValues(host, path, 0x0019, "SIEMENS MR HEADER", 0x0A),
                                      privateValues(host, path, 0x0029, "SIEMENS CSA HEADER", 0x10)};
    const TilingVerdict verdict = tilingOf(file.slices.front(), attributes);
    file.mosaicProblem = verdict.problem;
    if (verdict.problem.empty()) {
        file.slices = tilesOf(file.slices.front(), verdict.tiling);
        if (!file.rules.empty()) {
            file.rules.assign(file.slices.size(), ModalityRule(file.rules.front()));
        }
        if (file.bytes() > 0) {
            unpackTiles(file.samples, file.rows, file.columns, verdict.tiling);
        }
    }
}

bool isDecodable(const std::string& path) {
    return media::undecodedSyntaxName(media::FileStart(path).transferSyntax()).empty();
}

/// Refuses what would be refused if the samples were read, as far as attributes tell it.
StoredSlices promisedSlices(const std::string& path, const FileMetadata& metadata) {
    constexpr vint kMost = 1 << 16;
    if (metadata.promisedFrames() > kMost) {
        throw formats::VolumeError(metadata.name() + ": NumberOfFrames " + std::to_string(metadata.promisedFrames()) +
                                   " is more than a volume has slices.");
    }
    StoredSlices slices{.count = static_cast<std::size_t>(metadata.promisedFrames()), .isPicture = metadata.isColour()};
    if (!metadata.isColour()) {
        requireKnownScaling(metadata, path);
        for (const ModalityRule& rule : metadata.rules(metadata.promisedFrames())) {
            slices.wanted.add(rule, {}); // as if all stored values were 0
        }
    }
    return slices;
}

void readAnySamples(velmora::Host& host, const std::string& path, const FileMetadata& metadata,
                    const SliceReading& reading, const Allocate& allocate, SliceFile& file) {
    if (reading.kind == SampleKind::none) {
        file.samples = promisedSlices(path, metadata);
    } else if (metadata.isColour() || reading.kind == SampleKind::rendered) {
        readPictures(host, path, metadata, reading.rendering, allocate, file);
    } else {
        readSamples(host, path, metadata, reading.kind, allocate, file);
    }
}

} // namespace

SliceFile readSliceFile(velmora::Host& host, const std::string& path, const SliceReading& reading,
                        const Allocate& allocate) {
    const ClosingReader closing(host, path);
    SliceFile file;
    try {
        const FileMetadata metadata =
            reading.kind == SampleKind::none ? FileMetadata::ofAttributes(host, path) : FileMetadata(host, path);
        file.isKnown = true;
        file.seriesNumber = metadata.seriesNumber();
        file.rows = metadata.rows();
        file.columns = metadata.columns();
        if (file.rows < 1 || file.columns < 1) {
            return file;
        }
        requireKnownByteOrder(path, metadata.bitsAllocated());
        if (!metadata.isColour() && reading.kind == SampleKind::rendered &&
            (metadata.isRescaledByFrame() || metadata.isDose())) {
            throw formats::VolumeError(path +
                                       " has a rescale for each frame, or is a dose, whose scaling pictures would "
                                       "ignore; without --rendered it is applied.");
        }
        if (reading.kind == SampleKind::none && !isDecodable(path)) {
            file.reason = media::whyNoPicture(path);
            return file;
        }
        readAnySamples(host, path, metadata, reading, allocate, file);
        file.slices = metadata.slices(static_cast<vint>(file.samples.count));
        file.isShort = metadata.promisesMorePixels(path, file.samples.count);
        const auto pixels = static_cast<std::size_t>(file.rows) * static_cast<std::size_t>(file.columns);
        for (SliceRecord& slice : file.slices) {
            // three samples may be one grey level
            slice.isColour = file.bytes() > 0 ? file.samples.sliceSamples != pixels : metadata.isColour();
        }
        if (metadata.isMosaic()) {
            unpackMosaic(host, path, file);
        }
        if (!file.mosaicProblem.empty()) {
            for (SliceRecord& slice : file.slices) {
                slice.position.reset(); // that of the whole picture
            }
        }
        if (reading.kind == SampleKind::none) {
            file.samples.count = file.slices.size();
        }
    } catch (const velmora::LibraryError& error) {
        file.reason = media::explain(error, path, path);
    } catch (const Error& error) {
        file.refusal = error.what();
    }
    return file;
}

std::optional<ValueRange> rangeOfFile(velmora::Host& host, const std::string& path) {
    const ClosingReader closing(host, path);
    try {
        const FileMetadata metadata(host, path);
        if (metadata.isColour()) {
            return std::nullopt;
        }
        const velmora::Value values = valuesOf(host, path, metadata, !metadata.needsLibrary());
        const Statistics found = statisticsOf(*values.get<velmora::NumericArray>().handle());
        return rescaled({found.minimum, found.maximum}, metadata.rules(1).front()); // one rule for all frames
    } catch (const velmora::LibraryError&) {
        return std::nullopt;
    } catch (const Error&) {
        return std::nullopt;
    }
}

std::string toParcel(SliceFile file, const workers::SharedMemory& memory) {
    file.offset = file.bytes() == 0 ? 0 : memory.offsetOf(file.samples.samples);
    return workers::toParcel(file);
}

SliceFile fromParcel(const std::string& parcel, const std::string& name, const workers::SharedMemory& memory) {
    auto file = workers::fromParcel<SliceFile>(parcel);
    if (file.slices.size() != file.samples.count) {
        throw Error("A process described other slices than it sent.");
    }
    if (file.bytes() > 0) {
        file.samples.samples = memory.at(file.offset, file.bytes());
    }
    for (SliceRecord& slice : file.slices) {
        slice.file = name;
    }
    return file;
}

} // namespace radvex::volume
