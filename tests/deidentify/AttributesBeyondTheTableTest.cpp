#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "dcmtk/dcmdata/dcdict.h"
#include "tests/deidentify/RowSubjects.h"
#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

using namespace radvex::test;

namespace {

struct Attribute {
    DcmTagKey key{};
    DcmEVR vr = EVR_UNKNOWN;
    std::string value{};
};

std::string tagOf(const DcmTagKey& key) {
    std::string text = key.toString().c_str(); // (0010,0010)
    text = text.substr(1, 9);
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char letter) { return std::toupper(letter); });
    return text;
}

/// A value of a kind that tells who or when.
std::string tellingValue(DcmEVR vr) {
    switch (vr) {
    case EVR_PN: return "Zyxwvut^Quirina";
    case EVR_DA: return "19870604";
    case EVR_TM: return "112358";
    default: return "19870604112358";
    }
}

/// Names, dates and times that the dictionary knows and the table does not mention.
std::vector<Attribute> tellingAttributes() {
    std::set<std::string> rows;
    for (const ConfidentialityRow& row : confidentialityRows()) {
        rows.insert(row.tag);
    }
    std::vector<Attribute> attributes;
    DcmDataDictionary& dictionary = dcmDataDict.wrlock(); // the other lock shows no entries
    for (DcmHashDictIterator entry(dictionary.normalBegin()); entry != dictionary.normalEnd(); ++entry) {
        const DcmEVR vr = (*entry)->getEVR();
        const bool isTelling = vr == EVR_PN || vr == EVR_DA || vr == EVR_TM || vr == EVR_DT;
        const DcmTagKey key = (*entry)->getKey();
        if (isTelling && key.getGroup() >= 8 && !key.isPrivate() && !rows.contains(tagOf(key))) {
            attributes.push_back({key, vr, tellingValue(vr)});
        }
    }
    dcmDataDict.wrunlock();
    return attributes;
}

constexpr const char* kUid = "1.2.826.0.1.99.7.7";

/// UIDs of instances, events and places that the table does not mention.
const std::vector<DcmTagKey> kInstanceUids{{0x0008, 0x1167}, {0x0008, 0x3012}, {0x0018, 0x991E}, {0x0020, 0x0242},
                                           {0x0020, 0x9312}, {0x0020, 0x9313}, {0x0040, 0xA021}, {0x0044, 0x0102},
                                           {0x0044, 0x0108}, {0x0068, 0x7004}, {0x0070, 0x031B}, {0x0070, 0x1209},
                                           {0x300A, 0x0675}};

/// UIDs that name a kind of thing and tell nothing about anybody.
const std::vector<std::pair<DcmTagKey, std::string>> kKindUids{
    {DCM_RelatedGeneralSOPClassUID, UID_CTImageStorage},
    {DCM_ReferencedSOPClassUID, UID_MRImageStorage},
    {DCM_CodingSchemeUID, "2.16.840.1.113883.6.96"},
    {DCM_ContextUID, "1.2.840.10008.6.1.12"},
    {DCM_MappingResourceUID, "1.2.840.10008.8.1.1"},
    {DCM_AvailableTransferSyntaxUID, UID_JPEGProcess14SV1TransferSyntax}};

class AttributesBeyondTheTable : public ::testing::Test {
  protected:
    /// A file with the attributes at the top level and in an item; what the command makes of it is loaded.
    void anonymize(const Fill& more) {
        const auto fill = [&](DcmItem& item) {
            for (const Attribute& attribute : attributes) {
                item.putAndInsertString(DcmTag(attribute.key, DcmVR(attribute.vr)), attribute.value.c_str());
            }
        };
        const std::string input = writeDicom(folder.file("in"), [&](DcmDataset& dataset) {
            put(dataset, {{DCM_PatientName, "Zyxwvut^Quirina"}, {DCM_PatientID, "HOSP-550137"}});
            fill(dataset);
            fill(addItem(dataset, DCM_RealWorldValueMappingSequence));
            more(dataset);
        });
        const ProcessResult run = runRadvex({"anonymize", input, folder.file("out")});
        ASSERT_EQ(run.status, 0) << run.errors;
        ASSERT_TRUE(written.loadFile(folder.file("out").c_str()).good());
        top = written.getDataset();
        ASSERT_TRUE(top->findAndGetSequenceItem(DCM_RealWorldValueMappingSequence, inside, 0).good());
    }

    std::vector<Attribute> attributes{};
    TemporaryFolder folder{};
    DcmFileFormat written{};
    DcmItem* top = nullptr;
    DcmItem* inside = nullptr;
};

} // namespace

TEST_F(AttributesBeyondTheTable, NamesDatesAndTimesAreGone) {
    attributes = tellingAttributes();
    EXPECT_GE(attributes.size(), 10U) << "the standard has more than the table";
    anonymize([](DcmDataset&) {});
    for (const Attribute& attribute : attributes) {
        for (DcmItem* item : {top, inside}) {
            EXPECT_NE(contentOf(*item, attribute.key).value_or(""), attribute.value) << tagOf(attribute.key);
        }
    }
}

TEST_F(AttributesBeyondTheTable, UidsOfInstancesAreReplacedAndThoseOfKindsStay) {
    for (const DcmTagKey& key : kInstanceUids) {
        attributes.push_back({key, EVR_UI, kUid});
    }
    for (const auto& [key, uid] : kKindUids) {
        attributes.push_back({key, EVR_UI, uid});
    }
    anonymize([](DcmDataset&) {});
    Ledger ledger;
    for (DcmItem* item : {top, inside}) {
        for (const DcmTagKey& key : kInstanceUids) {
            const auto uid = contentOf(*item, key);
            EXPECT_TRUE(!uid || isReplacedUid(kUid, *uid, ledger)) << tagOf(key) << ": " << uid.value_or("");
        }
        for (const auto& [key, uid] : kKindUids) {
            EXPECT_EQ(contentOf(*item, key).value_or("nothing"), uid) << tagOf(key);
        }
    }
    EXPECT_EQ(textOf(*top, DCM_SOPClassUID), UID_CTImageStorage);
}

TEST_F(AttributesBeyondTheTable, WhatTheDictionaryDoesNotKnowIsRemoved) {
    attributes = {{{0x0018, 0xFF01}, EVR_LO, "Quirina"},
                  {{0x0042, 0xFF03}, EVR_UN, "Quirina "},
                  {{0x7778, 0x0001}, EVR_UT, "Quirina"}};
    for (const Attribute& attribute : attributes) {
        ASSERT_EQ(DcmTag(attribute.key).getEVR(), EVR_UNKNOWN) << "the dictionary knows it by now";
    }
    anonymize([](DcmDataset& dataset) { put(dataset, {{DCM_Modality, "CT"}, {DCM_KVP, "120"}}); });
    for (const Attribute& attribute : attributes) {
        for (DcmItem* item : {top, inside}) {
            EXPECT_EQ(contentOf(*item, attribute.key), std::nullopt) << tagOf(attribute.key);
        }
    }
    EXPECT_EQ(textOf(*top, DCM_KVP), "120") << "what tells nothing stays";
    EXPECT_EQ(textOf(*top, DCM_Modality), "CT");
}
