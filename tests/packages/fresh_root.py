"""A fresh system in a folder: the essential packages of this machine, and what some new packages depend on.

Its files are copies of those that dpkg lists, so that neither network nor download is needed; its dpkg knows the same
packages, and refuses new ones whose dependencies are not among them. Programs run behind chroot. They find themselves
by /proc, which is shown to them where this process may mount (as root, or where users may have namespaces). In a
container that forbids it they are started by their path in the folder instead: with the C library of this machine, but
with nothing else of Radvex on any path.
"""

import os
import pathlib
import re
import subprocess

STATUS = pathlib.Path("/var/lib/dpkg/status")
ALTERNATIVES = pathlib.Path("/var/lib/dpkg/alternatives")
# Neither programs nor libraries read these.
UNREAD = ("/usr/share/doc/", "/usr/share/man/", "/usr/share/locale/", "/usr/share/info/", "/usr/share/lintian/")
ENTER = """
mount --rbind /proc "$0/proc" && mount --rbind /dev "$0/dev" && exec chroot "$0" "$@"
"""


def _stanzas():
    """The fields of each installed package, with the whole entry under the name of None."""
    for text in STATUS.read_text(encoding="utf-8").split("\n\n"):
        fields = dict(re.findall(r"^(\S+): *(.*)$", text, flags=re.MULTILINE))
        if fields.get("Status", "").endswith(" installed"):
            yield {**fields, None: text.strip("\n")}


def _names(relations):
    """Of each relation ("a (>= 1) | b, c") the names that would do."""
    for relation in filter(None, (part.strip() for part in relations.split(","))):
        yield [re.split(r"[\s(:\[]", choice.strip())[0] for choice in relation.split("|")]


