// SPDX-License-Identifier: Apache-2.0
// The process-wide document of JSON reports, which only grows, emptied from outside.

#ifndef RYX_FUZZ_JSON_REPORTS_H
#define RYX_FUZZ_JSON_REPORTS_H

namespace ryx::fuzz {

/// Makes the next JSON report the first of the process again, and frees what earlier ones took.
/// No reader that has made a report may be used for another one afterwards.
void forgetJsonReports();

}  // namespace ryx::fuzz

#endif
