"""How time and memory grow with the amount: slices of a volume, elements of a file, and calls on an open file."""

from dataclasses import dataclass

from .running import Job, Row


@dataclass
class Growth:
    title: str
    steps: list  # pairs of an amount and a job whose rows have the same names in every step


def growths(place):
    side = place.amounts["growthSide"]
    yield Growth("Slices of %d x %d of a volume" % (side, side),
                 [(slices, _volume(place, slices)) for slices in place.amounts["growthSlices"]])
    yield Growth("Elements of a file", [(count, _elements(place, count)) for count in place.amounts["elements"]])
    counts = (place.amounts["elements"][0], place.amounts["elements"][-1])
    yield Growth("Elements of an open file, of which one attribute is read again",
                 [(count, _again(place, count)) for count in counts])


def _volume(place, slices):
    medium, nrrd = place.file("slices-%d" % slices, "DICOMDIR"), place.file("out.nrrd")
    return Job("Volume of %d slices" % slices, [
        *place.bare("rendered-volume", medium),
        Row("Read3DImage", place.hosted("rendered-volume", medium)),
        Row("radvex volume --rendered", place.radvex("volume", medium, "--rendered", "--common-window", "-o", nrrd),
            removes=(nrrd,)),
        Row("radvex volume --jobs 0", place.radvex("volume", "--jobs", "0", medium, "-o", nrrd), removes=(nrrd,)),
    ])


def _elements(place, count):
    file = place.file("elements-%d.dcm" % count)
    return Job("Metadata of %d elements" % count, [
        *place.bare("metadata", file),
        Row("ReadAllMetadata", place.hosted("metadata", file)),
        Row("radvex tags --json", place.radvex("tags", "--json", file)),
    ])


def _again(place, count):
    file = place.file("elements-%d.dcm" % count)
    return Job("One attribute of an open file of %d elements" % count, [
        Row("ReadMetadata, second call", place.hosted("attribute-again", file, "SOPInstanceUID"), reports=True),
    ])
