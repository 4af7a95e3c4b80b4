#include "tests/cli/Commands.h"

using namespace radvex::test;

TEST(DefaultsCommand, ListsEveryDefault) {
    const Json all = Json::parse(runRadvex({"defaults", "--json"}).output);
    const Json set{{"ContentLabel", "IMAGE"},
                   {"ContentDescription", "Image"},
                   {"Manufacturer", "Velmora Research"},
                   {"ManufacturerModelName", "Velmora Language"},
                   {"DeviceSerialNumber", "1"},
                   {"SoftwareVersions", "1.0"},
                   {"Modality", "OT"},
                   {"SeriesNumber", "1"},
                   {"RecognizableVisualFeatures", "NO"},
                   {"ConversionType", "SYN"},
                   {"RepresentationLUTShape", "IDENTITY"}};
    EXPECT_EQ(all.size(), 25U);
    for (const auto& [keyword, value] : all.items()) {
        EXPECT_EQ(value, set.value(keyword, "")) << keyword;
    }
    for (const auto& entry : set.items()) {
        EXPECT_TRUE(all.contains(entry.key())) << entry.key();
    }
}

TEST(DefaultsCommand, PrintsALineForEach) {
    EXPECT_EQ(runRadvex({"defaults", "Modality", "PatientName", "Manufacturer"}).output,
              "Modality                          OT\n"
              "PatientName                       \n"
              "Manufacturer                      Velmora Research\n");
}

TEST(DefaultsCommand, AValueHoldsForTheRunOnly) {
    EXPECT_EQ(runRadvex({"defaults", "Modality=CT", "Modality", "StudyDescription=a=b"}).output,
              "Modality                          CT\n"
              "Modality                          CT\n"
              "StudyDescription                  a=b\n");
    EXPECT_EQ(runRadvex({"defaults", "Modality"}).output, "Modality                          OT\n");
    EXPECT_EQ(runRadvex({"defaults", "--json", "PatientName=\u00dc\"x"}).output, "{\"PatientName\":\"\u00dc\\\"x\"}\n");
}

TEST(DefaultsCommand, WhatIsRefusedIsNamedAndTheOthersGoOn) {
    const ProcessResult done =
        runRadvex({"defaults", "NoSuchTag=1", "StudyDescription", "StudyDate=today", "Modality"});
    EXPECT_EQ(done.status, 1);
    EXPECT_EQ(done.output, "Modality                          OT\n");
    EXPECT_EQ(done.errors, "radvex: NoSuchTag=1: Attribute tag named NoSuchTag does not exist.\n"
                           "radvex: StudyDescription: Attribute tag named StudyDescription does not exist.\n"
                           "radvex: StudyDate=today: Could not write tag StudyDate with value today.\n");
}

TEST(DefaultsCommand, AWordWithoutAKeywordIsWrongUse) {
    EXPECT_THAT(runRadvex({"defaults", "=x"}),
                exitsSaying(2, StartsWith("radvex: defaults =x: KEYWORD=VALUE is expected")));
}
