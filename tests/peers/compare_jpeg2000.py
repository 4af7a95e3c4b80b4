"""Compares JPEG 2000 and HTJ2K with the decoding of the same codestreams by opj_decompress and ojph_expand.

Pictures are made with a fixed seed, coded with the options of opj_compress and ojph_compress (jpeg2000_cases.py) and
put into DICOM files (jpeg2000_files.py). Their stored values, modality values and attributes have to be those of
opj_decompress, and where nothing was lost those of the picture. ojph_expand, which shares no code with our decoder, has
to agree: exactly where nothing was lost, else within its rounding. Files whose attributes contradict the codestream are
refused. Then codestreams are cut, their bits flipped, and bytes removed or inserted: each such file gives the pixels of
opj_decompress, those of the whole codestream when it was cut, or is refused with a sentence.
Usage: compare_jpeg2000.py RADVEX [--broken N]    N: cuts and flips of each codestream, 24 without it
"""

import argparse
import base64
import concurrent.futures
import json
import os
import subprocess
import sys
import tempfile
import zlib

import matplotlib.image
import numpy

import compare_pictures
from jpeg2000_cases import all_cases, cases_to_break, contradictions, ojph, opj
from jpeg2000_files import decoded, dicom, encode, kind_of, palette, picture, with_sign
from samples import Session

TYPES = {"s8": "i1", "u8": "u1", "s16": "<i2", "u16": "<u2", "s32": "<i4", "u32": "<u4"}
ATTRIBUTES = ("BitsAllocated", "BitsStored", "HighBit", "PixelRepresentation", "PhotometricInterpretation",
              "LossyImageCompression")
NO_WINDOW = {"tensor": {"type": "real", "dims": [2], "data": [-3.0, 0.0]}}
PARTIAL_ACCESS = 0x400  # CIF_UsePartialAccessToPixelData: single frames are decoded
MEAN_LOSS = 0.05  # of the range: more says that the other program has decoded something else


class Reader:
    """A session that is started anew when it dies; a path is read once."""

    def __init__(self, command):
        self.command = command
        self.session = Session(command)

    def call(self, name, path, *arguments):
        """What an answer holds, or the sentence of the refusal; Crash when there is no answer."""
        try:
            answer = self.session.call(name, path, *arguments)
        except (json.JSONDecodeError, BrokenPipeError):
            status = self.session.process.wait()
            self.session = Session(self.command)
            raise Crash("the command ended with status %d" % status) from None
        if answer["code"] == 0:
            return answer.get("result")
        if not answer["message"]:
            raise Crash("refused without a word")
        return answer["message"]

    def close(self, path):
        self.call("CloseReader", path)


class Crash(Exception):
    """No answer."""


def array_of(answer):
    return numpy.frombuffer(base64.b64decode(answer["base64"]), TYPES[answer["type"]]).reshape(answer["dims"])


def stored(reader, path, case):
    """[frame][row][column][sample] as they are stored, and the attributes; or a sentence."""
    answer = reader.call("ReadMetadata", path, ["PixelData", *ATTRIBUTES], True)
    if isinstance(answer, str):
        return answer
    found = {key: value for key, value in answer["store"]}
    if not isinstance(found.get("PixelData"), dict):
        return "no pixels"
    frames = numpy.stack([array_of(node[1]["array"]) for node in found.pop("PixelData")["store"]])
    if case.samples == 1:
        frames = frames[..., None]
    elif case.planar:
        frames = frames.transpose(0, 2, 3, 1)
    return frames, found


def shown(reader, path, case):
    """What is made of the stored values: modality values, or rendered colours; or a sentence."""
    if case.samples == 1:
        answer = reader.call("ReadIntermediatePixelData", path, 0, 0)
        return answer if isinstance(answer, str) else array_of(answer["array"])
    return reader.call("ReadImageData", path, 0, 0, NO_WINDOW, False, 0)


def expected_attributes(case, pixels):
    """Those of the decoded pixels: the codestream counts (PS3.5 8.2.4). BitsStored stays where the samples fit."""
    end = 1 << (case.bits_stored - case.signed)
    fits = pixels.max() < end and pixels.min() >= (-end if case.signed else 0)
    stored_bits = min(case.bits_stored, case.bits) if fits else case.bits
    expected = {"BitsAllocated": max(case.bits_allocated, 8 if case.bits <= 8 else 16), "BitsStored": stored_bits,
                "HighBit": stored_bits - 1, "PixelRepresentation": int(case.signed),
                "PhotometricInterpretation": "RGB" if case.model in ("YBR_RCT", "YBR_ICT") else case.model}
    if case.syntax in ("91", "203"):
        expected["LossyImageCompression"] = "01"
    return expected


