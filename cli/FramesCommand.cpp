#include <iostream>

#include "cli/Commands.h"
#include "cli/arguments/Files.h"
#include "formats/json/LosslessJson.h"
#include "formats/json/Text.h"

namespace radvex::cli {

namespace {

struct FramesOptions {
    FileArguments files{};
    FileJobs jobs{};
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

std::string describe(const std::string& file, const Counts& counts) {
    const auto shown = [](vint number) { return std::to_string(number) + (number == 0 ? " (not given)" : ""); };
    return formats::printable(file) + ": frames " + shown(counts.frames) + ", representative frame " +
           shown(counts.representativeFrame) + ", overlays " + std::to_string(counts.overlays) + '\n';
}

std::string describeAsJson(const std::string& file, const Counts& counts) {
    return formats::dumpJson({{"file", file},
                              {"frames", counts.frames},
                              {"representativeFrame", counts.representativeFrame},
                              {"overlays", counts.overlays}});
}

void run(Session& session, const FramesOptions& options) {
    const auto read = [&](const std::string& file) {
        const Counts counts = readCounts(session.host(), file);
        session.host().call("CloseReader", {file});
        return options.json ? describeAsJson(file, counts) : describe(file, counts);
    };
    std::string list;
    // The library's messages name the file in these calls.
    options.jobs.forEach(session, options.files.all(), false, read, [&](const std::string&, const std::string& text) {
        if (options.json) {
            list += (list.empty() ? "" : ",") + text;
        } else {
            std::cout << text;
        }
    });
    if (options.json) {
        std::cout << '[' << list << "]\n";
    }
}

} // namespace

void addFramesCommand(const CommandLine& program, Session& session) {
    const auto [command, options] = addCommand<FramesOptions>(
        program, session, "frames", "Print the numbers of frames and overlays, and the representative frame", run);
    options.files.addTo(command);
    command.addFlag("--json", options.json, "Print a JSON list with one object for each file");
    options.jobs.addTo(command);
    command.addExample("radvex frames cine.dcm", "How many frames and overlays a file has");
    command.addExample("radvex frames --json SERIES/*.dcm", "The same of several files, for programs");
}

} // namespace radvex::cli
