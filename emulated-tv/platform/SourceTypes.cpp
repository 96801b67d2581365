// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "SourceTypes.h"

namespace emulated_tv {

const char *onScreenName(int sourceType) {
    switch (static_cast<SourceType>(sourceType)) {
        case SourceType::Tuner:
            return "TV";
        case SourceType::Av:
            return "AV";
        case SourceType::Hdmi1:
            return "HDMI 1";
        case SourceType::Hdmi2:
            return "HDMI 2";
        case SourceType::Hdmi3:
            return "HDMI 3";
        case SourceType::Usb:
            return "USB";
    }
    return nullptr;
}

}  // namespace emulated_tv
