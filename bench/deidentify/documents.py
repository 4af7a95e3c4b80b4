"""Instances that are no images: reports, plans, structures, documents, waveforms, presentation states."""

import struct

from pydicom.sequence import Sequence
from pydicom.uid import (BasicTextSRStorage, EncapsulatedPDFStorage, GrayscaleSoftcopyPresentationStateStorage,
                         KeyObjectSelectionDocumentStorage, RTPlanStorage, RTStructureSetStorage,
                         TwelveLeadECGWaveformStorage)

from planting import KEPT, UID_FOLLOWS, code_item, item, path_of
from table import RESEARCH

LOCAL = "99BENCH"


def _reference(instance):
    return item(ReferencedSOPClassUID=instance[0], ReferencedSOPInstanceUID=instance[1])


def _follow(planting, place, uid, *steps):
    """A reference outside the sequences that the profile removes: it has to name the new instance."""
    planting.keep(place, UID_FOLLOWS, path_of(*steps), value=uid)


def _evidence(planting, shared):
    """The instances that a report or an object selection rests on."""
    class_uid, sop, series, _ = shared.instances[0]
    part = item(SeriesInstanceUID=series, ReferencedSOPSequence=Sequence([_reference((class_uid, sop))]))
    planting.put_items("CurrentRequestedProcedureEvidenceSequence",
                       item(StudyInstanceUID=shared.study, ReferencedSeriesSequence=Sequence([part])))
    top = ("CurrentRequestedProcedureEvidenceSequence", 0)
    _follow(planting, "references to instances", shared.study, *top, "StudyInstanceUID")
    _follow(planting, "references to instances", sop, *top, "ReferencedSeriesSequence", 0, "ReferencedSOPSequence", 0,
            "ReferencedSOPInstanceUID")


class _Content:
    """The content items of a document, with what has to become of each when content is cleaned, not replaced."""

    def __init__(self, planting):
        self.planting, self.items, self.identifiers = planting, [], []

    def add(self, kind, code, **values):
        self.items.append(item(RelationshipType="CONTAINS", ValueType=kind,
                               ConceptNameCodeSequence=Sequence([code_item(code, LOCAL, "Concept " + code)]), **values))
        return path_of("ContentSequence", len(self.items) - 1)

    def measurement(self, value):
        unit = code_item("mm", "UCUM", "millimeter")
        top = self.add("NUM", "N1", MeasuredValueSequence=Sequence([
            item(NumericValue=value, MeasurementUnitsCodeSequence=Sequence([unit]))]))
        self.planting.keep("measurements of reports", KEPT, top + ["0040,A300", 0, "0040,A30A"], [RESEARCH],
                           value=value)

    def code(self):
        top = self.add("CODE", "C1", ConceptCodeSequence=Sequence([code_item("T-62000", "SRT", "Liver")]))
        self.planting.keep("codes of reports", KEPT, top + ["0040,A168", 0, "0008,0100"], [RESEARCH],
                           value="T-62000")

    def text(self):
        text, how, identifiers, words = self.planting.sentence(400)
        top = self.add("TEXT", "T1", TextValue=text)
        self._noted(top, "TextValue", "text of a report", identifiers, words, how)

    def name(self):
        person = self.planting.person
        for name in (person.name, person.physician):
            top = self.add("PNAME", "P1", PersonName=name.value)
            self._noted(top, "PersonName", "name in a report", [name.value])

    def dates(self):
        day = self.planting.person.study_date
        for kind, keyword, value in (("DATE", "Date", day), ("DATETIME", "DateTime", day + "101112.5")):
            top = self.add(kind, "D1", **{keyword: value})
            self._noted(top, keyword, f"{kind} of a report", listed=False)

    def uid(self, uid):
        top = self.add("UIDREF", "U1", UID=uid)
        self._noted(top, "UID", "UIDREF of a report", [uid])

    def _noted(self, top, keyword, place, identifiers=(), words=None, how="", listed=True):
        path = top + path_of(keyword)
        self.planting.note(path, place, identifiers, words, how)
        self.planting.record(path, self.items[-1][keyword], [RESEARCH])
        if listed:
            self.identifiers += identifiers

    def finish(self):
        self.planting.put_items("ContentSequence", *self.items)
        self.planting.record_sequence("content of a report", path_of("ContentSequence"), self.identifiers)


