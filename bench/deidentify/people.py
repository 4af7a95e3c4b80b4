"""Invented patients and staff, and the ways in which other people write their identifiers down."""

import unicodedata

BEGINNINGS = ("Brand", "Holz", "Kirch", "Lind", "Stein", "Wald", "Grün", "Küster", "Schön", "Hövel", "Rößl", "Dörfl",
              "Fähr", "Nørde", "Åkers", "Żabi", "Castañ", "Bérang", "Lefèv", "Garça", "Wölk", "Jürg", "Thür", "Öster",
              "Quell", "Vogel", "Zimmer", "Hauk", "Moser", "Petter")
ENDINGS = ("mann", "berger", "ström", "hofer", "inger", "weiler", "skog", "dahlen", "moller", "eau")
GIVEN = ("Jürgen", "Anneliese", "Zoë", "Björn", "Françoise", "Søren", "Renée", "Heinrich", "Mathilde", "Gösta", "Inés",
         "Adélaïde", "Konrad", "Wilhelmina", "Thérèse", "Ragnar")
CYRILLIC = (("Кузнецовский", "Фёдор"), ("Воскресенская", "Людмила"), ("Преображенский", "Аркадий"),
            ("Железнякова", "Евдокия"), ("Чернышевич", "Тимофей"), ("Щербаковская", "Агриппина"))
JAPANESE = (("Yamashitano", "Tarouichi", "山下野", "太郎一", "やましたの", "たろういち"),
            ("Katsuragawa", "Hanakoyo", "桂川田", "花子世", "かつらがわ", "はなこよ"),
            ("Shimonoseki", "Ichirouta", "下関谷", "一郎太", "しものせき", "いちろうた"))
CHINESE = (("Ouyangfeng", "Xiaodong", "欧阳锋", "晓东明"), ("Zhugeliang", "Kongming", "诸葛亮", "孔明华"),
           ("Simaqianru", "Zichangli", "司马迁", "子长理"))
POLISH = (("Wróblewska", "Małgorzata"), ("Świętochłowski", "Władysław"), ("Παπαδόπουλος", "Νικηφόρος"),
          ("Nguyễnhoàng", "Thịkimliên"), ("Çelikoğlular", "Şükriye"))
SHORT = (("Li", "Na"), ("Ng", "An"), ("Abt", "Ida"), ("Ono", "Aya"))  # whose letters are in many words
STREETS = ("Amselgrund", "Fliederhang", "Kastanienzeile", "Mühlenstieg", "Rosengarth", "Tannenwinkel")
TOWNS = ("Hinterlauben", "Oberzwiesel", "Niederquarn", "Altmoorstadt")
MONTHS = ("January", "February", "March", "April", "May", "June", "July", "August", "September", "October", "November",
          "December")
SPELLED = {"ä": "ae", "ö": "oe", "ü": "ue", "ß": "ss", "ø": "oe", "å": "aa", "æ": "ae"}


def without_accents(text):
    """The same letters without their accents; case stays."""
    text = text.replace("ß", "ss").replace("ø", "o").replace("ł", "l").replace("Ł", "L").replace("ı", "i")
    parts = unicodedata.normalize("NFKD", text)
    return "".join(part for part in parts if not unicodedata.combining(part))


def spelled_out(text):
    """ue for ü and so on, as people write without such a key."""
    out = []
    for letter in text:
        plain = SPELLED.get(letter.lower())
        out.append(letter if plain is None else plain.capitalize() if letter.isupper() else plain)
    return without_accents("".join(out))


def dates(day):
    """A date as the value representation DA writes it, in the spellings of people."""
    year, month, date = day[:4], day[4:6], day[6:]
    return {"DICOM": day, "dots": f"{date}.{month}.{year}", "dashes": f"{year}-{month}-{date}",
            "slashes": f"{month}/{date}/{year}", "month": f"{int(date)} {MONTHS[int(month) - 1][:3]} {year}"}


class Name:
    """A name in its parts: family and given name, the second spelling of either in another script if there is one."""

    def __init__(self, family, given, ideographic=None, phonetic=None):
        self.family, self.given, self.ideographic, self.phonetic = family, given, ideographic, phonetic

    @property
    def value(self):
        groups = [f"{self.family}^{self.given}"]
        groups += ["^".join(group) for group in (self.ideographic, self.phonetic) if group]
        return "=".join(groups)

    def spellings(self):
        """The ways to write the name, by what was done to it."""
        natural = f"{self.given} {self.family}"
        initial = f"{self.given[0]}. {self.family}"
        out = {"as a value": f"{self.family}^{self.given}", "natural order": natural,
               "reversed": f"{self.family}, {self.given}", "capitals": natural.upper(),
               "underscores": f"{self.family}_{self.given}", "lower case": natural.lower()}
        if len(self.family) > 4 or self.ideographic:  # a short one alone could be any word
            out.update({"family name alone": self.family, "initial": initial})
        plain, long = without_accents(natural), spelled_out(natural)
        if plain != natural:
            out["without accents"] = plain
        if long not in (natural, plain):
            out["ue for ü"] = long
        if self.ideographic:
            out["ideographic"] = "".join(self.ideographic)
        return out


