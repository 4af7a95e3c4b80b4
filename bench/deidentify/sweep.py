"""Every row of the profile's table gets its turn: a value for it is planted into some file."""

from pydicom.datadict import dictionary_has_tag
from pydicom.dataelem import DataElement
from pydicom.sequence import Sequence

from planting import LENGTHS, TEXTS, code_item, item
from table import BASIC, RESEARCH, text_of

ELSEWHERE = (0x0000, 0x0002, 0x0004)  # groups of commands, meta information and directories
HANDLED = {0x0040A730, 0x00700001, 0x00420011, 0xFFFCFFFC, 0xFFFAFFFA, 0x00880200}  # places of their own


def sweepable(table):
    """The rows that can be planted into any dataset, in the order of their tags."""
    return [row for tag, row in sorted(table.items())
            if tag >> 16 not in ELSEWHERE and tag not in HANDLED and row.vr is not None]


def _time(planting):
    number = planting.random.randrange
    return f"{number(1, 23):02d}{number(10, 59):02d}{number(10, 59):02d}.{number(100, 999)}"


def _date(planting):
    number = planting.random.randrange
    return f"20{number(10, 24):02d}{number(1, 13):02d}{number(1, 29):02d}"


def _value(planting, vr):
    """A value of a representation that no profile can leave as it is."""
    makers = {"DA": lambda: _date(planting), "TM": lambda: _time(planting), "UI": planting.uid,
              "DT": lambda: _date(planting) + _time(planting), "DS": lambda: f"51.{planting.random.randrange(10**6)}",
              "IS": lambda: str(planting.random.randrange(10**6, 10**7)), "US": lambda: 3, "AS": lambda: "047Y",
              "OB": lambda: planting.token(12).encode(), "UN": lambda: planting.token(12).encode(),
              "PN": lambda: f"{planting.token()}^{planting.token(6)}",
              "UR": lambda: f"https://{planting.token().lower()}.example/patient"}
    return makers[vr]() if vr in makers else planting.token()


def _sequence(planting, row, path):
    """Codes: one that says nothing of the patient, and one whose meaning somebody wrote by hand."""
    if row.code(BASIC).endswith("U*") or row.name.startswith("Referenced S"):  # items that name an instance
        uid = planting.uid()
        value = [item(ReferencedSOPClassUID="1.2.840.10008.5.1.4.1.1.2", ReferencedSOPInstanceUID=uid)]
        planting.dataset.add(DataElement(row.tag, "SQ", Sequence(value)))
        planting.record_sequence("table, SQ", path, [uid])
        return
    cleaned = row.code(RESEARCH) == "C"
    text = planting.identifier(60)[2] if cleaned else planting.token()
    plain = code_item("K1", "99BENCH", "Usual finding")
    items = [plain, code_item("K2", "99BENCH", text)] if cleaned else [code_item("K2", "99BENCH", text)]
    planting.dataset.add(DataElement(row.tag, "SQ", Sequence(items)))
    kept = path + [0, "0008,0100"]
    planting.record_sequence("table, SQ", path, [text], [(kept, "K1" if cleaned else "K2")])


def plant(planting, row, explicit):
    """Plants a value for one row, unless the dataset has the attribute or the file's encoding cannot hold it."""
    path = [text_of(row.tag)]
    if row.tag in planting.dataset or not (explicit or dictionary_has_tag(row.tag)):
        return
    if row.vr == "SQ":
        _sequence(planting, row, path)
        return
    identifiers, words, how = [], None, ""
    if row.vr in TEXTS and row.code(RESEARCH) == "C":
        value, how, identifiers, words = planting.sentence(LENGTHS.get(row.vr, 200))
    elif row.vr == "AE" and row.code(RESEARCH) == "C":
        value = planting.person.operator.family.upper()[:16]
        identifiers, words = [value], []
    else:
        value = _value(planting, row.vr)
    planting.dataset.add(DataElement(row.tag, row.vr, value))
    planting.note(path, f"table, {row.vr}", identifiers, words, how)
    planting.record(path, planting.dataset[row.tag])
