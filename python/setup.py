"""Packs a package that is built already; scripts/wheel.sh puts it beside this file."""

import runpy

from setuptools import setup
from setuptools.dist import Distribution


class Built(Distribution):
    """A distribution for one platform, though setuptools compiles nothing for it."""

    def has_ext_modules(self):
        return True


setup(
    name="radvex",
    version=runpy.run_path("radvex/_version.py")["__version__"],
    description="Reads and writes DICOM images: attributes, pixels, volumes, new files, de-identification",
    packages=["radvex", "radvex.archive"],
    package_data={"radvex": ["py.typed", "*.pyi", "*.so", "bin/*", "lib/*", "page/*"]},
    python_requires=">=3.9",
    install_requires=["numpy"],
    extras_require={
        "nibabel": ["nibabel"],
        "xarray": ["xarray"],
        "progress": ["tqdm"],
        "archive": ["distributed", "cryptography"],
        "histograms": ["matplotlib"],
    },
    entry_points={"console_scripts": ["radvex = radvex._command:main", "radvex-archive = radvex.archive.__main__:main"]},
    distclass=Built,
    zip_safe=False,
)
