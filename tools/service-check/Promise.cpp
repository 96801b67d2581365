// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Promise.h"

#include <iterator>

const char *nameOf(Outcome outcome) {
    switch (outcome) {
        case Outcome::Kept:
            return "kept";
        case Outcome::Broken:
            return "broken";
        case Outcome::Skipped:
            break;
    }
    return "skipped";
}

Finding kept(const std::string &seen) {
    return {Outcome::Kept, "", seen};
}

Finding broken(const std::string &expected, const std::string &seen) {
    return {Outcome::Broken, expected, seen};
}

Finding skipped(const std::string &why) {
    return {Outcome::Skipped, "", why};
}

Promises allPromises() {
    Promises all;
    for (const auto group :
         {bodyPromises, listPromises, renamePromises, signalPromises, commandPromises,
          refusalPromises, nonsensePromises, loadPromises, namePromises, restartPromises}) {
        Promises promises = group();
        all.insert(all.end(), std::make_move_iterator(promises.begin()),
                   std::make_move_iterator(promises.end()));
    }
    return all;
}
