#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>

#include "files/EndSignals.h"
#include "host/Declarations.h"
#include "media/scan/FileDiagnosis.h"
#include "python/worker/Jobs.h"

// The program that does the work of the Python module on folders: it starts processes that read files, which an
// interpreter with several threads could not do safely, and nothing that a file does to it reaches the interpreter.
//
//     radvex-worker SOCKET PATH
//
// SOCKET is the number of an open descriptor. The request, a JSON object, comes over it, and not in the arguments:
// every user of the machine sees those, and it may name a patient. The answer goes the same way. The last message is
// {"done"} or {"error"}; without one of them the program was ended.

namespace radvex::python {

namespace {

void work(const Request& request, Messages& messages) {
    if (request.job == "walk") { // without the library
        return sendFiles(request, messages);
    }
    if (request.job == "count") {
        return sendCount(request, messages);
    }
    const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "lib";
    const auto host = velmora::Host::load((folder / "Radvex.so").string(), velmora::radvexDeclarations());
    try {
        if (request.job == "tree") {
            sendTree(*host, request, messages);
        } else if (request.job == "volumes") {
            sendVolumes(*host, request, messages);
        } else if (request.job == "verdicts") {
            sendVerdicts(*host, request, messages);
        } else if (request.job == "describe") {
            sendRows(*host, request, messages);
        } else {
            throw UsageError("'" + request.job + "' is no work.");
        }
    } catch (const velmora::LibraryError& error) {
        throw velmora::LibraryError(error.code(), error.name(), media::explain(error, request.path, request.path),
                                    error.parameters());
    }
}

/// @return what went wrong as JSON; null if nothing did
formats::Json attempt(const std::string& path, const std::string& json, Messages& messages) {
    try {
        work(Request::parse(path, json), messages);
        return nullptr;
    } catch (const velmora::LibraryError& error) {
        return {{"kind", "library"},
                {"sentence", error.what()},
                {"code", error.code()},
                {"name", error.name()},
                {"parameters", error.parameters()}};
    } catch (const formats::VolumeError& error) {
        return {{"kind", "volume"}, {"sentence", error.what()}};
    } catch (const UsageError& error) {
        return {{"kind", "usage"}, {"sentence", error.what()}};
    } catch (const formats::JsonError& error) {
        return {{"kind", "usage"}, {"sentence", error.what()}};
    } catch (const Error& error) {
        return {{"kind", "file"}, {"sentence", error.what()}};
    } catch (const std::exception& error) {
        return {{"kind", "host"}, {"sentence", error.what()}};
    }
}

} // namespace

} // namespace radvex::python

int main(int argc, char** argv) {
    using namespace radvex;
    if (argc != 3) {
        std::cerr << "radvex-worker: this program is started by the Python module radvex.\n";
        return kUsage;
    }
    files::removeFoldersOnEndSignals();
    python::Messages messages(static_cast<int>(std::strtol(argv[1], nullptr, 10)));
    try {
        const formats::Json error = python::attempt(argv[2], messages.receive(), messages);
        messages.send(error.is_null() ? formats::Json{{"done", true}} : formats::Json{{"error", error}});
        return kDone;
    } catch (const std::exception&) { // nobody listens
        return kRefused;
    }
}
