#include <filesystem>
#include <iostream>

#include "cli/Commands.h"
#include "cli/arguments/OutputRule.h"
#include "files/Errors.h"
#include "files/OutputFile.h"
#include "formats/json/LosslessJson.h"
#include "formats/json/Text.h"
#include "formats/pictures/Png.h"

namespace radvex::cli {

using velmora::Image;
using velmora::Store;

namespace {

struct OverlaysOptions {
    std::string file{};
    std::string folder{};
    OutputRule rule{};
    bool json = false;
};

std::string nameOf(const OverlaysOptions& options, velmora::NodeView plane) {
    return (std::filesystem::path(options.folder) / ("overlay-" + std::string(plane.name()) + ".png")).string();
}

void describe(Session& session, const OverlaysOptions& options) {
    const velmora::Value result = session.host().call("ReadOverlays", {options.file});
    const Store& planes = result.get<Store>();
    for (const velmora::NodeView plane : planes) { // before the first is written
        options.rule.check({options.folder.empty() ? "" : nameOf(options, plane)}, {options.file});
    }
    if (!options.folder.empty() && planes.size() > 0) {
        std::error_code error;
        std::filesystem::create_directories(options.folder, error);
        if (error) {
            throw FileError(options.folder + " cannot be made: " + error.message() + ".");
        }
    }
    formats::Json list = formats::Json::array();
    for (const velmora::NodeView node : planes) {
        const Image plane = std::get<Image>(node.value());
        const std::string name(node.name());
        std::string written;
        if (!options.folder.empty()) {
            written = nameOf(options, node);
            formats::writePng(options.rule.to(written), formats::picturesOf(plane).front());
        }
        if (options.json) {
            list.push_back({{"plane", std::stoi(name)},
                            {"rows", plane.info().rows},
                            {"columns", plane.info().columns},
                            {"written", written.empty() ? formats::Json() : formats::Json(written)}});
        } else if (written.empty() || !Messages::ofThisRun().isQuiet) {
            std::cout << "plane " << name << ": " << plane.info().columns << " x " << plane.info().rows
                      << (written.empty() ? "" : ", " + formats::printable(written)) << '\n';
        }
    }
    if (options.json) {
        std::cout << formats::dumpJson(list) << '\n';
    } else if (planes.size() == 0) {
        std::cout << formats::printable(options.file) << " has no overlay planes.\n";
    }
}

void run(Session& session, const OverlaysOptions& options) {
    session.attemptFile(options.file, [&] { describe(session, options); });
}

} // namespace

void addOverlaysCommand(const CommandLine& program, Session& session) {
    const auto [command, options] = addCommand<OverlaysOptions>(
        program, session, "overlays", "Write the overlay planes of a file as one-bit PNG", run);
    command.addRequired("FILE", options.file, "DICOM file", Takes::File);
    command.addOption("-o,--output", options.folder, "Folder for overlay-1.png and so on; made when it is missing",
                      Takes::Folder);
    options.rule.addTo(command);
    command.addFlag("--json", options.json, "Print a JSON list of the planes");
    command.addExample("radvex overlays ct.dcm", "The overlay planes of a file");
    command.addExample("radvex overlays ct.dcm -o PLANES", "Each as a picture in black and white");
}

} // namespace radvex::cli
