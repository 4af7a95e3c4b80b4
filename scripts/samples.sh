#!/usr/bin/env bash
# Prints the folder of public DICOM sample files that Debian's python3-pydicom installs.
set -euo pipefail
dpkg -L python3-pydicom | grep -m1 '/test_files$'
