// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_SOURCE_TYPES_H
#define EMULATED_TV_SOURCE_TYPES_H

namespace emulated_tv {

// The emulated TV's own numbering of source types.
enum class SourceType : int {
    Tuner = 1,
    Av = 2,
    Hdmi1 = 3,
    Hdmi2 = 4,
    Hdmi3 = 5,
    Usb = 8,
};

// The name that the TV shows on screen for a source type, null for an unknown type.
const char *onScreenName(int sourceType);

}  // namespace emulated_tv

#endif
