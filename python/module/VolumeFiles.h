#pragma once

#include <pybind11/numpy.h>

#include <string>
#include <tuple>
#include <vector>

// Volumes that Python holds as arrays, with their headers as JSON (see HeaderJson.h).

namespace radvex::python {

/// The memory behind a descriptor, which is closed, as an array of bytes: this process alone sees what it writes there.
pybind11::array mapSamples(int descriptor);

/// Writes a volume file, as formats::writeVolume does.
void saveVolume(const std::string& path, const std::string& header, const pybind11::array& samples, bool mayReplace);

/// (kind, isError, sentence)
using FindingTuple = std::tuple<std::string, bool, std::string>;

/// Writes the picture that a person looks at before trusting a volume.
void savePreview(const std::string& path, const std::string& header, const pybind11::array& samples,
                 const std::string& title, const std::vector<FindingTuple>& findings);

} // namespace radvex::python
