#pragma once

#include <functional>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "formats/pictures/Picture.h"
#include "host/Host.h"
#include "host/Value.h"

namespace radvex::media {

/// The image flags of every call: those that the library's own callers pass.
inline constexpr vint kImageFlags = 1;

/// A window on the rescaled values, in their unit.
struct Window {
    double width = 1; ///< at least 1
    double center = 0;
};

/// A window that is asked for by name, so that its numbers depend on the file.
struct NamedWindow {
    std::string name{};             ///< as it was given: "lung", "file:2"
    std::optional<Window> preset{}; ///< in HU; nothing: one of the file's own
    std::size_t number = 1;         ///< of the file's own windows
    std::optional<Window> found{};  ///< what it is in a file, on modality values
};

/// lung, bone, brain, abdomen and mediastinum, which are in HU; "file" and "file:2" for windows of the file's own.
/// @return nothing for any other text
std::optional<NamedWindow> windowNamed(const std::string& name);
/// These names, without numbers behind them.
std::vector<std::string> windowNames();

/// How values become grey levels.
struct Rendering {
    enum class Scaling {
        minMax,       ///< from the smallest to the largest value of a picture
        trimmed,      ///< the same, without extreme values
        none,         ///< what DCMTK does by default
        commonWindow, ///< one window for all pictures of a series, from its smallest to its largest value
    };

    Scaling scaling = Scaling::minMax;
    std::optional<Window> window{};     ///< used instead of the scaling
    std::optional<NamedWindow> named{}; ///< has to become a window of each file: see volume/slices/FileWindow.h
    std::optional<Window> given{};      ///< the window as it was asked for, where `window` is in other values
    bool hasOverlays = false;           ///< overlay planes are burnt into the pictures

    /// Window and scaling as the library takes them.
    velmora::Tensor scalingTensor() const;
};

/// The pictures of one file of a series.
struct ShownFile {
    bool isOpen = false;             ///< the library opened it, so the order of the series includes it
    long number = 0;                 ///< InstanceNumber, 0 for none
    std::string error{};             ///< why there is no picture; empty if there is one
    std::vector<std::string> pngs{}; ///< what was made of its pictures, mostly PNG files: one for each frame

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.isOpen, self.number, self.error, self.pngs);
    }
};

/// Makes files of the pictures of one DICOM file.
using EncodePictures = std::function<std::vector<std::string>(const std::vector<formats::Picture>& pictures)>;

/// Renders a file, each picture with its own window or the chosen one.
/// @param path  as the library takes it
ShownFile showFile(velmora::Host& host, const std::string& path, const Rendering& rendering,
                   const EncodePictures& encode);

/// Indices of the open files in the library's order of a series: by InstanceNumber, and for equal numbers in the order
/// that the library's sorting happens to leave.
std::vector<std::size_t> libraryOrder(const std::vector<ShownFile>& files);

} // namespace radvex::media
