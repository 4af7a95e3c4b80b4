#!/usr/bin/env python3
"""The jobs of the benchmarks with pydicom and GDCM's Python, each in a process of its own: peers.py JOB ARGUMENT...

Only what a job needs is imported: it is part of what is measured.
"""

import glob
import os
import sys


def names_of(folder):
    return glob.glob(os.path.join(folder, "IM*"))


def pydicom_metadata(file):
    import pydicom
    print(len(str(pydicom.dcmread(file))))


def pydicom_attribute(file, keyword):
    import pydicom
    print(pydicom.dcmread(file, specific_tags=[keyword], stop_before_pixels=True)[keyword].value)


def pydicom_medium(folder):
    import pydicom
    keywords = ["PatientName", "SeriesInstanceUID", "InstanceNumber", "ImagePositionPatient", "PixelSpacing"]
    length = 0
    for name in names_of(folder):
        dataset = pydicom.dcmread(name, specific_tags=keywords)
        length += sum(len(str(dataset.get(keyword, ""))) for keyword in keywords)
    print(length)


def _pydicom_stack(folder):
    import numpy
    import pydicom
    files = [pydicom.dcmread(name) for name in names_of(folder)]
    files.sort(key=lambda file: int(file.InstanceNumber))
    return files, numpy.stack([file.pixel_array for file in files])


def pydicom_volume(folder, out):
    import numpy
    files, stack = _pydicom_stack(folder)
    numpy.save(out, stack.astype(numpy.int16) + int(files[0].RescaleIntercept))


def _windowed(values):
    import numpy
    low, high = float(values.min()), float(values.max())
    center, width = (low + high) / 2, high - low
    out = numpy.empty(values.shape, numpy.uint16)
    for index, plane in enumerate(values):
        scaled = ((plane.astype(numpy.float32) - (center - 0.5)) / (width - 1) + 0.5) * 65535
        out[index] = numpy.clip(scaled, 0, 65535)
    return out


def pydicom_window_volume(folder, out):
    import numpy
    numpy.save(out, _windowed(_pydicom_stack(folder)[1]))


def pydicom_frames(file):
    import pydicom
    print(pydicom.dcmread(file).pixel_array.shape)


def pydicom_window_frames(file):
    import pydicom
    print(_windowed(pydicom.dcmread(file).pixel_array).shape)


def _gdcm_values(name):
    """The image reader of a file, and its stored values as bytes."""
    import gdcm
    reader = gdcm.ImageReader()
    reader.SetFileName(name)
    if not reader.Read():
        sys.exit("GDCM cannot read " + name)
    return reader, reader.GetImage().GetBuffer().encode("utf-8", "surrogateescape")


def gdcm_frames(file):
    print(len(_gdcm_values(file)[1]))


def gdcm_volume(folder, out):
    import gdcm
    import numpy
    slices = []
    for name in names_of(folder):
        reader, values = _gdcm_values(name)
        image, text = reader.GetImage(), gdcm.StringFilter()
        text.SetFile(reader.GetFile())
        plane = numpy.frombuffer(values, numpy.uint16).reshape(image.GetDimension(1), image.GetDimension(0))
        slices.append((int(text.ToString(gdcm.Tag(0x20, 0x13))), plane.astype(numpy.int16) + int(image.GetIntercept())))
    slices.sort(key=lambda pair: pair[0])
    numpy.save(out, numpy.stack([plane for _, plane in slices]).astype(numpy.int16))


def pydicom_write(pixels, out):
    import numpy
    from pydicom.dataset import FileDataset, FileMetaDataset
    from pydicom.uid import ImplicitVRLittleEndian, MultiFrameGrayscaleWordSecondaryCaptureImageStorage, generate_uid
    values = numpy.load(pixels)
    meta = FileMetaDataset()
    meta.MediaStorageSOPClassUID = MultiFrameGrayscaleWordSecondaryCaptureImageStorage
    meta.MediaStorageSOPInstanceUID, meta.TransferSyntaxUID = generate_uid(), ImplicitVRLittleEndian
    dataset = FileDataset(out, {}, file_meta=meta, preamble=b"\0" * 128)
    dataset.is_little_endian, dataset.is_implicit_VR = True, True
    dataset.SOPClassUID, dataset.SOPInstanceUID = meta.MediaStorageSOPClassUID, meta.MediaStorageSOPInstanceUID
    dataset.StudyInstanceUID, dataset.SeriesInstanceUID = generate_uid(), generate_uid()
    dataset.NumberOfFrames, dataset.Rows, dataset.Columns = values.shape
    dataset.SamplesPerPixel, dataset.PhotometricInterpretation = 1, "MONOCHROME2"
    dataset.BitsAllocated, dataset.BitsStored, dataset.HighBit, dataset.PixelRepresentation = 16, 16, 15, 0
    dataset.PixelData = values.tobytes()
    dataset.save_as(out, write_like_original=False)


def pydicom_anonymize(folder, out):
    import pydicom
    os.makedirs(out, exist_ok=True)
    for name in names_of(folder):
        file = pydicom.dcmread(name)
        for key in ("SOPInstanceUID", "StudyInstanceUID", "SeriesInstanceUID"):
            file[key].value = pydicom.uid.generate_uid()
        file.PatientID = file.StudyID = "0123456789ABCDEF"
        file.save_as(os.path.join(out, os.path.basename(name)))


if __name__ == "__main__":
    globals()[sys.argv[1].replace("-", "_")](*sys.argv[2:])
