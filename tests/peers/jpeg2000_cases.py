"""What of JPEG 2000 and HTJ2K is compared: options of the encoders, alone and together, and ways to wrap frames."""

import dataclasses

from jpeg2000_files import Case

PROGRESSIONS = ("LRCP", "RLCP", "RPCL", "PCRL", "CPRL")
SIZES = ((1, 1), (1, 7), (9, 1), (2, 2), (3, 5), (17, 13), (31, 33), (64, 64), (65, 63), (127, 129), (300, 200),
         (200, 3))
DEPTHS = (1, 2, 3, 5, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16)
COLOURS = ((8, 0), (8, 1), (10, 0), (12, 1), (16, 0))  # bits, PlanarConfiguration


def with_loss(case):
    """The same with the irreversible wavelets, and the transfer syntax for them."""
    if case.program == "opj_compress":
        return dataclasses.replace(case, options=(*case.options, "-I"), lossless=False, syntax="91")
    options = tuple("false" if before == "-reversible" else option
                    for before, option in zip(("", *case.options), case.options))
    return dataclasses.replace(case, options=(*options, "-qstep", "0.002"), lossless=False, syntax="203")


def opj(*options, **fields):
    """With as many resolutions as opj_compress takes for a small picture, unless the options say how many."""
    case = Case(options=options, **fields)
    most = min(case.columns, case.rows).bit_length()
    return case if most >= 6 or "-n" in options else dataclasses.replace(case, options=(*options, "-n", str(most)))


def ojph(*options, **fields):
    fields.setdefault("syntax", "201")
    return Case(program="ojph_compress", options=("-reversible", "true", *options), **fields)


def both(case):
    """Without and with loss."""
    return [case, with_loss(case)]


def opj_structures():
    """Tiles, precincts, code blocks, layers, progressions, tile parts, markers, offsets."""
    for count in range(1, 8):
        yield from both(opj("-n", str(count), columns=97, rows=70))
    for order in PROGRESSIONS:
        yield from both(opj("-p", order, "-n", "4", "-t", "32,24", "-c", "[16,16],[8,16],[8,8]"))
        yield opj("-p", order, "-n", "3", "-r", "20,5,1", "-TP", "R", "-t", "40,40")
        yield opj("-p", order, "-q", "25,35,0", "-SOP", "-EPH", "-TP", "L", "-mct", "0", samples=3, model="RGB", bits=8)
        yield opj("-p", order, "-r", "8,4,2,1", "-TP", "C", "-mct", "1", samples=3, model="YBR_RCT", bits=8,
                  columns=90, rows=50)
    yield from both(opj("-t", "1,1", "-n", "1", columns=9, rows=7))
    yield opj("-t", "59,42", "-n", "3")  # opj_compress codes tiles of one column only without loss
    for tile in ("7,5", "16,43", "58,41", "60,43", "61,44", "4096,4096"):
        yield from both(opj("-t", tile, "-n", "2"))
    for offsets in (("-d", "5,3"), ("-d", "17,23", "-t", "32,32"), ("-d", "17,33", "-T", "3,13", "-t", "32,32"),
                    ("-d", "1,1", "-T", "1,0", "-t", "13,9"), ("-d", "100,200", "-p", "PCRL", "-c", "[32,32]")):
        yield from both(opj("-n", "2", *offsets))
    for block in ("4,4", "4,256", "1024,4", "8,32", "16,16", "64,64", "32,128"):
        yield opj("-b", block, columns=130, rows=71)
    for style in (1, 2, 4, 8, 16, 32, 5, 9, 38, 63):
        yield opj("-M", str(style), bits=16, columns=70, rows=65)
    yield from both(opj("-M", "63", "-b", "8,8", "-r", "9,3,1", "-n", "3"))
    for precincts in ("[256,256]", "[64,64],[32,32]", "[8,8]", "[128,16],[16,128]"):
        yield opj("-c", precincts, "-n", "3")
    for markers in (("-SOP",), ("-EPH",), ("-SOP", "-EPH"), ("-PLT",), ("-TLM", "-t", "32,32"), ("-C", "a comment")):
        yield opj(*markers)
    for guard_bits in ("1", "3", "7"):
        yield from both(opj("-GuardBits", guard_bits))
    for rates in (("-r", "20,10,5"), ("-r", "4"), ("-q", "20,30,40"), ("-q", "45")):  # the last layer is not all
        yield opj(*rates, lossless=False, syntax="91")
        yield with_loss(opj(*rates, "-mct", "1", samples=3, model="YBR_ICT", bits=8))
    yield opj("-POC", "T0=0,0,1,3,1,RLCP/T0=3,0,1,6,1,LRCP", "-n", "6")
    for shift in (1, 5, 12):
        yield from both(opj("-ROI", "c=0,U=%d" % shift, bits=8))
    yield opj("-ROI", "c=1,U=4", "-mct", "0", samples=3, model="RGB", bits=8)


