#include "cli/arguments/ReplacementArguments.h"

#include "cli/arguments/Words.h"

namespace radvex::cli {

void ReplacementArguments::addTo(const CommandLine& command, const std::string& what) {
    command.addRepeatable("--set", mAssignments, "KEYWORD=VALUE: " + what, Takes::Assignment);
    command.addOption("--rules", mRules, "JSON file with an object of keywords and values: " + what, Takes::File);
}

deidentify::ReplacementRules ReplacementArguments::rules() const {
    deidentify::ReplacementRules rules;
    if (!mRules.empty()) {
        rules.read(mRules);
    }
    for (const std::string& word : mAssignments) {
        const Assignment assignment = parseAssignment("--set", word);
        rules.set(assignment.keyword, assignment.value);
    }
    return rules;
}

} // namespace radvex::cli
