#include "deidentify/rewriting/MethodAttributes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "tests/support/DicomFiles.h"

using namespace radvex::deidentify;
using radvex::test::addItem;
using radvex::test::put;
using radvex::test::textOf;
using testing::ElementsAre;

namespace {

ProfileOptions choosing(std::initializer_list<ProfileOption> chosen) {
    ProfileOptions options;
    for (const ProfileOption option : chosen) {
        options.choose(option);
    }
    return options;
}

ProfileOptions allOptions() {
    ProfileOptions options;
    options.chosen.fill(true);
    return options;
}

std::vector<std::string> valuesOf(const std::string& text) {
    std::vector<std::string> values;
    std::istringstream stream(text);
    for (std::string value; std::getline(stream, value, '\\');) {
        values.push_back(value);
    }
    return values;
}

std::vector<std::string> codesIn(DcmDataset& dataset) {
    std::vector<std::string> codes;
    DcmSequenceOfItems* sequence = nullptr;
    if (dataset.findAndGetSequence(DCM_DeidentificationMethodCodeSequence, sequence).good()) {
        for (unsigned long index = 0; index < sequence->card(); ++index) {
            DcmItem& item = *sequence->getItem(index);
            EXPECT_EQ(textOf(item, DCM_CodingSchemeDesignator), "DCM");
            EXPECT_NE(textOf(item, DCM_CodeMeaning), "(none)");
            codes.push_back(textOf(item, DCM_CodeValue));
        }
    }
    return codes;
}

std::string methodIn(DcmDataset& dataset) { return textOf(dataset, DCM_DeidentificationMethod); }
std::string datesIn(DcmDataset& dataset) { return textOf(dataset, DCM_LongitudinalTemporalInformationModified); }

} // namespace

TEST(MethodAttributes, SayWhatWasDone) {
    DcmDataset dataset;
    addMethod(dataset, choosing({ProfileOption::Uids, ProfileOption::Graphics}));
    EXPECT_EQ(textOf(dataset, DCM_PatientIdentityRemoved), "YES");
    EXPECT_THAT(valuesOf(methodIn(dataset)),
                ElementsAre("PS3.15 E basic profile 2024b", "retain UIDs", "clean graphics"));
    EXPECT_THAT(codesIn(dataset), ElementsAre("113100", "113110", "113103"));
}

TEST(MethodAttributes, NameTheCodesOfTheStandard) { // PS3.16, CID 7050
    DcmDataset dataset;
    addMethod(dataset, allOptions());
    EXPECT_THAT(codesIn(dataset),
                testing::UnorderedElementsAre("113100", "113103", "113104", "113105", "113106", "113107", "113108",
                                              "113109", "113110", "113111", "113112"));
}

TEST(MethodAttributes, FitTheirType) {
    DcmDataset dataset;
    addMethod(dataset, allOptions());
    for (const std::string& value : valuesOf(methodIn(dataset))) {
        EXPECT_LE(value.size(), 64U) << value;
    }
    DcmSequenceOfItems* sequence = nullptr;
    ASSERT_TRUE(dataset.findAndGetSequence(DCM_DeidentificationMethodCodeSequence, sequence).good());
    for (unsigned long index = 0; index < sequence->card(); ++index) {
        EXPECT_LE(textOf(*sequence->getItem(index), DCM_CodeMeaning).size(), 64U);
        EXPECT_LE(textOf(*sequence->getItem(index), DCM_CodeValue).size(), 16U);
    }
}

TEST(MethodAttributes, KeepWhatAnEarlierDeidentificationWrote) {
    DcmDataset dataset;
    put(dataset, {{DCM_DeidentificationMethod, "by hand\\twice"}});
    put(addItem(dataset, DCM_DeidentificationMethodCodeSequence),
        {{DCM_CodeValue, "113101"}, {DCM_CodingSchemeDesignator, "DCM"}, {DCM_CodeMeaning, "Clean Pixel Data Option"}});
    addMethod(dataset, {});
    EXPECT_EQ(methodIn(dataset), "by hand\\twice\\PS3.15 E basic profile 2024b");
    EXPECT_THAT(codesIn(dataset), ElementsAre("113101", "113100"));
}

TEST(MethodAttributes, AreNotDoubledByASecondRun) {
    DcmDataset dataset;
    const ProfileOptions options = choosing({ProfileOption::Device});
    addMethod(dataset, options);
    const std::string method = methodIn(dataset);
    addMethod(dataset, options);
    EXPECT_EQ(methodIn(dataset), method);
    EXPECT_THAT(codesIn(dataset), ElementsAre("113100", "113109"));
}

TEST(MethodAttributes, TellARunWithFewerOptionsFromAnEarlierOneWithMore) {
    DcmDataset dataset;
    addMethod(dataset, choosing({ProfileOption::Device}));
    EXPECT_TRUE(isMadeWith(dataset, choosing({ProfileOption::Device})));
    EXPECT_FALSE(isMadeWith(dataset, {})) << "its words are the first of those that stand there";
    EXPECT_FALSE(isMadeWith(dataset, choosing({ProfileOption::Device, ProfileOption::Graphics})));
    addMethod(dataset, {});
    EXPECT_THAT(valuesOf(methodIn(dataset)),
                ElementsAre("PS3.15 E basic profile 2024b", "retain device identity", "PS3.15 E basic profile 2024b"));
    EXPECT_TRUE(isMadeWith(dataset, {}));
    EXPECT_FALSE(isMadeWith(dataset, choosing({ProfileOption::Device})));
}

TEST(MethodAttributes, ADatasetWithoutThemWasMadeWithNothing) {
    DcmDataset dataset;
    EXPECT_FALSE(isMadeWith(dataset, {}));
    put(dataset, {{DCM_DeidentificationMethod, "not PS3.15 E basic profile 2024b"}});
    EXPECT_FALSE(isMadeWith(dataset, {})) << "a part of a value";
}

TEST(MethodAttributes, SayWhatBecameOfDates) {
    using enum ProfileOption;
    const auto said = [](const ProfileOptions& options, const char* earlier) {
        DcmDataset dataset;
        if (*earlier != '\0') {
            put(dataset, {{DCM_LongitudinalTemporalInformationModified, earlier}});
        }
        addMethod(dataset, options);
        return datesIn(dataset);
    };
    EXPECT_EQ(said({}, ""), "REMOVED");
    EXPECT_EQ(said(choosing({FullDates}), ""), "UNMODIFIED");
    EXPECT_EQ(said(choosing({ModifiedDates}), ""), "MODIFIED");
    EXPECT_EQ(said(choosing({FullDates}), "MODIFIED"), "MODIFIED") << "they are not those of the patient";
    EXPECT_EQ(said(choosing({FullDates}), "REMOVED"), "REMOVED");
    EXPECT_EQ(said(choosing({ModifiedDates}), "REMOVED"), "REMOVED");
    EXPECT_EQ(said({}, "MODIFIED"), "REMOVED");
    EXPECT_EQ(said(choosing({ModifiedDates}), "UNMODIFIED"), "MODIFIED");
}
