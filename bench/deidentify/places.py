"""Unusual places in which identifiers are found, beside the attributes of the profile. Each is a function of its own,
whose first line says where it plants."""

import struct

from pydicom.dataelem import DataElement
from pydicom.sequence import Sequence

from people import dates
from planting import FREE_OF, KEPT, PATH_FREE, REMOVED, code_item, item, path_of
from table import BASIC, RESEARCH

ALWAYS, EXPLICIT, IMAGES = "always", "explicit", "images"
PLACES = []  # (when it can be used, function)


def place(when=ALWAYS):
    def add(function):
        PLACES.append((when, function))
        return function
    return add


# Sequences that the profile lists


@place()
def request_attributes(planting, shared):
    person = planting.person
    text, _, identifiers, _ = planting.sentence(64)
    planting.put_items("RequestAttributesSequence",
                       item(RequestedProcedureDescription=text, ScheduledProcedureStepID="SPS" + person.accession,
                            RequestedProcedureID="RP" + person.accession))
    planting.record_sequence("request attributes", path_of("RequestAttributesSequence"),
                             identifiers + [person.accession])


@place()
def other_patient_ids(planting, shared):
    person = planting.person
    items = [item(PatientID=person.other_id, TypeOfPatientID="TEXT"), item(PatientID=person.id, TypeOfPatientID="TEXT")]
    planting.put_items("OtherPatientIDsSequence", *items)
    planting.record_sequence("other patient IDs", path_of("OtherPatientIDsSequence"), [person.other_id, person.id])


@place()
def referenced_patient(planting, shared):
    uid = planting.uid()
    planting.put_items("ReferencedPatientSequence",
                       item(ReferencedSOPClassUID="1.2.840.10008.3.1.2.1.1", ReferencedSOPInstanceUID=uid))
    planting.record_sequence("referenced patient", path_of("ReferencedPatientSequence"), [uid])


@place()
def referenced_study(planting, shared):
    planting.put_items("ReferencedStudySequence",
                       item(ReferencedSOPClassUID="1.2.840.10008.3.1.2.3.1", ReferencedSOPInstanceUID=shared.study))
    planting.record_sequence("referenced study", path_of("ReferencedStudySequence"), [shared.study])


@place()
def referenced_images(planting, shared):
    uids = [planting.uid(), shared.instances[0][1]]
    planting.put_items("ReferencedImageSequence", *[
        item(ReferencedSOPClassUID=shared.instances[0][0], ReferencedSOPInstanceUID=uid) for uid in uids])
    planting.record_sequence("referenced images", path_of("ReferencedImageSequence"), uids)


@place()
def original_attributes(planting, shared):
    person = planting.person
    modified = item(PatientName=person.name.value, PatientID=person.id)
    planting.put_items("OriginalAttributesSequence",
                       item(ModifiedAttributesSequence=Sequence([modified]), ModifyingSystem="ARCHIVE OF WARD",
                            AttributeModificationDateTime=person.study_date + "1200",
                            SourceOfPreviousValues=person.institution, ReasonForTheAttributeModification="CORRECT"))
    planting.record_sequence("original attributes", path_of("OriginalAttributesSequence"),
                             [person.name.value, person.id])


@place()
def contributing_equipment(planting, shared):
    person = planting.person
    text, _, identifiers, _ = planting.sentence(400)
    planting.put_items("ContributingEquipmentSequence",
                       item(Manufacturer="Invented Devices", ContributionDescription=text,
                            OperatorsName=person.operator.value,
                            PurposeOfReferenceCodeSequence=Sequence([code_item("109103", "DCM", "Modifying")])))
    top = ("ContributingEquipmentSequence", 0)
    for keyword, known in (("ContributionDescription", identifiers), ("OperatorsName", [person.operator.value])):
        planting.require("contributing equipment", FREE_OF, path_of(*top, keyword), value=known)
    planting.keep("contributing equipment, values", KEPT,
                  path_of(*top, "PurposeOfReferenceCodeSequence", 0, "CodeValue"), value="109103")


