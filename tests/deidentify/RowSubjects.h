#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/deidentify/ConfidentialityRows.h"
#include "tests/support/DicomFiles.h"

namespace radvex::test {

/// An attribute that a row of the table speaks about, as the tests write it. A pattern has several.
struct RowSubject {
    ConfidentialityRow row{};
    DcmTagKey key{};
    DcmEVR vr = EVR_UNKNOWN;
    int index = 0; ///< spells the values, so that no two subjects share one
};

/// Whose file it is. The name has one family name, which texts to be cleaned mention.
struct Person {
    std::string id{};
    std::string familyName{};
    std::string givenName{};
    int number = 0; ///< sets the UIDs of persons apart
};

/// The subjects of all rows; those that no dataset can hold too.
std::vector<RowSubject> rowSubjects();

/// Puts the subject with its original value: a word of its own, or "Helix" and the family name where an option cleans
/// texts. Sequences get an item with a code and a reference.
void putOriginal(DcmItem& item, const RowSubject& subject, const Person& person);

/// The value as text; of sequences all values of their items one after the other, of binary values their bytes. None
/// when it is absent.
std::optional<std::string> contentOf(DcmItem& item, const DcmTagKey& key);

/// What a run did so far to values that have to agree with each other.
struct Ledger {
    std::map<std::string, std::string> uids{};     ///< original -> new
    std::map<std::string, std::string> sourceOf{}; ///< new -> original
    std::map<std::string, long> offsets{};         ///< PatientID -> days
};

/// Looks at what a run made of a subject. Gives a sentence about what is wrong, empty when all is well.
/// @param wanted  action of the table; with several letters any of them is right
/// @param keepsUids  references inside of sequences that stay keep their UIDs
std::string faultOf(const RowSubject& subject, const Person& person, const std::string& wanted, bool keepsUids,
                    DcmItem& before, DcmItem& after, Ledger& ledger);

/// Whether a UID was replaced by a valid one, by the same as before for the same original, and by no other's.
bool isReplacedUid(const std::string& before, const std::string& after, Ledger& ledger);

} // namespace radvex::test
