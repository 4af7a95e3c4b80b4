from __future__ import annotations

from typing import Any, Dict, Optional, Tuple


class Meaning:
    """What the numbers of an array stand for.

    source: the file
    values: "modality" (rescaled, HU for most CT) or "rendered" (grey levels or colour)
    unit: of modality values, such as "HU"; None when the file does not say
    signed: whether the stored values are signed
    bits_stored: of the stored values
    slope, intercept: of the rescale, which modality values have behind them; None when the file has none
    photometric_interpretation: of the file
    polarity: MONOCHROME2 when larger values are brighter, MONOCHROME1 when they are darker; None for colour
    window: (width, centre) of rendered values; None when no window was asked for
    """

    __slots__ = (
        "source",
        "values",
        "unit",
        "signed",
        "bits_stored",
        "slope",
        "intercept",
        "photometric_interpretation",
        "polarity",
        "window",
    )

    def __init__(self, source: str, described: Dict[str, Any]) -> None:
        window = described.get("window")
        self.source = source
        self.values: str = described["values"]
        self.unit: Optional[str] = described.get("unit")
        self.signed: Optional[bool] = described.get("signed")
        self.bits_stored: Optional[int] = described.get("bitsStored")
        self.slope: Optional[float] = described.get("slope")
        self.intercept: Optional[float] = described.get("intercept")
        self.photometric_interpretation: Optional[str] = described.get("photometricInterpretation")
        self.polarity: Optional[str] = described.get("polarity")
        self.window: Optional[Tuple[float, float]] = (window[0], window[1]) if window else None

    def __getstate__(self) -> Dict[str, Any]:
        return {name: getattr(self, name) for name in self.__slots__}

    def __setstate__(self, state: Dict[str, Any]) -> None:
        for name, value in state.items():
            setattr(self, name, value)

    def __repr__(self) -> str:
        unit = f", unit {self.unit}" if self.unit else ""
        return f"<Meaning of {self.values} values{unit}, {self.photometric_interpretation}, of {self.source}>"
