"""Small instances of many modalities: what a file of each kind holds before anything unusual is planted into it."""

import numpy
from pydicom import uid
from pydicom.sequence import Sequence

from planting import PIXELS_KEPT, code_item, item, path_of

DESCRIPTIONS = {"CT": "Abdomen portal venous thin slices", "MR": "Knee sagittal native", "PT": "Whole body delayed",
                "NM": "Perfusion routine", "US": "Abdomen routine", "CR": "Pelvis oblique", "DX": "Lung routine",
                "MG": "Screening oblique", "XA": "Native oblique", "RF": "Contrast follow", "OT": "Captured screen",
                "SR": "Measurements", "KO": "Key objects", "RTSTRUCT": "Structures", "RTPLAN": "Plan",
                "DOC": "Document", "ECG": "Routine", "PR": "Presentation"}
CLASSES = {"CT": uid.CTImageStorage, "MR": uid.MRImageStorage, "PT": uid.PositronEmissionTomographyImageStorage,
           "NM": uid.NuclearMedicineImageStorage, "US": uid.UltrasoundImageStorage,
           "CR": uid.ComputedRadiographyImageStorage, "DX": uid.DigitalXRayImageStorageForPresentation,
           "MG": uid.DigitalMammographyXRayImageStorageForPresentation, "XA": uid.XRayAngiographicImageStorage,
           "RF": uid.XRayRadiofluoroscopicImageStorage, "OT": uid.SecondaryCaptureImageStorage,
           "MRE": uid.EnhancedMRImageStorage}
IMAGES = tuple(CLASSES)


class Study:
    """The UIDs that the files of a study share."""

    def __init__(self, planting):
        self.study, self.frame = planting.uid(), planting.uid()
        self.series, self.instances = {}, []  # instances: (class UID, SOP UID, series UID, kind)


def patient(planting, is_first):
    person, dataset = planting.person, planting.dataset
    dataset.SpecificCharacterSet = person.charset
    dataset.PatientName, dataset.PatientID = person.name.value, person.id
    dataset.PatientBirthDate, dataset.PatientBirthTime = person.birth, "031500"
    dataset.PatientSex, dataset.PatientAge = person.sex, f"{person.age:03d}Y"
    dataset.PatientSize, dataset.PatientWeight = "1.73", f"{50 + person.number % 50}.5"
    dataset.EthnicGroup = "recorded"
    if is_first:  # what other files write in their texts may only be known from this one
        dataset.OtherPatientIDs = person.other_id
        dataset.PatientAddress = f"{person.street}, {person.town}"
        dataset.PatientTelephoneNumbers = person.telephone


def study(planting, shared):
    person, dataset = planting.person, planting.dataset
    dataset.StudyInstanceUID, dataset.StudyID = shared.study, person.study_id
    dataset.StudyDate, dataset.StudyTime = person.study_date, "101530"
    dataset.AccessionNumber = person.accession
    dataset.ReferringPhysicianName = person.physician.value
    dataset.StudyDescription = "Routine follow up"


def series(planting, shared, kind, number):
    person, dataset = planting.person, planting.dataset
    modality = "MR" if kind == "MRE" else kind
    shared.series.setdefault(kind, planting.uid())
    dataset.Modality, dataset.SeriesInstanceUID = modality, shared.series[kind]
    dataset.SeriesNumber, dataset.InstanceNumber = str(number), str(planting.index)
    dataset.SeriesDate, dataset.SeriesTime = person.study_date, "101800.25"
    dataset.ContentDate, dataset.ContentTime = person.study_date, "101900"
    dataset.OperatorsName = person.operator.value
    dataset.SeriesDescription = DESCRIPTIONS[modality]
    dataset.ProtocolName = " ".join(planting.words(3))
    for keyword, limit in (("SeriesDescription", 64), ("StudyDescription", 64), ("ProtocolName", 64)):
        if planting.random.random() < 0.25:
            text, how, identifiers, words = planting.sentence(limit)
            setattr(dataset, keyword, text)
            planting.note(path_of(keyword), "text of a usual description", identifiers, words, how)


def equipment(planting):
    person, dataset = planting.person, planting.dataset
    dataset.Manufacturer, dataset.ManufacturerModelName = "Invented Devices", "Model 7"
    dataset.InstitutionName, dataset.InstitutionalDepartmentName = person.institution, "Ward of Radiology"
    dataset.InstitutionAddress = f"Klinikweg {100 + person.number}, {person.town}"
    dataset.StationName, dataset.DeviceSerialNumber = f"STAT{person.number:05d}", f"SN{person.number:07d}X"
    dataset.SoftwareVersions = ["VA20", "R7"]


def frame_of_reference(planting, shared):
    planting.dataset.FrameOfReferenceUID = shared.frame
    planting.dataset.PositionReferenceIndicator = "XY"


