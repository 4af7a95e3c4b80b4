#include "dicom/metadata/TagNaming.h"

#include <cstdio>
#include <ctime>
#include <iomanip>
#include <sstream>
#include <unordered_map>

#include "bridge/ErrorManager.h"
#include "dcmtk/dcmdata/dcdicent.h"

namespace radvex {

const DcmDataDictionary GeneralInfoMap(OFTrue, OFFalse);

namespace {

const std::string kRetired = "RETIRED_";
const std::string kUnknownTag = "Unknown Tag & Data"; // DCMTK's name for a tag that it does not know

std::string hexadecimalKey(const DcmTag& tag) {
    char text[10];
    std::snprintf(text, sizeof text, "%04x_%04x", tag.getGroup(), tag.getElement());
    return text;
}

std::string currentTime(const char* format) {
    const std::time_t now = std::time(nullptr);
    std::ostringstream text;
    text << std::put_time(std::localtime(&now), format);
    return text.str();
}

DcmTagKey findTagKey(const DcmDataDictionary& dictionary, const std::string& name) {
    const DcmDictEntry* entry = dictionary.findEntry(name.c_str());
    if (entry == nullptr) {
        entry = dictionary.findEntry((kRetired + name).c_str());
    }
    if (entry == nullptr) {
        GTU::ErrorManager::throwException("InvalidTagName", name);
    }
    return entry->getKey();
}

} // namespace

std::string getTagNameAsString(DcmTag tag, bool numeric) {
    if (numeric) {
        return hexadecimalKey(tag);
    }
    std::string name = tag.getTagName();
    if (name == kUnknownTag) {
        return hexadecimalKey(tag);
    }
    // The prefix is looked for anywhere in the name, but cut off at its start. Keys in results depend on it.
    return name.find(kRetired) == std::string::npos ? name : name.substr(kRetired.size());
}

DcmTagKey getTagKey(const DcmDataDictionary& dictionary, const std::string& name) {
    if (&dictionary != &GeneralInfoMap) {
        return findTagKey(dictionary, name);
    }
    // DCMTK compares a name with every entry, which costs more than opening a file. What was found is kept.
    static std::unordered_map<std::string, DcmTagKey> found;
    const auto known = found.find(name);
    return known != found.end() ? known->second : found.emplace(name, findTagKey(dictionary, name)).first->second;
}

// A number of more than 16 bits is cut, not refused: hosts pass tags in forms that rely on it.
Uint16 stringToUint16(const std::string& text) { return static_cast<Uint16>(std::stoi(text, nullptr, 16)); }

std::string getCurrentDateAsDcmDT() { return currentTime("%Y%m%d"); }

std::string getCurrentTimeAsDcmTM() { return currentTime("%H%M%S"); }

} // namespace radvex