class FreshRoot:
    """A system in a folder, with packages installed."""

    def __init__(self, folder, packages):
        self.folder = folder
        self.packages = [pathlib.Path(package) for package in packages]
        self._installed = {}
        self._by_name = {}
        for stanza in _stanzas():
            self._installed[stanza["Package"]] = stanza
            for names in [[stanza["Package"]], *_names(stanza.get("Provides", ""))]:
                self._by_name.setdefault(names[0], stanza["Package"])
        self._wanted = self._closure()
        self._copy_files()
        self._add_what_no_package_lists()
        self._write_database()
        self._mounts = self._enter("true").returncode == 0
        self._install()

    def run(self, *words):
        """What a program of the system prints. It has to succeed. It runs in the root folder: paths have no / before them."""
        if self._mounts:
            done = self._enter(*words)
        else:
            paths = {"PATH": f"{self.folder}/usr/bin:/usr/bin:/bin",
                     "PYTHONPATH": f"{self.folder}/usr/lib/python3/dist-packages"}
            done = self._start(words, {**_environment(), **paths}, cwd=self.folder)
        assert done.returncode == 0, f"{words} ended with {done.returncode}\n{done.stdout}{done.stderr}"
        return done.stdout

    def path(self, inside):
        """Where a path, relative to the root of the system, lies."""
        return self.folder / inside

    def remove(self):
        """Removes the packages again, with all that their installation made."""
        names = [package.name.split("_")[0] for package in self.packages]
        done = self._as_root("dpkg", "--purge", *names)
        assert done.returncode == 0, done.stdout + done.stderr

    def _closure(self):
        """The essential packages and what the new ones depend on, directly or not."""
        new = [_fields(package) for package in self.packages]
        wanted = set()
        pending = [name for name, fields in self._installed.items() if fields.get("Essential") == "yes"]
        pending += self._needed((depends for _, depends in new), without={name for name, _ in new})
        while pending:
            name = pending.pop()
            if name not in wanted:
                wanted.add(name)
                fields = self._installed[name]
                pending += self._needed([fields.get("Depends", ""), fields.get("Pre-Depends", "")])
        return wanted

    def _needed(self, relations, without=frozenset()):
        """For each relation the first package of this machine that satisfies it."""
        for names in (names for text in relations for names in _names(text) if without.isdisjoint(names)):
            found = next((self._by_name[name] for name in names if name in self._by_name), None)
            assert found, f"none of {names} is installed on this machine"
            yield found

    def _copy_files(self):
        for name in ("bin", "sbin", "lib", "lib32", "lib64", "libx32"):
            if os.path.islink(f"/{name}"):  # since /usr was merged; no package lists these links
                os.symlink(os.readlink(f"/{name}"), self.folder / name)
        files = {os.path.join(os.path.realpath(os.path.dirname(line)), os.path.basename(line))
                 for line in _output("dpkg", "--listfiles", *sorted(self._wanted)).splitlines()
                 if line.startswith("/") and line != "/." and not line.startswith(UNREAD)}
        files |= self._alternatives(files)
        names = sorted(file for file in files if os.path.lexists(file) and not os.path.islink(self.folder / file[1:]))
        pack = ["tar", "-C", "/", "--create", "--no-recursion", "--ignore-failed-read", "--null", "--files-from=-"]
        unpack = ["tar", "-C", str(self.folder), "--extract", "--no-same-owner"]
        packed = subprocess.Popen(pack, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        unpacked = subprocess.Popen(unpack, stdin=packed.stdout)
        packed.stdin.write("\0".join(name[1:] for name in names).encode())
        packed.stdin.close()
        assert unpacked.wait() == 0

    def _add_what_no_package_lists(self):
        for name in ("proc", "dev", "tmp", "root"):
            (self.folder / name).mkdir(exist_ok=True)
        (self.folder / "etc/passwd").write_text("root:x:0:0:root:/root:/bin/sh\n", encoding="utf-8")
        (self.folder / "etc/group").write_text("root:x:0:\n", encoding="utf-8")
        # What programs outside know by its path means the same inside.
        inside = self.folder / str(self.folder)[1:]
        inside.parent.mkdir(parents=True, exist_ok=True)
        inside.symlink_to("/")
        subprocess.run(["/sbin/ldconfig", "-r", str(self.folder)], check=True)

    @staticmethod
    def _alternatives(files):
        """The links that lead to these files by way of /etc/alternatives; no package lists them either."""
        found = set()
        for description in ALTERNATIVES.iterdir():
            names = description.read_text(encoding="utf-8").split("\n\n")[0].split("\n")[1:]
            for name, link in zip([description.name, *names[1::2]], [names[0], *names[2::2]]):
                if os.path.realpath(link) in files:
                    found |= {link, f"/etc/alternatives/{name}"}
        return found

    def _write_database(self):
        database = self.folder / "var/lib/dpkg"
        (database / "info").mkdir(parents=True, exist_ok=True)
        (database / "updates").mkdir(exist_ok=True)
        (database / "info/format").write_text("1\n", encoding="utf-8")
        texts = [self._installed[name][None] for name in sorted(self._wanted)]
        (database / "status").write_text("\n\n".join(texts) + "\n", encoding="utf-8")
        for name in self._wanted:  # dpkg warns of each package without a list
            architecture = self._installed[name]["Architecture"]
            same = self._installed[name].get("Multi-Arch") == "same"
            (database / "info" / (f"{name}:{architecture}.list" if same else f"{name}.list")).touch()

    def _install(self):
        for package in self.packages:
            (self.folder / "tmp" / package.name).write_bytes(package.read_bytes())
        done = self._as_root("dpkg", "--install", *(f"/tmp/{package.name}" for package in self.packages))
        assert done.returncode == 0, done.stdout + done.stderr

    def _as_root(self, *words):
        """Runs a program that needs no /proc, as root of the system."""
        if self._mounts:
            return self._enter(*words)
        return self._start(["chroot", str(self.folder), *words], _environment())

    def _enter(self, *words):
        user = [] if os.geteuid() == 0 else ["--map-root-user"]
        enter = ["unshare", *user, "--mount", "sh", "-c", ENTER, str(self.folder), *words]
        return self._start(enter, _environment())

    @staticmethod
    def _start(words, environment, **more):
        """Runs a program with this environment and no other."""
        return subprocess.run(words, env=environment, text=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE, **more)


def _fields(package):
    """The name of the package in a file, and what it depends on."""
    return _output("dpkg-deb", "--show", "--showformat=${Package}\n${Depends}", str(package)).split("\n")


def _output(*words):
    return subprocess.run(words, stdout=subprocess.PIPE, text=True, check=True).stdout


def _environment():
    """Of the tests nothing is handed on."""
    return {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "HOME": "/root", "LANG": "C.UTF-8", "DEBIAN_FRONTEND": "noninteractive"}
