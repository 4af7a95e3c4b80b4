#include "cli/arguments/FileArguments.h"

#include "cli/Session.h"

namespace radvex::cli {

void FileArguments::addTo(const CommandLine& command, const std::string& name, const std::string& description) {
    mCommand = command;
    command.addRequired(name, mFirst, description);
    command.allowMore();
}

std::vector<std::string> FileArguments::all() const {
    std::vector<std::string> files{mFirst};
    for (const std::string& word : mCommand->remaining()) {
        if (word.size() > 1 && word.front() == '-') {
            std::string sentence = "There is no option " + word;
            throw UsageError(sentence.append(". A file of that name is ./").append(word).append("."));
        }
        files.push_back(word);
    }
    return files;
}

} // namespace radvex::cli