@place()
def deep_nesting(planting, shared):
    text, _, identifiers, _ = planting.sentence(64)
    inner = item(CodeValue="X9", CodingSchemeDesignator="99BENCH", CodeMeaning=text)
    middle = item(CodeValue="X8", CodingSchemeDesignator="99BENCH", CodeMeaning="Middle",
                  AnatomicRegionModifierSequence=Sequence([inner]))
    planting.put_items("PrimaryAnatomicStructureSequence",
                       item(CodeValue="X7", CodingSchemeDesignator="99BENCH", CodeMeaning="Outer",
                            PrimaryAnatomicStructureModifierSequence=Sequence([middle])))
    top = ("PrimaryAnatomicStructureSequence", 0, "PrimaryAnatomicStructureModifierSequence", 0,
           "AnatomicRegionModifierSequence", 0, "CodeMeaning")
    planting.require("meaning of a nested code", FREE_OF, path_of(*top), value=identifiers)
    planting.keep("meaning of a nested code, values", KEPT, path_of("PrimaryAnatomicStructureSequence", 0, "CodeValue"),
                  value="X7")


@place()
def scheme_of_codes(planting, shared):
    what, how, text = planting.identifier(60)
    planting.put_items("CodingSchemeIdentificationSequence",
                       item(CodingSchemeDesignator="99BENCH", CodingSchemeName=f"Codes of {text}"))
    path = path_of("CodingSchemeIdentificationSequence", 0, "CodingSchemeName")
    planting.require("name of a coding scheme", FREE_OF, path, value=[text], how=f"{what}, {how}")


@place(IMAGES)
def explanation_of_a_lut(planting, shared):
    what, how, text = planting.identifier(60)
    planting.put_items("VOILUTSequence", item(LUTExplanation=text))
    planting.require("explanation of a table of values", FREE_OF, path_of("VOILUTSequence", 0, "LUTExplanation"),
                     value=[text], how=f"{what}, {how}")


@place(IMAGES)
def icon(planting, shared):
    planting.put_items("IconImageSequence", item(Rows=2, Columns=2, SamplesPerPixel=1, BitsAllocated=8, BitsStored=8,
                                                 HighBit=7, PixelRepresentation=0,
                                                 PhotometricInterpretation="MONOCHROME2", PixelData=b"\1\2\3\4"))
    planting.dataset.IconImageSequence[0]["PixelData"].VR = "OB"
    planting.require("icon", REMOVED, path_of("IconImageSequence"))


@place()
def signature(planting, shared):
    person = planting.person
    planting.put_items("DigitalSignaturesSequence",
                       item(DigitalSignatureUID=planting.uid(), DigitalSignatureDateTime=person.study_date + "1200",
                            CertificateOfSigner=b"CN=" + person.physician.spellings()["natural order"].encode(),
                            Signature=b"\1\2\3\4"))
    planting.require("digital signature", REMOVED, path_of("DigitalSignaturesSequence"))


# Texts outside the profile


def _unlisted(keyword, limit):
    def plant(planting, shared):
        planting.put_text("text outside the table, " + keyword, keyword, limit)
    plant.__name__ = "unlisted_" + keyword
    PLACES.append((ALWAYS, plant))


for _keyword, _limit in (("WindowCenterWidthExplanation", 64), ("TransducerData", 64), ("ProcessingFunction", 64),
                         ("Radiopharmaceutical", 64), ("AcquisitionDeviceProcessingCode", 64),
                         ("SequenceName", 16), ("ConvolutionKernel", 16), ("FilterType", 16),
                         ("CollimatorGridName", 16)):
    _unlisted(_keyword, _limit)


@place()
def second_value(planting, shared):
    what, how, text = planting.identifier(60)
    planting.put("second of several values", "TypeOfFilters", ["plain", text, "last"], [text], ["plain", "last"],
                 f"{what}, {how}")


@place()
def uid_in_text(planting, shared):
    planting.put("UID in a text", "GridAbsorbingMaterial", f"see {shared.study}", [shared.study], ["see"])


@place()
def birth_date_in_text(planting, shared):
    how, text = planting.random.choice(list(dates(planting.person.birth).items()))
    planting.put("birth date in a short text", "GridSpacingMaterial", text, [text], (), how)


@place()
def study_date_in_description(planting, shared):
    how, text = planting.random.choice(list(dates(planting.person.study_date).items()))
    words = planting.words(2)
    planting.put("date of the study in a description", "DerivationDescription", f"{words[0]} {text} {words[1]}",
                 [text], words, how)