def ojph_structures():
    for order in PROGRESSIONS:
        syntax = "202" if order == "RPCL" else "201"
        yield from both(ojph("-prog_order", order, syntax=syntax))
        yield from both(ojph("-prog_order", order, "-tile_size", "{32,24}", "-precincts", "{16,16},{32,16}",
                             "-num_decomps", "3", syntax=syntax))
        yield ojph("-prog_order", order, "-colour_trans", "true", samples=3, model="YBR_RCT", bits=8, syntax=syntax)
        yield from both(ojph("-prog_order", order, "-colour_trans", "false", samples=3, model="RGB", bits=8,
                             planar=1, syntax=syntax))
    for count in range(8):
        yield from both(ojph("-num_decomps", str(count), columns=97, rows=70))
    for block in ("{4,4}", "{4,256}", "{1024,4}", "{8,32}", "{16,16}", "{32,128}"):
        yield from both(ojph("-block_size", block, columns=130, rows=71))
    for tile in ("{7,5}", "{16,43}", "{59,42}", "{61,44}"):
        yield ojph("-tile_size", tile, "-num_decomps", "2")
    for offsets in (("-image_offset", "{5,3}"), ("-image_offset", "{17,23}", "-tile_size", "{32,32}"),
                    ("-image_offset", "{17,33}", "-tile_offset", "{11,30}", "-tile_size", "{32,32}")):
        yield ojph(*offsets)
    for precincts in ("{256,256}", "{64,64},{32,32}", "{128,16},{16,128}"):
        yield ojph("-precincts", precincts, "-num_decomps", "3")


def sizes_and_depths():
    for number, (columns, rows) in enumerate(SIZES):
        bits = (8, 12, 16)[number % 3]
        yield from both(opj(columns=columns, rows=rows, bits=bits))
        yield ojph(columns=columns, rows=rows, bits=bits)
        # With loss, ojph_compress 0.9 codes sides of three samples or fewer wrongly.
        decompositions = max(0, min(5, min(columns, rows).bit_length() - 2))
        yield with_loss(ojph("-num_decomps", str(decompositions), columns=columns, rows=rows, bits=bits))
    for bits in DEPTHS:
        for signed in (False, True):
            if bits > 1 or not signed:
                yield from both(opj(bits=bits, signed=signed))
                yield from both(ojph(bits=bits, signed=signed))


def colours():
    for bits, planar in COLOURS:
        fields = {"samples": 3, "bits": bits, "planar": planar}
        yield opj("-mct", "1", model="YBR_RCT", **fields)
        yield with_loss(opj("-mct", "1", model="YBR_ICT", **fields))
        for model in ("RGB", "YBR_FULL"):
            yield from both(opj("-mct", "0", model=model, **fields))
        yield opj("-mct", "1", model="RGB", **fields)  # a wrong model: the codestream says what was transformed
        yield ojph("-colour_trans", "true", model="YBR_RCT", **fields)
        yield with_loss(ojph("-colour_trans", "true", model="YBR_ICT", **fields))
    for make in (opj, ojph):
        yield make(model="PALETTE COLOR", bits=8)
        yield make(model="PALETTE COLOR", bits=12)
        yield make(model="MONOCHROME1", bits=8)


