#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "formats/json/LosslessJson.h"
#include "view/Catalogue.h"
#include "view/ReaderPool.h"
#include "view/VolumeCache.h"

namespace radvex::view {

/// What the page gets for one of its questions.
struct Answer {
    bool isThere = true;    ///< false: there is no such thing
    bool isRefusal = false; ///< a file or series cannot give it, and the JSON says why
    std::string type = "application/json";
    formats::Json info{}; ///< what the bytes are, if they need to be told
    std::shared_ptr<const Message> message{};

    /// Of the answer: the body of the message, or its JSON.
    std::string text() const;
};

/// Answers the questions of the page about one folder or medium. Series, files and volumes have numbers from 0; no path
/// goes in or out but in sentences. May be used by several threads.
///
///   tree                                patients, studies and series, see Catalogue
///   series/ID                           slices, volumes and findings of a series, see SeriesReading
///   series/ID/volumes/V                 NIfTI
///   series/ID/files/N/values?frame=F    the samples of a frame from 0, see FrameReader
///   series/ID/files/N/overlays?frame=F
///   series/ID/files/N/preview?frame=F   PNG
///   series/ID/files/N/tags              all attributes, see ElementTable
///
/// What cannot be answered is {"error": a sentence}.
class Answers {
  public:
    /// What the page shows.
    struct Subject {
        std::string path{};        ///< a folder, a medium or a file
        std::string series = ".*"; ///< a regular expression on the whole SeriesInstanceUID; not for a file
    };

    /// Lists the folder.
    /// @param memory  bytes of volumes that are kept, and of the largest one that is shown
    /// @throws ReaderError  the folder cannot be listed
    Answers(ReaderPool& readers, const Subject& subject, std::size_t memory);

    const Catalogue& catalogue() const { return mCatalogue; }
    Answer to(std::string_view question);

  private:
    Answer ofFile(std::size_t series, std::string_view rest);
    Answer ofVolume(std::size_t series, std::size_t volume);
    Answer ask(const formats::Json& request, const std::string& type);

    ReaderPool& mReaders;
    Catalogue mCatalogue;
    VolumeCache mVolumes;
};

} // namespace radvex::view
