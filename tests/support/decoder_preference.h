// decoder_preference.h - which decoding library the plug-in gets to see.
#pragma once

namespace test_support {

// Sees to it that the plug-in, which must not be loaded yet, is bound to the
// decoding library that the environment puts first: the first one in
// LD_LIBRARY_PATH where the system's own search does that by itself, else the one
// in the directory VELTRA_DECODER_DIRECTORY. Throws std::runtime_error.
void prefer_decoder_of_the_environment();

}  // namespace test_support