@place()
def name_in_application_entity(planting, shared):
    family = planting.person.operator.family.upper()[:16]
    planting.put("name in an AE title", "StationAETitle", family, [family], ())


@place()
def comments_of_many_lines(planting, shared):
    person = planting.person
    spellings, words = person.name.spellings(), planting.words(4)
    known = [spellings["natural order"], person.telephone, person.id, dates(person.birth)["dots"]]
    text = (f"{words[0]} {words[1]}\r\n{known[0]}, born {known[3]}\r\ncall {known[1]}\r\nno. {known[2]}\r\n"
            f"{words[2]} {words[3]}\r\nphase 1")
    # the 1 stays, also where the study has that ID: too short a number to say anything
    planting.put("comments of many lines", "PatientComments", text, known, words + ["phase", "1"])


@place()
def measured_date_time(planting, shared):
    value = planting.person.study_date + "093000.125+0100"
    planting.put("date and time with an offset", "AcquisitionDateTime", value)


# Private attributes and attributes that no dictionary knows


def _private(planting, place_name, vr, value, element=0x10, creator="BENCH HEADER 1", group=0x0029):
    block = planting.dataset.private_block(group, creator, create=True)
    block.add_new(element, vr, value)
    tag = block.get_tag(element)
    planting.require(place_name, REMOVED, path_of(int(tag)))


@place()
def private_text(planting, shared):
    text, _, _, _ = planting.sentence(64)
    _private(planting, "private text", "LO", text)


@place()
def private_bytes(planting, shared):
    what, how, text = planting.identifier()
    data = text.encode("utf-8")
    _private(planting, "private bytes of unknown representation", "UN", data + b"\0" * (len(data) % 2), 0x11)


@place()
def private_blob(planting, shared):
    text = planting.person.name.spellings()["natural order"].encode("utf-16-le")
    data = struct.pack("<4sIf", b"HDR1", 20, 1.5) + b"\0" * 20 + text + b"\0" * 16
    _private(planting, "private binary header with text", "OB", data, 0x12)


@place()
def private_sequence(planting, shared):
    inner = item(PatientName=planting.person.name.value, PatientID=planting.person.id)
    _private(planting, "private sequence", "SQ", Sequence([inner]), 0x13)


@place()
def private_uid(planting, shared):
    _private(planting, "private UID", "UI", shared.study, 0x14)


@place()
def private_date(planting, shared):
    _private(planting, "private date", "DA", planting.person.birth, 0x15)


@place()
def private_creator(planting, shared):
    name = planting.person.operator.spellings()["natural order"]
    _private(planting, "name of a private creator", "LO", "value", 0x10, f"BLOCK OF {name}", 0x0031)
    planting.require("name of a private creator", REMOVED, ["0031,0010"])


@place()
def nested_private(planting, shared):
    inner = code_item("T-D3000", "SRT", "Chest")
    inner.private_block(0x0033, "BENCH NESTED", create=True).add_new(1, "LO", planting.person.id)
    planting.put_items("ViewCodeSequence", inner)
    planting.require("private text in a sequence", REMOVED, path_of("ViewCodeSequence", 0) + ["0033,1001"])


@place(EXPLICIT)
def unknown_text(planting, shared):
    text, how, identifiers, _ = planting.sentence(64)
    planting.dataset.add(DataElement(0x00181EEE, "LO", text))
    planting.require("attribute that no dictionary knows", FREE_OF, ["0018,1EEE"], value=identifiers, how=how)


@place(EXPLICIT)
def unknown_bytes(planting, shared):
    what, how, text = planting.identifier(ascii_only=True)
    data = text.encode() + b" " * (len(text) % 2)
    planting.dataset.add(DataElement(0x00281EEE, "UN", data))
    planting.require("unknown bytes of no dictionary", FREE_OF, ["0028,1EEE"], value=[text], how=f"{what}, {how}")


@place(EXPLICIT)
def known_as_unknown(planting, shared):
    text = f"{planting.person.street} ".encode()
    planting.dataset.add(DataElement(0x00380300, "UN", text + b" " * (len(text) % 2)))
    planting.require("listed attribute written as UN", REMOVED, ["0038,0300"])


def _implicit(tag, value):
    return struct.pack("<HHI", tag >> 16, tag & 0xFFFF, len(value)) + value