def _acquisition(planting, kind):
    dataset, slice_number = planting.dataset, planting.index % 40
    dataset.AcquisitionDate, dataset.AcquisitionTime = planting.person.study_date, "101745"
    if kind in ("CT", "MR", "PT", "MRE"):
        dataset.ImagePositionPatient = ["-120.5", "-118.25", f"{slice_number * 2.5}"]
        dataset.ImageOrientationPatient = ["1", "0", "0", "0", "0.8660254", "0.5"]
        dataset.SliceThickness, dataset.PixelSpacing = "2.5", ["0.703125", "0.703125"]
    if kind in ("CT", "PT"):
        dataset.RescaleIntercept, dataset.RescaleSlope, dataset.RescaleType = "-1024", "1.5", "HU"
    if kind in ("CT", "CR", "DX", "MG", "XA", "RF"):
        dataset.KVP, dataset.ExposureTime, dataset.XRayTubeCurrent = "120", "750", "210"
        dataset.BodyPartExamined = "ABDOMEN"
    if kind == "MR":
        dataset.EchoTime, dataset.RepetitionTime, dataset.FlipAngle = "4.76", "2300.5", "12"
        dataset.MagneticFieldStrength, dataset.SequenceVariant = "3", ["SK", "SP"]
    if kind == "PT":
        dataset.Units, dataset.DecayCorrection, dataset.FrameReferenceTime = "BQML", "START", "1500.5"
    if kind == "US":
        region = item(RegionSpatialFormat=1, RegionDataType=1, PhysicalDeltaX=0.0125, PhysicalDeltaY=0.0125)
        dataset.SequenceOfUltrasoundRegions = Sequence([region])
    dataset.AnatomicRegionSequence = Sequence([code_item("T-D4000", "SRT", "Abdomen")])


def _pixel_values(planting, kind, frames, size):
    """A pattern of its own for each file: its number is in the first row, the rest is a slope."""
    depth = numpy.uint8 if kind in ("US", "OT", "RF") else numpy.uint16
    slope = numpy.add.outer(numpy.arange(size), numpy.arange(size)) * 7 % 251
    values = numpy.stack([(slope + frame) % 251 for frame in range(frames)]).astype(depth)
    for place, digit in enumerate(f"{planting.index:08d}"):
        values[:, 0, place] = int(digit)
    return values


def pixels(planting, kind, big_endian):
    dataset = planting.dataset
    frames, size = (3, 8) if kind in ("MRE", "NM", "XA") else (1, (8, 16, 32)[planting.index % 3])
    values = _pixel_values(planting, kind, frames, size)
    if kind == "US" and planting.index % 2:
        values = numpy.repeat(values[..., None], 3, axis=-1)
    dataset.SamplesPerPixel = 3 if values.ndim == 4 else 1
    dataset.PhotometricInterpretation = "RGB" if values.ndim == 4 else "MONOCHROME2"
    if values.ndim == 4:
        dataset.PlanarConfiguration = 0
    dataset.Rows = dataset.Columns = size
    bits = values.dtype.itemsize * 8
    dataset.BitsAllocated, dataset.BitsStored, dataset.HighBit, dataset.PixelRepresentation = bits, bits, bits - 1, 0
    if frames > 1:
        dataset.NumberOfFrames = str(frames)
    dataset.WindowCenter, dataset.WindowWidth = "120", "240"
    dataset.PixelData = (values.byteswap() if big_endian else values).tobytes()
    dataset["PixelData"].VR = "OB" if bits == 8 else "OW"
    planting.keep("pixels", PIXELS_KEPT)


def _enhanced(planting):
    person = planting.person
    shared = item(FrameAnatomySequence=Sequence([item(FrameLaterality="U")]),
                  PixelMeasuresSequence=Sequence([item(SliceThickness="2.5", PixelSpacing=["0.7", "0.7"])]))
    frames = []
    for number in range(3):
        text, how, identifiers, words = planting.sentence(64)
        content = item(FrameAcquisitionDateTime=f"{person.study_date}1017{number:02d}.5", FrameComments=text,
                       StackID="1", InStackPositionNumber=number + 1)
        place = item(ImagePositionPatient=["-120.5", "-118.25", f"{number * 2.5}"])
        frames.append(item(FrameContentSequence=Sequence([content]), PlanePositionSequence=Sequence([place])))
        planting.note(path_of("PerFrameFunctionalGroupsSequence", number, "FrameContentSequence", 0, "FrameComments"),
                      "comment of a frame", identifiers, words, how)
    planting.put_items("SharedFunctionalGroupsSequence", shared)
    planting.put_items("PerFrameFunctionalGroupsSequence", *frames)


def image(planting, shared, kind, big_endian):
    dataset = planting.dataset
    dataset.SOPClassUID, dataset.ImageType = CLASSES[kind], ["ORIGINAL", "PRIMARY", "AXIAL"]
    if kind in ("CT", "MR", "PT", "MRE"):
        frame_of_reference(planting, shared)
    _acquisition(planting, kind)
    if kind == "MRE":
        del dataset.ImagePositionPatient
        _enhanced(planting)
    pixels(planting, kind, big_endian)
