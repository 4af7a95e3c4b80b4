#include "FileArguments.h"

#include "Session.h"

namespace radvex::cli {

void FileArguments::addTo(CLI::App* app) {
    mCommand = app;
    app->add_option("FILE", mFirst, "DICOM file; more may follow")->required();
    app->allow_extras();
}

std::vector<std::string> FileArguments::all() const {
    std::vector<std::string> files{mFirst};
    for (const std::string& word : mCommand->remaining()) {
        if (word.size() > 1 && word.front() == '-') {
            throw UsageError("There is no option " + word + ". A file of that name is ./" + word + ".");
        }
        files.push_back(word);
    }
    return files;
}

} // namespace radvex::cli
