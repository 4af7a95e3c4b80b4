"""Whether one action of the key was taken, or one thing kept, in a finished file."""

import datetime

import pydicom
from pydicom.sequence import Sequence

from folding import folded, holds, inflated, readings


class Finished:
    """A finished file: its dataset, its meta information, its bytes and its path below the folder of results."""

    def __init__(self, path, relative):
        self.path, self.relative = path, relative
        with open(path, "rb") as file:
            self.data = file.read()
        self.dataset = pydicom.dcmread(path, force=True)
        self._readings = None

    @property
    def index(self):
        """The number that pairs the file with its original; None for what is no file of the run."""
        try:
            return int(self.dataset.get("InstanceNumber"))
        except (TypeError, ValueError):
            return None

    @property
    def readings(self):
        if self._readings is None:
            syntax = getattr(self.dataset.file_meta, "TransferSyntaxUID", None)
            self._readings = readings(inflated(self.data, syntax))
        return self._readings

    def element(self, path):
        """The element at a path of the key; None when it or anything around it is gone."""
        if not path or "," not in path[0]:
            return None
        place = self.dataset.file_meta if path[0].startswith("0002") else self.dataset
        for step, last in zip(path[::2], range(1, len(path) + 1, 2)):
            tag = int(step.replace(",", ""), 16)
            if tag not in place:
                return None
            element = place[tag]
            if last >= len(path):
                return element
            if not isinstance(element.value, Sequence) or path[last] >= len(element.value):
                return None
            place = element.value[path[last]]
        return place  # a path that ends with the number of an item

    def elements_below(self, path):
        """All elements of the last tag of a path, anywhere in the sequence that begins it."""
        top, tag = self.element(path[:1]), int(path[-1].replace(",", ""), 16)
        if top is None or not isinstance(top.value, Sequence):
            return []
        return [element for part in top.value for element in part.iterall() if element.tag == tag]


def values_of(element):
    """The values of an element as texts; bytes as hexadecimal digits."""
    value = element.value
    if value is None or isinstance(value, (str, bytes)) and len(value) == 0:
        return []
    if isinstance(value, bytes):
        return [value.rstrip(b"\0").hex()]
    if isinstance(value, (list, pydicom.multival.MultiValue)) and not isinstance(value, Sequence):
        return [str(one) for one in value]
    return [str(value)]


def texts_of(element):
    """All folded texts that an element may spell, those of sequences and of bytes included."""
    value = element.value
    if isinstance(value, Sequence):
        return [text for part in value for one in part for text in texts_of(one)]
    if isinstance(value, bytes):
        return readings(value)
    return [folded("\\".join(values_of(element)))]


def same_value(new, old):
    """Whether a value is the old one; numbers may be written in another way."""
    if new.strip() == old.strip():
        return True
    try:
        return float(new) == float(old)
    except ValueError:
        return False


def same_values(element, old):
    new, wanted = values_of(element), old if isinstance(old, list) else [old] if old else []
    return len(new) == len(wanted) and all(same_value(*pair) for pair in zip(new, wanted))


def day_of(text):
    """The day of a date, or of a date with a time; None when the text is none."""
    try:
        return datetime.datetime.strptime(text[:8], "%Y%m%d").date()
    except ValueError:
        return None


def _is_free(texts, needles):
    return not any(holds(text, folded(needle)) for needle in needles for text in texts)


def _as_list(value):
    return value if isinstance(value, list) else [value]


# Required actions. Each returns whether the action was taken.


def removed(finished, action, truth):
    element = finished.element(action["path"])
    if element is None or isinstance(element, pydicom.Dataset):
        return True
    return len(element.value) == 0 if isinstance(element.value, Sequence) else not values_of(element)


def replaced(finished, action, truth):
    element = finished.element(action["path"])
    if element is None or not values_of(element):
        return True
    if isinstance(element.value, bytes):
        original = bytes.fromhex(action["value"])
        return original not in element.value and _is_free(readings(element.value), action.get("identifiers", []))
    if element.VR in ("DA", "DT") and not date_replaced(finished, action, truth):
        return False  # the day is what identifies, also when the time is gone
    originals = [one for one in _as_list(action.get("value", "")) if len(one) > 3]  # "1" occurs in many new values
    wanted = originals + action.get("identifiers", [])
    return not same_values(element, action.get("value", "")) and _is_free(texts_of(element), wanted)


def free_of(finished, action, truth):
    needles = _as_list(action["value"]) + [text for texts in truth["texts"].values() for text in texts]
    if action["path"] == ["preamble"]:
        return _is_free(readings(finished.data[:128]) if finished.data[128:132] == b"DICM" else [], needles)
    element = finished.element(action["path"])
    return element is None or _is_free(texts_of(element), needles)


def path_free_of(finished, action, truth):
    return _is_free([folded(finished.relative)], action["value"])


def date_replaced(finished, action, truth):
    element = finished.element(action["path"])
    return element is None or all(day_of(one) != day_of(action["value"]) for one in values_of(element))


# Kept things. Each returns whether the thing is still there.


def kept(finished, action, truth):
    """At its path, or after items were taken away, at another place in the same sequence."""
    element, path = finished.element(action["path"]), action["path"]
    if element is not None and same_values(element, action.get("value", "")):
        return True
    if len(path) == 1:
        return element is None and not action.get("value")
    return any(same_values(one, action["value"]) for one in finished.elements_below(path))


def words_kept(finished, action, truth):
    element, path = finished.element(action["path"]), action["path"]
    candidates = ([] if element is None else [element]) + (finished.elements_below(path) if len(path) > 1 else [])
    wanted = {folded(word) for word in action["value"]}
    return any(wanted <= set(" ".join(texts_of(one)).replace("\\", " ").split()) for one in candidates)


def pixels_kept(finished, original):
    try:
        new = finished.dataset.pixel_array
    except Exception:  # any error of any decoder means that nobody can use the picture
        return False
    old = original.pixel_array
    return new.shape == old.shape and bool((new == old).all())


REQUIRED = {"removed": removed, "replaced": replaced, "free of": free_of, "path free of": path_free_of,
            "date replaced": date_replaced}
KEPT = {"kept exactly": kept, "words kept": words_kept}
