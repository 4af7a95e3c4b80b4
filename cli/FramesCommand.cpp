#include <iostream>

#include "Commands.h"
#include "FileArguments.h"
#include "LosslessJson.h"
#include "Output.h"

namespace radvex::cli {

namespace {

struct FramesOptions {
    FileArguments files{};
    bool json = false;
};

struct Counts {
    vint frames;
    vint representativeFrame;
    vint overlays;
};

Counts readCounts(velmora::Host& host, const std::string& file) {
    return {host.call("GetFrameCount", {file}).get<vint>(),
            host.call("GetRepresentativeFrameIndex", {file}).get<vint>(),
            host.call("GetOverlayCount", {file}).get<vint>()};
}

void print(const std::string& file, const Counts& counts) {
    std::cout << printable(file) << ": frames " << counts.frames;
    if (counts.frames == 0) {
        std::cout << " (not given)";
    }
    std::cout << ", representative frame " << counts.representativeFrame;
    if (counts.representativeFrame == 0) {
        std::cout << " (not given)";
    }
    std::cout << ", overlays " << counts.overlays << '\n';
}

void run(Session& session, const FramesOptions& options) {
    Json list = Json::array();
    for (const std::string& file : options.files.all()) {
        session.attempt("", [&] {
            const Counts counts = readCounts(session.host(), file);
            if (options.json) {
                list.push_back({{"file", file},
                                {"frames", counts.frames},
                                {"representativeFrame", counts.representativeFrame},
                                {"overlays", counts.overlays}});
            } else {
                print(file, counts);
            }
            session.host().call("CloseReader", {file});
        });
    }
    if (options.json) {
        std::cout << dumpJson(list) << '\n';
    }
}

} // namespace

void addFramesCommand(const CommandLine& program, Session& session) {
    auto options = std::make_shared<FramesOptions>();
    const CommandLine command =
        program.addCommand("frames", "Say how many frames and overlays a file has, and which frame represents it");
    options->files.addTo(command);
    command.addFlag("--json", options->json, "Print a JSON list with one object for each file");
    command.setAction([&session, options] { run(session, *options); });
}

} // namespace radvex::cli
