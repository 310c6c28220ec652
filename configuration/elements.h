// The elements of a configuration file: those that nobody reads.
#pragma once

#include "configuration/check.h"
#include "configuration/checked_file.h"

namespace qel::configuration {

// Warns of elements that no key leads to, with the name that was probably meant, of elements that
// are there again, of which only the first counts, and of text beside elements.
void check_elements(CheckedFile* file, const NearestName& nearest);

}  // namespace qel::configuration