@place(EXPLICIT)
def sequence_as_unknown(planting, shared):
    value = planting.person.id.encode()
    parts = _implicit(0x00100020, value + b" " * (len(value) % 2))
    planting.dataset.add(DataElement(0x00081049, "UN", _implicit(0xFFFEE000, parts)))
    planting.require("listed sequence written as UN", REMOVED, ["0008,1049"])


# Groups that repeat


def _overlay(planting, group, *texts):
    dataset = planting.dataset
    for element, vr, value in ((0x10, "US", 8), (0x11, "US", 8), (0x40, "CS", "G"), (0x50, "SS", [1, 1]),
                               (0x100, "US", 1), (0x102, "US", 0), (0x3000, "OW", b"\x18\x24" * 4), *texts):
        dataset.add(DataElement(group << 16 | element, vr, value))


@place(IMAGES)
def overlay_plane(planting, shared):
    what, how, text = planting.identifier(64)
    _overlay(planting, 0x6000, (0x4000, "LT", text))
    planting.require("plane of an overlay", REMOVED, ["6000,3000"], [BASIC])
    planting.require("comment of an overlay", REMOVED, ["6000,4000"], [BASIC], how=f"{what}, {how}")
    planting.require("comment of an overlay", FREE_OF, ["6000,4000"], [RESEARCH], value=[text], how=f"{what}, {how}")


@place(IMAGES)
def overlay_label(planting, shared):
    known = [planting.identifier(64)[2] for _ in range(2)]
    _overlay(planting, 0x6002, (0x22, "LO", known[0]), (0x1500, "LO", known[1]))
    planting.require("description of an overlay", FREE_OF, ["6002,0022"], value=known[:1])
    planting.require("label of an overlay", FREE_OF, ["6002,1500"], value=known[1:])


@place(IMAGES)
def curve(planting, shared):
    what, how, text = planting.identifier(64)
    for element, vr, value in ((0x5, "US", 2), (0x10, "US", 2), (0x20, "CS", "POLY"), (0x103, "US", 0),
                               (0x2500, "LO", text), (0x3000, "OW", struct.pack("<4H", 1, 2, 3, 4))):
        planting.dataset.add(DataElement(0x50000000 | element, vr, value))
    planting.require("data of a curve", REMOVED, ["5000,3000"], [BASIC])
    planting.require("label of a curve", REMOVED, ["5000,2500"], [BASIC])
    planting.require("label of a curve", FREE_OF, ["5000,2500"], [RESEARCH], value=[text], how=f"{what}, {how}")


@place()
def trailing_padding(planting, shared):
    data = planting.person.id.encode()
    planting.dataset.add(DataElement(0xFFFCFFFC, "OB", data + b"\0" * (len(data) % 2 + 20)))
    planting.require("padding behind the dataset", REMOVED, ["FFFC,FFFC"])


# Around the dataset


@place()
def preamble(planting, shared):
    text = planting.person.name.spellings()["natural order"].encode()
    planting.preamble = (b"FROM " + text).ljust(128, b"\0")[:128]
    planting.require("preamble", FREE_OF, ["preamble"], value=[text.decode(), planting.person.name.family])


@place()
def source_application(planting, shared):
    title = planting.person.operator.family.upper()[:16]
    for keyword in ("SourceApplicationEntityTitle", "SendingApplicationEntityTitle", "ReceivingApplicationEntityTitle"):
        planting.extra_meta[keyword] = title
        planting.require("application in the meta information", FREE_OF, path_of(keyword), value=[title])


@place()
def private_information(planting, shared):
    data = planting.person.id.encode()
    planting.extra_meta.update(PrivateInformationCreatorUID="2.25.123456789", PrivateInformation=data + b"\0" * (
        len(data) % 2))
    planting.require("private information in the meta information", FREE_OF, ["0002,0102"], value=[planting.person.id])


@place()
def name_of_file(planting, shared):
    name = planting.person.name
    planting.file_name = name.spellings()["underscores"] + f"_{planting.index}.dcm"
    planting.require("name of the file", PATH_FREE, ["path"], value=[name.family, name.spellings()["underscores"]])


@place()
def name_of_folder(planting, shared):
    planting.folder = f"{planting.person.id}_{planting.person.accession}"
    planting.require("name of the folder", PATH_FREE, ["path"],
                     value=[planting.person.id, planting.person.accession])
