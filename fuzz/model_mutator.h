// SPDX-License-Identifier: Apache-2.0
// Random changes to a log that leave it a log.

#ifndef RYX_FUZZ_MODEL_MUTATOR_H
#define RYX_FUZZ_MODEL_MUTATOR_H

#include "fuzz/log_model.h"

namespace ryx::fuzz {

/// Makes one to four changes that `seed` decides. A text or number that is put in is likely one
/// that readers treat apart.
void mutateModel(LogModel& model, unsigned seed);

}  // namespace ryx::fuzz

#endif
