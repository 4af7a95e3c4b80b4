#pragma once

namespace radvex {

/// Gives DCMTK its encoders and decoders: JPEG, JPEG-LS and RLE (PS3.5 annex A.4).
void registerCodecs();
void cleanupCodecs();

} // namespace radvex
