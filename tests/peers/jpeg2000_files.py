"""Pictures in JPEG 2000 and HTJ2K, coded by the programs of OpenJPEG and OpenJPH, and DICOM files around them."""

import dataclasses
import io
import os
import subprocess
import zlib

import numpy
import pydicom
from pydicom.dataset import Dataset, FileMetaDataset

from compare_pictures import read_pnm

SYNTAX = "1.2.840.10008.1.2.4."
SECONDARY_CAPTURE = "1.2.840.10008.5.1.4.1.1.7"


@dataclasses.dataclass(frozen=True)
class Case:
    """How a picture is coded, and what the file around it says."""

    program: str = "opj_compress"
    options: tuple = ()
    columns: int = 60
    rows: int = 43
    samples: int = 1
    bits: int = 12  # of the codestream
    used: int = 0  # bits that the samples need, but for those of the last of several frames; or 0 for all
    signed: bool = False
    lossless: bool = True
    syntax: str = "90"  # behind SYNTAX
    model: str = "MONOCHROME2"
    planar: int = 0
    stored: int = 0  # BitsStored, or 0 for that of the codestream
    allocated: int = 0  # BitsAllocated, or 0 for what BitsStored needs
    frames: int = 1
    pieces: int = 1  # fragments of each frame
    table: str = "basic"  # basic, extended, none
    is_jp2: bool = False  # the codestream is inside of a JP2 file, as some writers leave it

    @property
    def bits_stored(self):
        return self.stored or self.bits

    @property
    def bits_allocated(self):
        return self.allocated or (8 if self.bits_stored <= 8 else 16)

    def __str__(self):
        said = [self.program, *self.options]
        for field in dataclasses.fields(self)[2:]:
            value = getattr(self, field.name)
            if value != field.default or field.name in ("columns", "rows", "bits"):
                said.append("%s=%s" % (field.name, value))
        return " ".join(said)