def report(planting, shared):
    dataset, person = planting.dataset, planting.person
    dataset.SOPClassUID, dataset.ValueType = BasicTextSRStorage, "CONTAINER"
    dataset.CompletionFlag, dataset.VerificationFlag = "COMPLETE", "VERIFIED"
    _evidence(planting, shared)
    content = _Content(planting)
    content.measurement("23.75")
    content.code()
    content.measurement("8.125")
    content.text()
    content.name()
    content.dates()
    content.uid(shared.instances[0][1])
    content.text()
    content.finish()
    observer = item(VerifyingOrganization=person.institution, VerificationDateTime=person.study_date + "120000",
                    VerifyingObserverName=person.physician.value)
    planting.put_items("VerifyingObserverSequence", observer)
    planting.record_sequence("verifying observer", path_of("VerifyingObserverSequence"), [person.physician.value])
    author = item(PersonName=person.physician.value, InstitutionName="of the author")
    planting.put_items("AuthorObserverSequence", author)
    planting.record_sequence("author of a report", path_of("AuthorObserverSequence"), [person.physician.value])


def key_objects(planting, shared):
    dataset = planting.dataset
    dataset.SOPClassUID, dataset.ValueType = KeyObjectSelectionDocumentStorage, "CONTAINER"
    _evidence(planting, shared)
    content = _Content(planting)
    content.text()
    content.finish()


def structures(planting, shared):
    dataset, person = planting.dataset, planting.person
    dataset.SOPClassUID, dataset.StructureSetLabel = RTStructureSetStorage, f"SET{person.number:04d}X"
    dataset.StructureSetDate, dataset.StructureSetTime = person.study_date, "110000"
    planting.put_items("ReferencedFrameOfReferenceSequence", item(FrameOfReferenceUID=shared.frame))
    text, how, identifiers, words = planting.sentence(64)
    planting.put_items("StructureSetROISequence",
                       item(ROINumber="1", ReferencedFrameOfReferenceUID=shared.frame, ROIName=text,
                            ROIGenerationAlgorithm="MANUAL"))
    planting.note(path_of("StructureSetROISequence", 0, "ROIName"), "name of a structure", identifiers, words, how)
    contour = item(ContourGeometricType="CLOSED_PLANAR", NumberOfContourPoints="3",
                   ContourData=["1.5", "2.25", "3", "4", "5", "6", "7", "8", "9.125"])
    planting.put_items("ROIContourSequence", item(ReferencedROINumber="1", ROIDisplayColor=["255", "0", "0"],
                                                  ContourSequence=Sequence([contour])))
    observation = item(ObservationNumber="1", ReferencedROINumber="1", RTROIInterpretedType="ORGAN",
                       ROIInterpreter=person.physician.value)
    planting.put_items("RTROIObservationsSequence", observation)


def plan(planting, shared):
    dataset, person = planting.dataset, planting.person
    dataset.SOPClassUID, dataset.RTPlanLabel = RTPlanStorage, f"PLAN{person.number:04d}X"
    dataset.RTPlanDate, dataset.RTPlanTime, dataset.RTPlanGeometry = person.study_date, "110500", "PATIENT"
    what, how, text = planting.identifier(40)
    beam = item(BeamNumber="1", BeamName=f"Beam {text}", BeamType="STATIC", RadiationType="PHOTON",
                SourceAxisDistance="1000.5", TreatmentMachineName="MACHINE77")
    planting.put_items("BeamSequence", beam)
    planting.note(path_of("BeamSequence", 0, "BeamName"), "name of a beam", [text], ["Beam"], f"{what}, {how}")
    planting.put_items("FractionGroupSequence", item(FractionGroupNumber="1", NumberOfFractionsPlanned="25"))


def _pdf(person):
    """A page whose text and whose title hold the patient's name; the title is in UTF-16, as writers of PDF have it."""
    title = b"\xfe\xff" + person.name.family.encode("utf-16-be")
    line = f"Report for {person.name.given} {person.name.family}, born {person.birth}, ID {person.id}"
    stream = b"BT /F1 12 Tf 40 700 Td (" + line.encode("utf-8") + b") Tj ET"
    return b"".join([b"%PDF-1.4\n1 0 obj << /Title (", title, b") /Author (", person.physician.value.encode(),
                     b") >> endobj\n2 0 obj << /Length ", str(len(stream)).encode(), b" >> stream\n", stream,
                     b"\nendstream endobj\ntrailer << /Info 1 0 R >>\n%%EOF\n"])


