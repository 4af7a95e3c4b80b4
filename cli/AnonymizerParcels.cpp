#include "AnonymizerParcels.h"

#include "Parcel.h"

namespace radvex::cli {

namespace {

void putTexts(ParcelWriter& parcel, const std::set<std::string>& texts) {
    parcel.put(texts.size());
    for (const std::string& text : texts) {
        parcel.putText(text);
    }
}

std::set<std::string> getTexts(ParcelReader& parcel) {
    std::set<std::string> texts;
    for (auto count = parcel.get<std::size_t>(); count > 0; --count) {
        texts.insert(texts.end(), parcel.getText());
    }
    return texts;
}

void putChanges(ParcelWriter& parcel, const std::vector<study::Change>& changes) {
    parcel.put(changes.size());
    for (const study::Change& change : changes) {
        parcel.putText(change.attribute);
        parcel.putText(change.before);
        parcel.putText(change.after);
    }
}

std::vector<study::Change> getChanges(ParcelReader& parcel) {
    std::vector<study::Change> changes;
    for (auto count = parcel.get<std::size_t>(); count > 0; --count) {
        study::Change change;
        change.attribute = parcel.getText();
        change.before = parcel.getText();
        change.after = parcel.getText();
        changes.push_back(std::move(change));
    }
    return changes;
}

} // namespace

std::string toParcel(const MadeFile& file) {
    ParcelWriter parcel;
    parcel.put(file.isDicom);
    parcel.putText(file.error);
    parcel.put(file.originals.newOf.size());
    for (const auto& [before, after] : file.originals.newOf) {
        parcel.putText(before);
        parcel.putText(after);
    }
    putTexts(parcel, file.originals.ids);
    putTexts(parcel, file.originals.names);
    putChanges(parcel, file.changes);
    return parcel.take();
}

MadeFile madeFileOfParcel(const std::string& bytes) {
    ParcelReader parcel(bytes);
    MadeFile file;
    file.isDicom = parcel.get<bool>();
    file.error = parcel.getText();
    for (auto count = parcel.get<std::size_t>(); count > 0; --count) {
        std::string before = parcel.getText();
        file.originals.newOf.emplace(std::move(before), parcel.getText());
    }
    file.originals.ids = getTexts(parcel);
    file.originals.names = getTexts(parcel);
    file.changes = getChanges(parcel);
    return file;
}

std::string toParcel(const CheckedFile& file) {
    ParcelWriter parcel;
    parcel.put(file.isClean);
    putChanges(parcel, file.changes);
    parcel.put(file.leaks.size());
    for (const study::Leak& leak : file.leaks) {
        parcel.putText(leak.attribute);
    }
    return parcel.take();
}

CheckedFile checkedFileOfParcel(const std::string& bytes) {
    ParcelReader parcel(bytes);
    CheckedFile file;
    file.isClean = parcel.get<bool>();
    file.changes = getChanges(parcel);
    for (auto count = parcel.get<std::size_t>(); count > 0; --count) {
        file.leaks.insert({parcel.getText()});
    }
    return file;
}

} // namespace radvex::cli