def picture(case, frame):
    """[row][column][sample]: a gradient with noise, a flat area, an area of extremes; the same for the same case."""
    generator = numpy.random.default_rng([zlib.crc32(str(case).encode()), frame])
    is_last = frame > 0 and frame == case.frames - 1
    bits = case.bits if is_last else case.used or case.bits
    top = (1 << bits) - 1
    row, column, sample = numpy.meshgrid(range(case.rows), range(case.columns), range(case.samples), indexing="ij")
    gradient = (row / case.rows + column / case.columns + sample / 3 + frame / 9) / 3 * top
    values = numpy.rint(gradient + generator.normal(0, top / 24, row.shape)).clip(0, top).astype("int32")
    values[case.rows // 2:case.rows * 3 // 4, case.columns // 2:] = top // 3
    extremes = values[case.rows * 3 // 4:, :case.columns // 3]
    extremes[...] = generator.integers(0, 2, extremes.shape) * top
    return values - (1 << (bits - 1)) if case.signed else values


def raw(values, bits):
    """Plane after plane, little-endian."""
    return values.transpose(2, 0, 1).astype("<u2").tobytes() if bits > 8 else \
        values.transpose(2, 0, 1).astype("u1").tobytes()


def run(command):
    """@return what it says on the standard error and its status"""
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace",
                          check=False)
    return done.stdout.strip(), done.returncode


def encode(case, values, path):
    """@param path  of the files to make, without an ending. @return the codestream

    ojph_compress reads signed samples as unsigned ones. Signed samples are coded as they are and unsigned ones less
    half of their range, so the codestream of the one is that of the other but for the sign in SIZ.
    """
    if case.signed and case.program == "ojph_compress":
        unsigned = dataclasses.replace(case, signed=False)
        return with_sign(encode(unsigned, values + (1 << (case.bits - 1)), path), True)
    coded = path + ".j2k" if case.program == "opj_compress" else path + ".j2c"
    if "-colour_trans" in case.options:  # only takes a colour picture
        source = path + ".ppm"
        content = b"P6 %d %d %d\n" % (case.columns, case.rows, (1 << case.bits) - 1)
        content += values.astype(">u2" if case.bits > 8 else "u1").tobytes()
    else:
        source = path + (".rawl" if case.program == "opj_compress" else ".yuv")
        content = raw(values, case.bits)
    with open(source, "wb") as file:
        file.write(content)
    command = [case.program, "-i", source, "-o", coded]
    if case.program == "opj_compress":
        command += ["-F", "%d,%d,%d,%d,%s" % (case.columns, case.rows, case.samples, case.bits, "us"[case.signed])]
    elif source.endswith(".yuv"):
        command += ["-dims", "{%d,%d}" % (case.columns, case.rows), "-num_comps", str(case.samples), "-signed",
                    ",".join([str(case.signed).lower()] * case.samples), "-bit_depth",
                    ",".join([str(case.bits)] * case.samples), "-downsamp", ",".join(["{1,1}"] * case.samples)]
    said, status = run(command + list(case.options))
    if status != 0 or not os.path.exists(coded):
        raise RuntimeError("%s: %s" % (case, said[-300:]))
    with open(coded, "rb") as file:
        return file.read()


def with_sign(codestream, is_signed):
    changed = bytearray(codestream)
    for sample in range(kind_of(codestream)[2]):
        changed[42 + 3 * sample] = changed[42 + 3 * sample] & 0x7F | 0x80 * is_signed
    return bytes(changed)


def kind_of(codestream):
    """Columns, rows, samples, bits and sign, as SIZ says."""
    right, bottom, left, top = (int.from_bytes(codestream[at:at + 4], "big") for at in (8, 12, 16, 20))
    return right - left, bottom - top, int.from_bytes(codestream[40:42], "big"), (codestream[42] & 0x7F) + 1, \
        codestream[42] >= 0x80


def decoded(codestream, path, program="opj_decompress"):
    """[row][column][sample] as another program decodes them, or its last words."""
    columns, rows, samples, bits, signed = kind_of(codestream)
    is_pnm = program == "ojph_expand" and samples > 1
    coded = path + ".coded.j2k"
    output = path + ".decoded." + ("rawl" if program == "opj_decompress" else "ppm" if is_pnm else "raw")
    with open(coded, "wb") as file:
        file.write(codestream)
    if os.path.exists(output):
        os.remove(output)
    said, status = run([program, "-i", coded, "-o", output])
    if status != 0 or not os.path.exists(output):
        return "%s: status %d, %s" % (program, status, said[-200:])
    if is_pnm:
        return read_pnm(output).astype("int32")
    values = numpy.fromfile(output, "<u2" if bits > 8 else "u1").astype("int32")
    if values.size != columns * rows * samples:
        return "%s: %d samples" % (program, values.size)
    values &= (1 << bits) - 1
    if signed:
        values -= (values >> (bits - 1)) << bits
    return values.reshape(samples, rows, columns).transpose(1, 2, 0)


def jp2_file(case, codestream):
    """ISO/IEC 15444-1, annex I."""
    def box(kind, content):
        return (len(content) + 8).to_bytes(4, "big") + kind + content

    header = case.rows.to_bytes(4, "big") + case.columns.to_bytes(4, "big") + case.samples.to_bytes(2, "big") + \
        bytes([case.bits - 1 + 0x80 * case.signed, 7, 0, 0])
    colours = bytes([1, 0, 0]) + (16 if case.samples == 3 else 17).to_bytes(4, "big")
    return box(b"jP  ", b"\r\n\x87\n") + box(b"ftyp", b"jp2 \0\0\0\0jp2 ") + \
        box(b"jp2h", box(b"ihdr", header) + box(b"colr", colours)) + box(b"jp2c", codestream)


def item(content):
    return b"\xfe\xff\x00\xe0" + len(content).to_bytes(4, "little") + content


def encapsulated(case, codestreams):
    """The fragments with their basic offset table, and the offsets and lengths of the frames."""
    fragments, offsets, lengths = b"", [], []
    for codestream in codestreams:
        offsets.append(len(fragments))
        lengths.append(len(codestream))
        size = -(-len(codestream) // case.pieces)
        size += size % 2
        for start in range(0, max(len(codestream), 1), max(size, 1)):
            piece = codestream[start:start + size]
            fragments += item(piece + b"\0" * (len(piece) % 2))
    table = b"".join(offset.to_bytes(4, "little") for offset in offsets) if case.table == "basic" else b""
    return item(table) + fragments, offsets, lengths


def dicom(case, codestreams):
    """The bytes of a DICOM file."""
    dataset = Dataset()
    dataset.is_little_endian, dataset.is_implicit_VR = True, False
    dataset.SOPClassUID, dataset.SOPInstanceUID = SECONDARY_CAPTURE, "1.2.3.4"
    dataset.SamplesPerPixel, dataset.PhotometricInterpretation = case.samples, case.model
    if case.samples > 1:
        dataset.PlanarConfiguration = case.planar
    if case.frames > 1:
        dataset.NumberOfFrames = case.frames
    dataset.Rows, dataset.Columns = case.rows, case.columns
    dataset.BitsAllocated, dataset.BitsStored, dataset.HighBit = case.bits_allocated, case.bits_stored, \
        case.bits_stored - 1
    dataset.PixelRepresentation = int(case.signed)
    if case.model == "PALETTE COLOR":
        for colour, table in zip(("Red", "Green", "Blue"), palette(case)):
            setattr(dataset, colour + "PaletteColorLookupTableDescriptor", [len(table) % 65536, 0, 16])
            setattr(dataset, colour + "PaletteColorLookupTableData", (table.astype("<u2") * 257).tobytes())
    if case.is_jp2:
        codestreams = [jp2_file(case, codestream) for codestream in codestreams]
    pixels, offsets, lengths = encapsulated(case, codestreams)
    if case.table == "extended":
        dataset.ExtendedOffsetTable = numpy.array(offsets, "<u8").tobytes()
        dataset.ExtendedOffsetTableLengths = numpy.array(lengths, "<u8").tobytes()
    dataset.PixelData = pixels
    dataset["PixelData"].is_undefined_length = True
    dataset.file_meta = FileMetaDataset()
    dataset.file_meta.TransferSyntaxUID = SYNTAX + "90"
    dataset.file_meta.MediaStorageSOPClassUID = SECONDARY_CAPTURE
    dataset.file_meta.MediaStorageSOPInstanceUID = dataset.SOPInstanceUID
    buffer = io.BytesIO()
    pydicom.dcmwrite(buffer, dataset, write_like_original=False)
    return with_syntax(buffer.getvalue(), SYNTAX + case.syntax)


def with_syntax(file, uid):
    """The file with another transfer syntax than JPEG 2000 Lossless; pydicom writes none that it does not know."""
    former = (SYNTAX + "90").encode()
    uid = uid.encode() + b"\0" * (len(uid) % 2)
    element = b"\x02\0\x10\0UI" + len(former).to_bytes(2, "little") + former
    group_length = 128 + len("DICM") + 8  # of its value
    length = int.from_bytes(file[group_length:group_length + 4], "little") + len(uid) - len(former)
    file = file[:group_length] + length.to_bytes(4, "little") + file[group_length + 4:]
    return file.replace(element, b"\x02\0\x10\0UI" + len(uid).to_bytes(2, "little") + uid, 1)


def palette(case):
    """[colour][entry] of 8 bits, each colour in another order."""
    entries = numpy.arange(1 << case.bits_stored)
    return [(entries * factor) % 256 for factor in (1, 3, 7)]
