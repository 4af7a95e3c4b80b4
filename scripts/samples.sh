#!/usr/bin/env bash
# Prints the folder of public DICOM sample files that Debian's python3-pydicom installs.
set -euo pipefail
# All of the list is read: who stops at the first match leaves dpkg with a broken pipe, which counts as a failure.
dpkg -L python3-pydicom | awk '/\/test_files$/ && !isFound { print; isFound = 1 }'
