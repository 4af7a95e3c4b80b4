#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "media/MediumTree.h"
#include "media/Rendering.h"
#include "volume/geometry/VolumePlan.h"
#include "volume/slices/SliceFile.h"

namespace radvex::python {

/// What Python asks for, as JSON; members that are missing have their defaults.
struct Request {
    std::string job{};            ///< "tree", "volumes", "verdicts", "walk", "count" or "describe"
    std::string path{};           ///< a medium or a folder, for volumes also one file
    media::Selection selection{}; ///< "patient", "study", "series": their keys
    std::size_t jobs = 0;         ///< processes that read files, at least 1
    int list = -1; ///< "list": descriptor of a file with paths, see pathsIn: files to describe, or those of one series
    std::vector<std::string> keywords{};                    ///< "keywords": of the attributes to describe
    std::vector<std::size_t> counts{};                      ///< "counts": of the files of each series of the list
    bool withPixels = false;                                ///< "pixels": describe them too
    bool isSingle = false;                                  ///< "single": there has to be exactly one volume
    bool isFourD = false;                                   ///< "fourD": join the volumes of a series
    volume::SampleKind kind = volume::SampleKind::modality; ///< "values": "modality", "stored" or "rendered"
    volume::PlanOptions plan{}; ///< "sort": "auto", "instance", "position"; "strangers": "refuse", "largest", "split";
                                ///< "force"; "resample"
    media::Rendering rendering{}; ///< see renderingFrom

    /// @throws UsageError, JsonError  a sentence
    static Request parse(std::string path, const std::string& json);
};

} // namespace radvex::python
