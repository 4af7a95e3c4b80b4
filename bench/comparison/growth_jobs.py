"""How time and memory grow with the amount: slices of a volume, elements of a file, and calls on an open file."""

from dataclasses import dataclass

from .running import Job, Row


@dataclass
class Growth:
    title: str
    steps: list  # pairs of an amount and a job whose rows have the same names in every step
    items: str = ""  # what the amount counts, where the rate of it is told


def growths(setup):
    side = setup.amounts["growthSide"]
    yield Growth("Slices of %d x %d of a volume" % (side, side),
                 [(slices, _volume(setup, slices)) for slices in setup.amounts["growthSlices"]])
    yield Growth("Elements of a file", [(count, _elements(setup, count)) for count in setup.amounts["elements"]])
    counts = (setup.amounts["elements"][0], setup.amounts["elements"][-1])
    yield Growth("Elements of an open file, of which one attribute is read again",
                 [(count, _again(setup, count)) for count in counts])


def _volume(setup, slices):
    medium, nrrd = setup.file("slices-%d" % slices, "DICOMDIR"), setup.file("out.nrrd")
    return Job("Volume of %d slices" % slices, [
        *setup.bare("rendered-volume", medium),
        Row("Read3DImage", setup.hosted("rendered-volume", medium)),
        Row("radvex volume --rendered", setup.radvex("volume", medium, "--rendered", "--common-window", "-o", nrrd),
            removes=(nrrd,)),
        Row("radvex volume --jobs 0", setup.radvex("volume", "--jobs", "0", medium, "-o", nrrd), removes=(nrrd,)),
    ])


def _elements(setup, count):
    file = setup.file("elements-%d.dcm" % count)
    return Job("Metadata of %d elements" % count, [
        *setup.bare("metadata", file),
        Row("ReadAllMetadata", setup.hosted("metadata", file)),
        Row("radvex tags --json", setup.radvex("tags", "--json", file)),
    ])


def _again(setup, count):
    file = setup.file("elements-%d.dcm" % count)
    return Job("One attribute of an open file of %d elements" % count, [
        Row("ReadMetadata, second call", setup.hosted("attribute-again", file, "SOPInstanceUID"), reports=True),
    ])