def document(planting, shared):
    dataset, person = planting.dataset, planting.person
    dataset.SOPClassUID, dataset.MIMETypeOfEncapsulatedDocument = EncapsulatedPDFStorage, "application/pdf"
    dataset.ConversionType, dataset.BurnedInAnnotation = "WSD", "YES"
    text, how, identifiers, words = planting.sentence(64)
    dataset.DocumentTitle = text
    planting.note(path_of("DocumentTitle"), "title of a document", identifiers, words, how)
    data = _pdf(person)
    dataset.EncapsulatedDocument = data + b"\0" * (len(data) % 2)
    # the bytes of the page are looked for, not only the names in them
    planting.note(path_of("EncapsulatedDocument"), "bytes of a document", [person.id, "Report for"])


def waveform(planting, shared):
    dataset = planting.dataset
    dataset.SOPClassUID = TwelveLeadECGWaveformStorage
    samples = struct.pack("<16h", *range(-8, 8))
    channel = item(ChannelSensitivity="4.88", WaveformBitsStored=16,
                   ChannelSourceSequence=Sequence([code_item("2:1", "MDC", "Lead I")]))
    group = item(WaveformOriginality="ORIGINAL", NumberOfWaveformChannels=1, NumberOfWaveformSamples=16,
                 SamplingFrequency="500", WaveformBitsAllocated=16, WaveformSampleInterpretation="SS",
                 ChannelDefinitionSequence=Sequence([channel]), WaveformData=samples)
    planting.put_items("WaveformSequence", group)
    planting.keep("samples of a waveform", KEPT, path_of("WaveformSequence", 0, "WaveformData"),
                  value=samples.rstrip(b"\0").hex())
    text, how, identifiers, words = planting.sentence(64)
    planting.put_items("WaveformAnnotationSequence", item(UnformattedTextValue=text, ReferencedWaveformChannels=[1, 1]))
    planting.note(path_of("WaveformAnnotationSequence", 0, "UnformattedTextValue"), "annotation of a waveform",
                  identifiers, words, how)


def presentation(planting, shared):
    dataset, person = planting.dataset, planting.person
    dataset.SOPClassUID, dataset.ContentLabel = GrayscaleSoftcopyPresentationStateStorage, "LABEL"
    dataset.ContentDescription, dataset.ContentCreatorName = "Window of lung", person.physician.value
    dataset.PresentationCreationDate, dataset.PresentationCreationTime = person.study_date, "130000"
    class_uid, sop, series, _ = shared.instances[0]
    planting.put_items("ReferencedSeriesSequence", item(SeriesInstanceUID=series))
    _follow(planting, "references to instances", series, "ReferencedSeriesSequence", 0, "SeriesInstanceUID")
    text, how, identifiers, words = planting.sentence(400)
    graphic = item(GraphicAnnotationUnits="PIXEL", GraphicDimensions=2, NumberOfGraphicPoints=2,
                   GraphicData=[1.5, 2.5, 3.5, 4.5], GraphicType="POLYLINE", GraphicFilled="N")
    planting.put_items("GraphicAnnotationSequence",
                       item(GraphicLayer="LAYER1", GraphicObjectSequence=Sequence([graphic]),
                            TextObjectSequence=Sequence([item(UnformattedTextValue=text)])))
    top = path_of("GraphicAnnotationSequence")
    data = path_of("GraphicAnnotationSequence", 0, "GraphicObjectSequence", 0, "GraphicData")
    planting.record_sequence("annotation of a presentation", top, identifiers,
                             [(data, ["1.5", "2.5", "3.5", "4.5"])])
    where = path_of("GraphicAnnotationSequence", 0, "TextObjectSequence", 0, "UnformattedTextValue")
    planting.keep("annotation of a presentation, words", "words kept", where, [RESEARCH], value=words)
    area = item(DisplayedAreaTopLeftHandCorner=[1, 1], DisplayedAreaBottomRightHandCorner=[8, 8],
                PresentationSizeMode="SCALE TO FIT")
    planting.put_items("DisplayedAreaSelectionSequence", area)


DOCUMENTS = {"SR": report, "KO": key_objects, "RTSTRUCT": structures, "RTPLAN": plan, "DOC": document,
             "ECG": waveform, "PR": presentation}