def same(found, expected):
    """The empty text, or how the values differ. Signed and unsigned types compare by their values."""
    if isinstance(found, str):
        return found
    if found.shape != expected.shape:
        return "shape %s instead of %s" % (found.shape, expected.shape)
    apart = numpy.abs(found.astype("int64") - expected)
    return "" if not apart.any() else "%d of %d samples differ, by up to %d" % (numpy.count_nonzero(apart), apart.size,
                                                                                   apart.max())


def problems_of_reference(case, source, reference, codestream, path):
    """What shows that the other programs have not decoded the picture."""
    if isinstance(reference, str):
        return [reference]
    if reference.shape != source.shape or kind_of(codestream)[3:] != (case.bits, case.signed):
        return ["opj_decompress: another kind of picture"]
    problems = []
    loss = numpy.abs(reference - source)
    coarse = case.program == "opj_compress" and {"-r", "-q"} & set(case.options)
    if loss.any() and (case.lossless or not coarse and loss.mean() > MEAN_LOSS * (1 << case.bits)):
        problems.append("opj_decompress: not the picture, by up to %d" % loss.max())
    # ojph_expand 0.9 takes no image offset, decodes a few samples wrongly, and writes no signed ones.
    if case.program == "ojph_compress" and source.size >= 100 and "-image_offset" not in case.options:
        half = 1 << (case.bits - 1) if case.signed else 0
        other = decoded(with_sign(codestream, False), path, "ojph_expand")
        apart = other if isinstance(other, str) else int(numpy.abs(other - half - reference).max())
        if isinstance(apart, str) or apart > (0 if case.lossless else max(1, (1 << case.bits) >> 14)):
            problems.append("ojph_expand differs from opj_decompress: %s" % apart)
    return problems


def prepare(case, path):
    """Writes the file. @return expected [frame][row][column][sample], and what is wrong with it"""
    problems, codestreams, references = [], [], []
    for frame in range(case.frames):
        source = picture(case, frame)
        try:
            codestreams.append(encode(case, source, path))
        except RuntimeError as error:
            return None, [str(error)]
        references.append(decoded(codestreams[-1], path))
        problems += problems_of_reference(case, source, references[-1], codestreams[-1], path)
    with open(path + ".dcm", "wb") as file:
        file.write(dicom(case, codestreams))
    return None if problems else numpy.stack(references), problems


def problems_of_pictures(reader, case, path, expected):
    """Each rendered frame where it is plain what it has to look like: grey, RGB and palette colours of 8 bits."""
    is_plain = case.model in ("MONOCHROME2", "RGB", "YBR_RCT", "YBR_ICT", "PALETTE COLOR") and not case.signed
    if not is_plain or case.bits_allocated != 8 or expected_attributes(case, expected)["BitsStored"] != 8:
        return []
    if case.model == "PALETTE COLOR":
        expected = numpy.stack([table[expected[..., 0]] for table in palette(case)], axis=-1) * 257  # of 16 bits
    problems = []
    for flags in (0, PARTIAL_ACCESS):
        for frame in reversed(range(case.frames)):
            image = reader.call("ReadImage", path, frame, 1, NO_WINDOW, False, flags)
            rendered = image if isinstance(image, str) else compare_pictures.pixels(image["image"])
            if problem := same(rendered, expected[frame] if expected.shape[-1] == 3 else expected[frame, ..., 0]):
                problems.append("rendered frame %d, flags %d: %s" % (frame + 1, flags, problem))
    return problems


def compare(reader, case, path, expected):
    """What differs."""
    problems = []
    answer = stored(reader, path, case)
    if isinstance(answer, str):
        return [answer]
    frames, attributes = answer
    words = frames.astype("<i%d" % frames.itemsize) if case.signed else frames
    if problem := same(words, expected):
        problems.append("stored: " + problem)
    if attributes != expected_attributes(case, expected):
        problems.append("attributes: %s" % attributes)
    if case.model.startswith("MONOCHROME"):
        if problem := same(shown(reader, path, case), expected[..., 0] if case.frames > 1 else expected[0, ..., 0]):
            problems.append("modality values: " + problem)
    return problems + problems_of_pictures(reader, case, path, expected)