class Person:
    """A patient and the staff of one study. Every identifier that is planted anywhere is derived from one of these."""

    def __init__(self, number, random):
        self.number = number
        self.name, self.charset = _patient_name(number, random)
        self.id = f"PX{random.randrange(10**6, 10**7)}-{number:03d}"
        self.other_id = f"KV{random.randrange(10**8, 10**9)}"
        self.birth = f"{random.randrange(1921, 1999)}{random.randrange(1, 13):02d}{random.randrange(13, 29):02d}"
        self.phone = (f"{random.randrange(30, 99)}", f"{random.randrange(200, 999)}", f"{random.randrange(2000, 9999)}")
        self.street = f"{STREETS[number % len(STREETS)]} {random.randrange(100, 999)}"
        self.town = f"{random.randrange(10000, 99999)} {TOWNS[number % len(TOWNS)]}"
        self.physician = _staff_name(number * 3 + 101)
        self.operator = _staff_name(number * 5 + 202)
        self.accession = f"AC{random.randrange(10**8, 10**9)}"
        self.study_id = "1" if number % 4 == 0 else f"ST{random.randrange(10**6, 10**7)}"
        self.institution = f"Klinikum {TOWNS[(number + 1) % len(TOWNS)]}"
        self.sex = "FM"[number % 2]
        self.study_date = f"20{random.randrange(10, 24)}{random.randrange(1, 13):02d}{random.randrange(13, 29):02d}"
        self.age = int(self.study_date[:4]) - int(self.birth[:4])

    @property
    def telephone(self):
        return "+49 {} {} {}".format(*self.phone)

    def telephones(self):
        return {"blanks": self.telephone, "dashes": "+49-{}-{}-{}".format(*self.phone),
                "national": "0{}/{}{}".format(*self.phone), "brackets": "(0{}) {}-{}".format(*self.phone),
                "digits": "0049{}{}{}".format(*self.phone)}

    def spellings(self):
        """Every identifier in every spelling: (what, how, text)."""
        out = [("patient's name", how, text) for how, text in self.name.spellings().items()]
        out += [("patient ID", "as a value", self.id), ("patient ID", "other separators", self.id.replace("-", " ")),
                ("other patient ID", "as a value", self.other_id),
                ("accession number", "as a value", self.accession)]
        out += [("birth date", how, text) for how, text in dates(self.birth).items()]
        out += [("telephone number", how, text) for how, text in self.telephones().items()]
        out += [("address", "as a value", self.street)]
        for what, name in (("physician", self.physician), ("operator", self.operator)):
            out += [(what, how, name.spellings()[how]) for how in ("natural order", "as a value", "capitals")]
        return out


def _latin_name(number):
    family = BEGINNINGS[number % len(BEGINNINGS)] + ENDINGS[number // len(BEGINNINGS) % len(ENDINGS)]
    return Name(family, GIVEN[number % len(GIVEN)])


def _staff_name(number):
    """Names of staff are in plain letters, so that every character set has them."""
    name = _latin_name(number % (len(BEGINNINGS) * len(ENDINGS)))
    return Name(without_accents(name.family), without_accents(name.given))


def _patient_name(number, random):
    kind = number % 10
    if kind == 3:
        return Name(*random.choice(CYRILLIC)), "ISO_IR 144"
    if kind == 5:
        family, given, *others = random.choice(JAPANESE)
        return Name(family, given, tuple(others[:2]), tuple(others[2:])), ["", "ISO 2022 IR 87"]
    if kind == 7:
        family, given, *others = random.choice(CHINESE)
        return Name(family, given, tuple(others)), "GB18030"
    if kind == 8:
        return Name(*SHORT[number // 10 % len(SHORT)]), "ISO_IR 100"
    if kind in (1, 9):
        return Name(*random.choice(POLISH)), "ISO_IR 192"
    name = _latin_name(number)
    latin = all(ord(letter) < 256 for letter in name.value)
    return name, "ISO_IR 100" if latin else "ISO_IR 192"