def wrappings():
    """More and fewer bits in the attributes than in the codestream; frames, fragments and their tables."""
    for make in (opj, ojph):
        for bits, stored in ((8, 12), (10, 12), (12, 16), (9, 16), (6, 8)):
            for signed in (False, True):
                yield make(bits=bits, stored=stored, signed=signed)
        # Fewer bits in the attributes: they stay where the samples fit into them.
        for bits, stored in ((16, 12), (12, 10), (12, 8), (8, 6)):
            for signed in (False, True):
                yield make(bits=bits, stored=stored, signed=signed)
                yield make(bits=bits, stored=stored, signed=signed, used=stored)
                yield make(bits=bits, stored=stored, signed=signed, used=stored + 1)
                yield make(bits=bits, stored=stored, signed=signed, used=stored, frames=3)
        yield make(bits=12, stored=8, allocated=16)
        yield with_loss(make(bits=12, stored=10))
        yield make(bits=8, allocated=16)
        yield make(bits=7, stored=8, allocated=16)
        for pieces, table in ((1, "basic"), (1, "extended"), (1, "none"), (3, "basic"), (3, "extended"), (3, "none")):
            yield from both(make(frames=4, pieces=pieces, table=table, bits=9))
            yield make(frames=1, pieces=pieces, table=table, columns=31, bits=8)
    for pieces, table in ((1, "none"), (5, "basic"), (5, "none")):
        yield opj("-mct", "1", samples=3, model="YBR_RCT", bits=8, frames=3, pieces=pieces, table=table, columns=33,
                  rows=21, planar=int(pieces == 1))
        yield opj(frames=3, pieces=pieces, table=table, columns=13, rows=7, bits=8)  # frames of an odd size
        yield opj(frames=3, pieces=pieces, table=table, bits=8)
    for case in (opj(bits=8), with_loss(opj(frames=3, pieces=2)), ojph(bits=8, samples=3, model="RGB")):
        yield dataclasses.replace(case, is_jp2=True)


def contradictions():
    """Pairs: how the frames are coded, and what the file says of them, which nothing else can be right for."""
    plain = opj(bits=8)
    signed = opj(signed=True)
    colour = opj("-mct", "0", samples=3, model="RGB", bits=8)
    yield [plain], dataclasses.replace(plain, rows=plain.rows - 1)
    yield [plain], dataclasses.replace(plain, columns=plain.columns + 1)
    yield [plain], dataclasses.replace(plain, columns=plain.rows, rows=plain.columns)
    yield [plain], colour
    yield [colour], plain
    yield [signed], dataclasses.replace(signed, signed=False)
    yield [opj()], opj(signed=True, stored=16)  # 4095 or -1
    yield [plain, opj(bits=10)], dataclasses.replace(plain, frames=2)
    yield [opj(), signed], opj(frames=2)
    yield [plain, dataclasses.replace(plain, rows=plain.rows - 1)], dataclasses.replace(plain, frames=2)
    yield [opj("-s", "2,2")], opj()  # fewer samples than the size says
    yield [opj("-mct", "0", samples=4, bits=8)], dataclasses.replace(colour, samples=4, model="CMYK")
    yield [ojph(bits=8)], dataclasses.replace(ojph(bits=8), rows=plain.rows + 1)


def all_cases():
    """Each once."""
    return list(dict.fromkeys([*opj_structures(), *ojph_structures(), *sizes_and_depths(), *colours(), *wrappings()]))


def cases_to_break():
    """A few of each kind, small enough for many."""
    yield opj()
    yield with_loss(opj())
    yield opj(bits=8, signed=True)
    yield opj("-t", "32,24", "-TP", "R", "-n", "3")
    yield opj("-t", "32,24", "-SOP", "-EPH", "-n", "3")
    yield opj("-r", "20,5,1", "-TP", "L")
    yield opj("-q", "25,35", lossless=False, syntax="91")
    yield opj("-M", "63", bits=16)
    yield opj("-p", "PCRL", "-c", "[32,32]", "-n", "3")
    yield opj("-TLM", "-PLT", "-t", "40,40")
    yield opj("-ROI", "c=0,U=5", bits=8)
    yield opj("-d", "5,3", "-n", "2", columns=17, rows=13)
    yield opj("-mct", "1", samples=3, model="YBR_RCT", bits=8, columns=40, rows=35)
    yield with_loss(opj("-mct", "1", samples=3, model="YBR_ICT", bits=8, columns=40, rows=35))
    yield ojph()
    yield with_loss(ojph())
    yield ojph(signed=True, bits=16)
    yield ojph("-tile_size", "{32,24}", "-num_decomps", "2")
    yield ojph("-prog_order", "CPRL", "-precincts", "{16,16}", "-num_decomps", "2", bits=8)
    yield ojph("-block_size", "{4,4}", columns=20, rows=17)
    yield ojph("-colour_trans", "true", samples=3, model="YBR_RCT", bits=8, columns=40, rows=35, syntax="202")