def by_command(command, case, path, expected):
    """What `radvex data` and `radvex image` write."""
    def run(*arguments):
        return subprocess.run([command, *arguments], capture_output=True, text=True, check=False)

    problems = []
    if case.samples == 1:
        run("data", path, "-o", path + ".npy")
        if not os.path.exists(path + ".npy"):
            return ["radvex data: nothing written"]
        if problem := same(numpy.load(path + ".npy"), expected[0, ..., 0]):
            problems.append("radvex data: " + problem)
    else:
        run("image", path, "-o", path + ".png")
        if not os.path.exists(path + ".png"):
            return ["radvex image: nothing written"]
        shown = numpy.rint(matplotlib.image.imread(path + ".png")[..., :3] * 255)
        if problem := same(shown, expected[0]):
            problems.append("radvex image: " + problem)
    return problems


def broken_codestreams(codestream, count, generator):
    """Pairs: whether it is cut, and the bytes. Half are cut; half of the others have a wrong bit in a header.

    Others lack some bytes, or have some more.
    """
    header = codestream.index(b"\xff\x93") + 2
    whole = len(codestream)
    at_ends = [whole - 1, whole - 2, whole - 3, header, header - 1]
    anywhere = generator.integers(1, whole, max(count // 2 - len(at_ends), 0))
    for length in sorted({*at_ends, *map(int, anywhere)}):
        yield True, codestream[:length]
    for number in range(count - count // 2):
        flipped = bytearray(codestream)
        offset = int(generator.integers(2, header if number % 2 == 0 else whole))
        flipped[offset] ^= 1 << int(generator.integers(0, 8))
        yield False, bytes(flipped)
    for number in range(count // 3):  # as after a lost fragment or packet: all behind it lies elsewhere
        offset = int(generator.integers(header, whole - 2))
        size = int(generator.integers(1, 9))
        if number % 2 == 0:
            yield False, codestream[:offset] + codestream[offset + size:]
        else:
            yield False, codestream[:offset] + generator.bytes(size) + codestream[offset:]


def both_of(reader, case, path, codestreams):
    """Stored values and what is made of them, of a file that is written for it."""
    with open(path, "wb") as file:
        file.write(dicom(case, codestreams))
    answers = stored(reader, path, case), shown(reader, path, case)
    reader.close(path)
    return answers


def problem_of_broken(reader, case, path, is_cut, codestream, whole):
    """The empty text, or what the file gives wrongly. Its attributes are those of the whole codestream."""
    try:
        answer, said = both_of(reader, case, path + ".dcm", [codestream])
    except Crash as crash:
        return str(crash), False
    if isinstance(answer, str):
        return "" if isinstance(said, str) else "pixels only where they are shown", False
    reference = whole if is_cut else decoded(codestream + b"\0" * (len(codestream) % 2), path)  # as padded
    if isinstance(reference, str):
        return "pixels, but " + reference, True
    words = answer[0][0]
    problem = same(words, reference.astype(words.dtype))  # flipped bits may contradict the sign of the attributes
    if is_cut and case.samples == 1:
        problem = problem or same(said, whole[..., 0])
    return problem, True


def compare_broken(reader, folder, count):
    """@return the number of files, of those that gave pixels, and the failures"""
    files = read = failures = 0
    for number, case in enumerate(cases_to_break()):
        path = os.path.join(folder, "broken-%d" % number)
        generator = numpy.random.default_rng(zlib.crc32(str(case).encode()))
        codestream = encode(case, picture(case, 0), path)
        whole = decoded(codestream, path)
        for is_cut, broken in broken_codestreams(codestream, count, generator):
            problem, was_read = problem_of_broken(reader, case, path, is_cut, broken, whole)
            files += 1
            read += was_read
            if problem:
                failures += 1
                print("%s %s, %s" % (case, "cut" if is_cut else "damaged", problem))
                keep(path + ".dcm", "broken-%d" % files)
    return files, read, failures


def compare_contradictions(reader, folder):
    """@return the number of files, and the failures"""
    files = failures = 0
    for coded, stated in contradictions():
        path = os.path.join(folder, "contradiction-%d" % files)
        files += 1
        codestreams = [encode(case, picture(case, 0), path) for case in coded]
        try:
            problem = ", ".join("is read" for answer in both_of(reader, stated, path + ".dcm", codestreams)
                                if not isinstance(answer, str))
        except Crash as crash:
            problem = str(crash)
        if problem:
            failures += 1
            print("%s in a file of %s: %s" % (", ".join(map(str, coded)), stated, problem))
            keep(path + ".dcm", "contradiction-%d" % files)
    return files, failures


def compare_mel(reader, folder):
    """A code block of HTJ2K whose MEL segment has two bytes that may not follow one another: it is refused.

    OpenJPEG 2.5.0 ends the process in an assertion when both are read at once, which depends on where they lie.

    @return the number of files, and the failures
    """
    files = failures = 0
    for rows in range(8, 24):
        case = ojph("-num_decomps", "0", columns=16, rows=rows, bits=8)
        path = os.path.join(folder, "mel-%d" % rows)
        codestream = bytearray(encode(case, picture(case, 0), path))
        end = codestream.rindex(b"\xff\xd9")  # of the only code block
        start = end - (codestream[end - 1] << 4 | codestream[end - 2] & 15)
        codestream[start:start + 4] = b"\xff" * 4
        files += 1
        try:
            answers = both_of(reader, case, path + ".dcm", [bytes(codestream)])
            problem = ", ".join("is read" for answer in answers if not isinstance(answer, str))
        except Crash as crash:
            problem = str(crash)
        if problem:
            failures += 1
            print("MEL segment in %d rows: %s" % (rows, problem))
            keep(path + ".dcm", "mel-%d" % rows)
    return files, failures


def refusals_by_command(command, folder):
    """`radvex data` of a cut file: a sentence on standard error, status 1, nothing written."""
    case = opj()
    codestream = encode(case, picture(case, 0), os.path.join(folder, "cut"))
    path = os.path.join(folder, "cut.dcm")
    problems = []
    for length in (1, 60, len(codestream) // 2, len(codestream) - 3):
        with open(path, "wb") as file:
            file.write(dicom(case, [codestream[:length]]))
        run = subprocess.run([command, "data", path, "-o", path + ".npy"], capture_output=True, text=True, check=False)
        if run.returncode != 1 or not run.stderr.startswith("radvex: ") or os.path.exists(path + ".npy"):
            problems.append("cut to %d bytes: status %d, %s" % (length, run.returncode, run.stderr.strip()))
    return problems


def keep(path, name):
    """Copies a file that shows a problem to the folder that RADVEX_KEEP names, if it does."""
    folder = os.environ.get("RADVEX_KEEP")
    if folder:
        with open(path, "rb") as file, open(os.path.join(folder, name + ".dcm"), "wb") as copy:
            copy.write(file.read())


def compare_all(reader, command, folder):
    """@return the number of cases and of failures"""
    cases = all_cases()
    paths = [os.path.join(folder, str(number)) for number in range(len(cases))]
    failures = 0
    with concurrent.futures.ThreadPoolExecutor(2) as pool:  # the time goes into the other programs
        for number, (expected, problems) in enumerate(pool.map(prepare, cases, paths)):
            case, path = cases[number], paths[number] + ".dcm"
            if not problems:
                try:
                    problems = compare(reader, case, path, expected)
                    reader.close(path)
                except Crash as crash:
                    problems = [str(crash)]
                is_plain = case.frames == 1 and (case.samples == 1 or case.bits == 8 and case.model == "RGB")
                if number % 16 == 0 and is_plain:
                    problems += by_command(command, case, path, expected)
            if problems:
                failures += 1
                print(case)
                for problem in problems:
                    print("   ", problem)
                keep(path, str(number))
    return len(cases), failures


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("command")
    parser.add_argument("--broken", type=int, default=24)
    arguments = parser.parse_args()
    reader = Reader(arguments.command)
    with tempfile.TemporaryDirectory() as folder:
        cases, failures = compare_all(reader, arguments.command, folder)
        broken, read, wrong = compare_broken(reader, folder, arguments.broken)
        contradicting, accepted = compare_contradictions(reader, folder)
        mel, crashed = compare_mel(reader, folder)
        refusals = refusals_by_command(arguments.command, folder)
    for problem in refusals:
        print("radvex data:", problem)
    wrong += crashed + len(refusals)
    print("%d files compared, %d failures; %d contradicting files, %d failures; %d broken files, %d of them read, "
          "%d failures" % (cases, failures, contradicting, accepted, broken + mel, read, wrong))
    return 1 if failures or accepted or wrong else 0


if __name__ == "__main__":
    sys.exit(main())
